// passbridge monitor: the frames of a CAN bus as they come.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_MONITOR_H_
#define PASSBRIDGE_TOOLS_COMMANDS_MONITOR_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "commands/can_session.h"
#include "commands/command.h"

namespace passbridge::tool {

struct MonitorOptions {
  CanOptions can;
  std::vector<std::string> ids;  // empty: all frames
  bool extended = false;
  bool both = false;
  std::uint64_t count = 0;  // 0: no limit
  double seconds = 0;       // 0: no limit
};

CLI::App* AddMonitorCommand(CLI::App& root, MonitorOptions& options);

// Frames go to the console's output, the closing summary to its error output.
int RunMonitor(const Target& target, const MonitorOptions& options, Console& console);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_MONITOR_H_
