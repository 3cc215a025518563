#include <cstdio>

#include "client/device.h"
#include "client/status.h"
#include "commands/commands.h"

namespace passbridge::tool {
namespace {

std::string DescribeBattery(const Device& device) {
  try {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f V", device.ReadBatteryMillivolts() / 1000.0);
    return text;
  } catch (const StatusError& error) {
    return "not available (" + DescribeStatus(error.Status()) + ")";
  }
}

int RunInfo(const Target& target, Console& console) {
  const Device device(target.api, target.deviceName);
  const Versions versions = device.ReadVersions();
  console.out << "library   " << target.library << '\n'
              << "device    " << target.deviceName.value_or("(chosen by the library)") << '\n'
              << "firmware  " << versions.firmware << '\n'
              << "DLL       " << versions.dll << '\n'
              << "API       " << versions.api << '\n'
              << "battery   " << DescribeBattery(device) << '\n';
  return kExitSuccess;
}

}  // namespace

Command AddInfoCommand(CLI::App& root) {
  auto* const command = root.add_subcommand("info", "Show a VCI, its versions and its battery");
  command->footer(
      "Examples:\n"
      "  passbridge info\n"
      "  passbridge info --serial 4711 --interface usb,ethernet\n");
  return {command, RunInfo};
}

}  // namespace passbridge::tool
