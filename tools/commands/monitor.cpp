#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/byte_session.h"
#include "commands/can_session.h"
#include "commands/commands.h"
#include "commands/option_values.h"
#include "frames/byte_message.h"

namespace passbridge::tool {
namespace {

struct MonitorOptions {
  BusOptions bus;
  std::vector<std::string> ids;         // of CAN; empty: all frames
  std::vector<std::string> beginnings;  // of bytes; empty: all messages
  bool extended = false;
  bool both = false;
  std::uint64_t count = 0;  // 0: no limit
  double seconds = 0;       // 0: no limit
};

using Clock = std::chrono::steady_clock;

constexpr const char* kMonitorFooter =
    "Prints (time) channel identifier#data, as CAN tools on Linux do, or (time) protocol bytes; "
    "the\n"
    "time is the VCI's, in seconds. Behind the bytes, or alone: [break] the line was held, [start] "
    "a\n"
    "message begins to arrive, [echo] this side sent it, [sent] an own message has gone.\n"
    "Ends with --count, --seconds or Ctrl-C; then a summary goes to standard error.\n"
    "A j1850pwm channel hears what goes to node F1 and to the addresses of --functional; of a K "
    "line\n"
    "it hears what ECUs and other testers say, without an initialisation.\n"
    "Examples:\n"
    "  passbridge monitor                       everything with 11-bit identifiers\n"
    "  passbridge monitor --both --bitrate 250k both widths, at 250 kbit/s\n"
    "  passbridge monitor --id 7E8 --id 7E9     only these\n"
    "  passbridge monitor --id 18DAF110         29-bit identifiers have 8 digits\n"
    "  passbridge monitor --seconds 10 > bus.log\n"
    "  passbridge monitor --protocol sw-can-ps --pins 1\n"
    "  passbridge monitor --protocol j1850vpw --begin \"48 6B\"\n"
    "  passbridge monitor --protocol gm-uart-ps --pins 9 --become-master F0\n";

std::vector<CanId> Ids(const MonitorOptions& options) {
  std::vector<CanId> ids;
  for (const auto& text : options.ids) ids.push_back(ParseCanId(text));
  return ids;
}

// The identifiers that were asked for decide, too, how wide the channel must be.
IdWidths Widths(const MonitorOptions& options, const std::vector<CanId>& ids) {
  IdWidths widths;
  widths.extended = options.extended || options.both;
  widths.standard = options.both || (!options.extended && ids.empty());
  for (const CanId& id : ids) widths.Add(id);
  return widths;
}

std::vector<std::vector<std::uint8_t>> Beginnings(const MonitorOptions& options) {
  std::vector<std::vector<std::uint8_t>> beginnings;
  if (options.beginnings.empty()) beginnings.emplace_back();
  for (const auto& text : options.beginnings) beginnings.push_back(ParseBeginning(text));
  return beginnings;
}

void CheckMonitor(const MonitorOptions& options) {
  CheckBusOptions(options.bus);
  CheckContent(BusContent::CanFrames, options.bus, "--id", !options.ids.empty());
  CheckContent(BusContent::CanFrames, options.bus, "--29bit", options.extended);
  CheckContent(BusContent::CanFrames, options.bus, "--both", options.both);
  CheckContent(BusContent::Bytes, options.bus, "--begin", !options.beginnings.empty());
  Beginnings(options);
}

std::unique_ptr<BusSession> OpenToMonitor(const Target& target, const MonitorOptions& options,
                                          Console& console) {
  if (!options.bus.OnCan()) {
    return std::make_unique<ByteSession>(target, options.bus,
                                         ByteSelection{.beginnings = Beginnings(options)}, console);
  }
  const std::vector<CanId> ids = Ids(options);
  auto session = std::make_unique<CanSession>(target, options.bus, Widths(options, ids), console);
  for (const CanId& id : ids) session->PassId(id);
  if (ids.empty()) session->PassAll();
  return session;
}

std::optional<std::chrono::milliseconds> Duration(const MonitorOptions& options) {
  if (options.seconds <= 0) return std::nullopt;
  return std::chrono::milliseconds(static_cast<std::int64_t>(options.seconds * 1000));
}

void Summarize(const char* what, std::uint64_t number, Clock::duration passed, Console& console) {
  const double seconds = std::chrono::duration<double>(passed).count();
  char text[96];
  std::snprintf(text, sizeof text, "%llu %s in %.1f s, %.0f %s/s\n",
                static_cast<unsigned long long>(number), what, seconds,
                seconds > 0 ? static_cast<double>(number) / seconds : 0.0, what);
  console.err << text;
}

int RunMonitor(const Target& target, const MonitorOptions& options, Console& console) {
  const auto session = OpenToMonitor(target, options, console);
  const char* const what = options.bus.OnCan() ? "frames" : "messages";
  std::uint64_t number = 0;
  const auto start = Clock::now();
  const auto count = [&](const BusLine& line) {
    if (!line.isFromBus) return true;
    return ++number != options.count;
  };
  try {
    session->Receive(Duration(options), count);
  } catch (...) {
    Summarize(what, number, Clock::now() - start, console);
    throw;
  }
  Summarize(what, number, Clock::now() - start, console);
  return kExitSuccess;
}

}  // namespace

Command AddMonitorCommand(CLI::App& root) {
  const auto options = std::make_shared<MonitorOptions>();
  auto* const command = root.add_subcommand("monitor", "Show the frames or messages of a bus");
  AddBusOptions(*command, options->bus);
  command->add_option("--id", options->ids, "show only this identifier of CAN; repeatable")
      ->check(CanIdText())
      ->type_name("ID")
      ->allow_extra_args(false);
  command
      ->add_option("--begin", options->beginnings,
                   "show only messages of bytes that begin so, such as 486B; repeatable")
      ->type_name("BYTES")
      ->allow_extra_args(false);
  auto* const extended =
      command->add_flag("--29bit", options->extended, "29-bit identifiers instead of 11-bit ones");
  command->add_flag("--both", options->both, "identifiers of both widths")->excludes(extended);
  command->add_option("-n,--count", options->count, "end after so many frames or messages")
      ->check(Between<std::uint64_t>(1, 1000000000000))
      ->type_name("N");
  command->add_option("-t,--seconds", options->seconds, "end after so many seconds")
      ->check(Between(0.001, 1e9))
      ->type_name("SECONDS");
  command->footer(kMonitorFooter + BusProtocolsHelp());
  CheckTogether<MonitorOptions>(command, options, CheckMonitor);
  return MakeCommand<MonitorOptions>(command, options, RunMonitor);
}

}  // namespace passbridge::tool
