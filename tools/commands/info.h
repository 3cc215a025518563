// passbridge info: what is installed and what is connected.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_INFO_H_
#define PASSBRIDGE_TOOLS_COMMANDS_INFO_H_

#include <CLI/CLI.hpp>
#include <string>

#include "commands/command.h"

namespace passbridge::tool {

CLI::App* AddInfoCommand(CLI::App& root);

// `library` is what the user knows the library as.
int RunInfo(const Target& target, const std::string& library, Console& console);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_INFO_H_
