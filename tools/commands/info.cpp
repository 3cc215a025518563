#include "client/device.h"
#include "commands/commands.h"
#include "commands/device_report.h"

namespace passbridge::tool {
namespace {

int RunInfo(const Target& target, Console& console) {
  const Device device(target.api, target.deviceName);
  console.out << "library   " << target.library << '\n'
              << "device    " << target.deviceName.value_or("(chosen by the library)") << '\n';
  ReportDevice(device, console.out);
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
