#include "ui/device_explorer.h"

namespace passbridge {

VciChoice ShowDeviceExplorer() { return {}; }

}  // namespace passbridge
