// What every subcommand works with.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_COMMAND_H_
#define PASSBRIDGE_TOOLS_COMMANDS_COMMAND_H_

#include <functional>
#include <optional>
#include <ostream>
#include <string>

#include "client/j2534_api.h"

namespace passbridge::tool {

// Where a command writes, and how it learns that the user wants it to end.
struct Console {
  std::ostream& out;
  std::ostream& err;
  std::function<bool()> stopRequested;
};

// The library and the name of the device to open; without a name the library chooses.
struct Target {
  J2534Api& api;
  std::optional<std::string> deviceName;
};

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_COMMAND_H_
