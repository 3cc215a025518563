#ifndef PASSBRIDGE_PLATFORM_VERSION_RESOURCE_H_
#define PASSBRIDGE_PLATFORM_VERSION_RESOURCE_H_

#include <optional>
#include <string>

namespace passbridge::platform {

// The product version of the file that holds this code, such as "1.2.3". Windows: ProductVersion of
// the file's version resource (ANSI); nothing if there is none. Linux: the version compiled in.
std::optional<std::string> ProductVersion();

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_VERSION_RESOURCE_H_
