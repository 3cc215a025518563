// What every subcommand works with.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_COMMAND_H_
#define PASSBRIDGE_TOOLS_COMMANDS_COMMAND_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

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
  std::string library;  // what the user knows it as
  std::optional<std::string> deviceName;
  bool isVirtual = false;  // the settings are the tool's own
};

constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;

// A subcommand with its options on the command line, and what it does once they are parsed: an exit
// status, or an exception whose text is for the user.
struct Command {
  CLI::App* app;
  std::function<int(const Target&, Console&)> run;
  // Instead of `run`, where no library is needed.
  std::function<int(Console&)> runAlone = {};
};

// The options that a subcommand's parser fills; they live as long as the command.
template <typename Options>
Command MakeCommand(CLI::App* app, std::shared_ptr<const Options> options,
                    int (*run)(const Target&, const Options&, Console&)) {
  return {app, [options = std::move(options), run](const Target& target, Console& console) {
            return run(target, *options, console);
          }};
}

// Once the subcommand's options are parsed, `check` looks at them together. What it throws
// (std::invalid_argument) is wrong usage.
template <typename Options>
void CheckTogether(CLI::App* app, std::shared_ptr<const Options> options,
                   void (*check)(const Options&)) {
  app->callback([options = std::move(options), check] {
    try {
      check(*options);
    } catch (const std::invalid_argument& error) {
      throw CLI::ValidationError(error.what());
    }
  });
}

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_COMMAND_H_
