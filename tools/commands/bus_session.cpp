#include "commands/bus_session.h"

#include <passbridge/j2534.h>

#include <algorithm>
#include <utility>

namespace passbridge::tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kWriteTimeout{1000};
// How long a read may keep the user waiting who wants to end.
constexpr milliseconds kReadSlice{100};

}  // namespace

BusSession::BusSession(const Target& target, const BusOptions& options, std::uint32_t connectFlags,
                       std::string logName, Console& console)
    : console_(console),
      logName_(std::move(logName)),
      device_(target.api, target.deviceName),
      channel_(device_, options.Protocol().id, connectFlags, options.BitRate()) {
  if (options.pins != 0) channel_.SetConfig(J1962_PINS, options.pins);
  if (options.highSpeed) channel_.SwitchToHighSpeed();
}

void BusSession::Send(std::span<const Message> messages) {
  channel_.Write(messages, kWriteTimeout);
}

bool BusSession::HandOver(const std::vector<Message>& messages, const Handler& handler) {
  for (const Message& message : messages) {
    const auto line = LineOf(message);
    if (!line) continue;
    console_.out << FormatLogLine(clock_.Extend(message.timestamp), logName_, line->text) << '\n';
    if (!handler(*line)) return false;
  }
  return true;
}

void BusSession::Receive(std::optional<milliseconds> duration, const Handler& handler) {
  const auto start = steady_clock::now();
  while (!console_.stopRequested()) {
    milliseconds left = kReadSlice;
    if (duration) {
      // What is there when the time is over came in time: this program may not have been running.
      const auto passed = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
      left = std::max(*duration - passed, milliseconds::zero());
    }
    const ReadResult result = channel_.Read(std::min(left, kReadSlice));
    if (result.overflow) console_.err << "passbridge: the library lost messages\n";
    const bool more = HandOver(result.messages, handler);
    console_.out.flush();
    if (!more || left == milliseconds::zero()) return;
  }
}

}  // namespace passbridge::tool
