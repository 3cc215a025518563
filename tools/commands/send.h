// passbridge send: puts CAN frames on the bus and shows what comes back.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_SEND_H_
#define PASSBRIDGE_TOOLS_COMMANDS_SEND_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "commands/can_session.h"
#include "commands/command.h"

namespace passbridge::tool {

struct SendOptions {
  CanOptions can;
  std::vector<std::string> frames;
  std::uint32_t repeat = 1;
  std::uint32_t interval = 0;  // ms between repetitions
  std::uint32_t wait = 0;      // ms; 0: don't listen, or a default if an answer is expected
  std::string expect;          // identifier; empty: none
};

CLI::App* AddSendCommand(CLI::App& root, SendOptions& options);

// Fails if an expected answer doesn't come.
int RunSend(const Target& target, const SendOptions& options, Console& console);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_SEND_H_
