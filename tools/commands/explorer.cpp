#include <passbridge/j2534.h>

#include <stdexcept>
#include <string>

#include "client/device.h"
#include "client/status.h"
#include "commands/commands.h"
#include "commands/device_report.h"

namespace passbridge::tool {
namespace {

constexpr const char* kAskTheUser = "J2534-2:VQXLIST";

constexpr const char* kCauses =
    "\nIf it was not cancelled, the library cannot show its dialog. It needs\n"
    "  - a VCI that the D-PDU library sees\n"
    "  - an enabled strategy 3 in the settings' AutoConnectionOrder\n"
    "  - a display, and on Linux the program passbridge-device-explorer\n";

// The settings of --virtual have the strategy that asks, but disabled, for no other command may
// wait for a user.
void AllowDialog(J2534Api& api) {
  constexpr std::uint32_t kAllow = 2;
  const std::uint32_t status = api.WriteNumber(0, SUPPRESS_VCI_DIALOG, kAllow);
  if (status != STATUS_NOERROR) {
    throw StatusError("PassThruIoctl(SUPPRESS_VCI_DIALOG)", status, api.LastErrorText());
  }
}

Device OpenByDialog(J2534Api& api) {
  try {
    return Device(api, kAskTheUser);
  } catch (const StatusError& error) {
    if (error.Status() != ERR_DEVICE_NOT_CONNECTED) throw;
    throw std::runtime_error(std::string("no VCI was chosen: ").append(error.what()) + kCauses);
  }
}

int RunExplorer(const Target& target, Console& console) {
  if (target.isVirtual) AllowDialog(target.api);
  const Device device = OpenByDialog(target.api);
  const std::string serialNumber =
      IfAvailable([&] { return std::to_string(device.ReadSerialNumber()); });
  console.out << "library   " << target.library << '\n' << "serial    " << serialNumber << '\n';
  ReportDevice(device, console.out);
  return kExitSuccess;
}

// Which VCI it is to be is for the user to say.
void RefuseDevice(const CLI::App& root) {
  for (const char* option : {"--device", "--serial"}) {
    if (root.count(option) != 0) {
      throw CLI::ValidationError(std::string("explorer excludes ") + option);
    }
  }
}

}  // namespace

Command AddExplorerCommand(CLI::App& root) {
  auto* const command = root.add_subcommand(
      "explorer", "Choose a VCI in the library's device explorer, and show what was chosen");
  command->footer(
      "Examples:\n"
      "  passbridge explorer\n"
      "  passbridge --virtual explorer\n");
  command->callback([&root] { RefuseDevice(root); });
  return {command, RunExplorer};
}

}  // namespace passbridge::tool
