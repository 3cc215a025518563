#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "commands/can_session.h"
#include "commands/commands.h"

namespace passbridge::tool {
namespace {

struct MonitorOptions {
  CanOptions can;
  std::vector<std::string> ids;  // empty: all frames
  bool extended = false;
  bool both = false;
  std::uint64_t count = 0;  // 0: no limit
  double seconds = 0;       // 0: no limit
};

using Clock = std::chrono::steady_clock;

constexpr const char* kMonitorFooter =
    "Prints (time) channel identifier#data, as CAN tools on Linux do; the time is the VCI's, in\n"
    "seconds. Ends with --count, --seconds or Ctrl-C; then a summary goes to standard error.\n"
    "Examples:\n"
    "  passbridge monitor                       everything with 11-bit identifiers\n"
    "  passbridge monitor --both --bitrate 250k both widths, at 250 kbit/s\n"
    "  passbridge monitor --id 7E8 --id 7E9     only these\n"
    "  passbridge monitor --id 18DAF110         29-bit identifiers have 8 digits\n"
    "  passbridge monitor --seconds 10 > bus.log\n";

// The identifiers that were asked for decide, too, how wide the channel must be.
IdWidths Widths(const MonitorOptions& options, const std::vector<CanId>& ids) {
  IdWidths widths;
  widths.extended = options.extended || options.both;
  widths.standard = options.both || (!options.extended && ids.empty());
  for (const CanId& id : ids) widths.Add(id);
  return widths;
}

std::optional<std::chrono::milliseconds> Duration(const MonitorOptions& options) {
  if (options.seconds <= 0) return std::nullopt;
  return std::chrono::milliseconds(static_cast<std::int64_t>(options.seconds * 1000));
}

void Summarize(std::uint64_t frames, Clock::duration passed, Console& console) {
  const double seconds = std::chrono::duration<double>(passed).count();
  char text[96];
  std::snprintf(text, sizeof text, "%llu frames in %.1f s, %.0f frames/s\n",
                static_cast<unsigned long long>(frames), seconds,
                seconds > 0 ? static_cast<double>(frames) / seconds : 0.0);
  console.err << text;
}

int RunMonitor(const Target& target, const MonitorOptions& options, Console& console) {
  std::vector<CanId> ids;
  for (const auto& text : options.ids) ids.push_back(ParseCanId(text));
  CanSession session(target, options.can, Widths(options, ids), console);
  for (const CanId& id : ids) session.PassId(id);
  if (ids.empty()) session.PassAll();

  std::uint64_t frames = 0;
  const auto start = Clock::now();
  const auto show = [&](std::uint64_t time, const CanFrame& frame) {
    session.Print(time, frame);
    return ++frames != options.count;
  };
  try {
    session.Receive(Duration(options), show);
  } catch (...) {
    Summarize(frames, Clock::now() - start, console);
    throw;
  }
  Summarize(frames, Clock::now() - start, console);
  return kExitSuccess;
}

}  // namespace

Command AddMonitorCommand(CLI::App& root) {
  const auto options = std::make_shared<MonitorOptions>();
  auto* const command = root.add_subcommand("monitor", "Show the frames of a CAN bus");
  AddCanOptions(*command, options->can);
  command->add_option("--id", options->ids, "show only this identifier; repeatable")
      ->check(CanIdText())
      ->type_name("ID")
      ->allow_extra_args(false);
  auto* const extended =
      command->add_flag("--29bit", options->extended, "29-bit identifiers instead of 11-bit ones");
  command->add_flag("--both", options->both, "identifiers of both widths")->excludes(extended);
  command->add_option("-n,--count", options->count, "end after so many frames")
      ->check(Between<std::uint64_t>(1, 1000000000000))
      ->type_name("N");
  command->add_option("-t,--seconds", options->seconds, "end after so many seconds")
      ->check(Between(0.001, 1e9))
      ->type_name("SECONDS");
  command->footer(kMonitorFooter);
  return MakeCommand<MonitorOptions>(command, options, RunMonitor);
}

}  // namespace passbridge::tool
