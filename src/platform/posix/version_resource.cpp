#include "platform/version_resource.h"

#include "version_info.h"

namespace passbridge::platform {

std::optional<std::string> ProductVersion() { return kProductVersion; }

}  // namespace passbridge::platform
