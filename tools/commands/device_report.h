// What commands print of a device that is open.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_DEVICE_REPORT_H_
#define PASSBRIDGE_TOOLS_COMMANDS_DEVICE_REPORT_H_

#include <functional>
#include <ostream>
#include <string>

#include "client/device.h"

namespace passbridge::tool {

// Its versions and its battery.
void ReportDevice(const Device& device, std::ostream& out);

// What `read` gives, or that the device doesn't tell.
std::string IfAvailable(const std::function<std::string()>& read);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_DEVICE_REPORT_H_
