// The subcommands. Each is a source of this folder of its own, and a line in both lists here.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_COMMANDS_H_
#define PASSBRIDGE_TOOLS_COMMANDS_COMMANDS_H_

#include "commands/command.h"

namespace passbridge::tool {

// What a VCI is, its versions and its battery.
Command AddInfoCommand(CLI::App& root);
// Has the user choose a VCI in the library's dialog, and shows it; fails if none is chosen.
Command AddExplorerCommand(CLI::App& root);
// The frames or messages of a bus as they come.
Command AddMonitorCommand(CLI::App& root);
// Puts frames or messages on the bus and shows what comes back; fails if an expected answer doesn't
// come.
Command AddSendCommand(CLI::App& root);
// Sends an ISO 15765 request and shows the answers; fails without one.
Command AddIsoTpCommand(CLI::App& root);
// Initialises a K line; fails if no ECU takes part.
Command AddInitCommand(CLI::App& root);
// Asks a vehicle for live data; fails if a value got no answer, or nothing but refusals.
Command AddObdCommand(CLI::App& root);
// Makes and shows enciphered product configurations.
Command AddProductConfigCommand(CLI::App& root);

// In the order of the help.
constexpr Command (*kCommands[])(CLI::App& root) = {
    AddInfoCommand,  AddExplorerCommand, AddMonitorCommand, AddSendCommand,
    AddIsoTpCommand, AddInitCommand,     AddObdCommand,     AddProductConfigCommand,
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_COMMANDS_H_
