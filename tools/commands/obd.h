// passbridge obd: asks a vehicle for live data and decodes the answers.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_OBD_H_
#define PASSBRIDGE_TOOLS_COMMANDS_OBD_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "commands/can_session.h"
#include "commands/command.h"

namespace passbridge::tool {

struct ObdOptions {
  CanOptions can;
  std::vector<std::string> values;  // names of ObdValues()
  std::string to = "7DF";
  std::uint32_t wait = 250;  // ms for the answers to one request
  bool frames = false;       // show the frames, too
};

CLI::App* AddObdCommand(CLI::App& root, ObdOptions& options);

// Fails if a value got no answer, or nothing but refusals.
int RunObd(const Target& target, const ObdOptions& options, Console& console);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_OBD_H_
