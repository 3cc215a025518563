#include "own_settings.h"

namespace passbridge::test {

// The sandbox has set the environment that names the folders.
OwnSettings::OwnSettings() = default;
OwnSettings::~OwnSettings() = default;

}  // namespace passbridge::test
