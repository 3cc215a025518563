// The command line: options, subcommands, errors, exit status.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_TOOL_H_
#define PASSBRIDGE_TOOLS_COMMANDS_TOOL_H_

#include "commands/command.h"

namespace passbridge::tool {

// 0 after success, 1 after a failure (its text is on the console's error output), CLI11's numbers
// (above 100) after a wrong command line.
int RunTool(int argc, const char* const* argv, Console& console);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_TOOL_H_
