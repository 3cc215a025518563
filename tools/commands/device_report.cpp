#include "commands/device_report.h"

#include <array>
#include <cstdio>

#include "client/status.h"

namespace passbridge::tool {

std::string IfAvailable(const std::function<std::string()>& read) {
  try {
    return read();
  } catch (const StatusError& error) {
    return "not available (" + DescribeStatus(error.Status()) + ")";
  }
}

void ReportDevice(const Device& device, std::ostream& out) {
  const Versions versions = device.ReadVersions();
  const std::string battery = IfAvailable([&] {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.2f V", device.ReadBatteryMillivolts() / 1000.0);
    return std::string(text.data());
  });
  out << "firmware  " << versions.firmware << '\n'
      << "DLL       " << versions.dll << '\n'
      << "API       " << versions.api << '\n'
      << "battery   " << battery << '\n';
}

}  // namespace passbridge::tool
