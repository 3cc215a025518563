// A channel as monitor and send use it, whatever it carries.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_BUS_SESSION_H_
#define PASSBRIDGE_TOOLS_COMMANDS_BUS_SESSION_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "client/device.h"
#include "commands/bus_options.h"
#include "commands/command.h"
#include "frames/frame_log.h"

namespace passbridge::tool {

// What was received, as the log shows it behind time and channel.
struct BusLine {
  std::string text;
  bool isFromBus = true;  // a message of another node: neither an indication nor an echo
};

class BusSession {
 public:
  virtual ~BusSession() = default;
  BusSession(const BusSession&) = delete;
  BusSession& operator=(const BusSession&) = delete;

  // Returns when the messages are on the bus; throws StatusError if that takes too long.
  void Send(std::span<const Message> messages);

  // Prints each line and hands it over, until the handler returns false, the duration (if any) is
  // over or the user wants to end. Lost messages are reported on the console.
  using Handler = std::function<bool(const BusLine& line)>;
  void Receive(std::optional<std::chrono::milliseconds> duration, const Handler& handler);

 protected:
  // Opens the device and the channel, and sets its pins if there are any. `logName` is the channel
  // in the log.
  BusSession(const Target& target, const BusOptions& options, std::uint32_t connectFlags,
             std::string logName, Console& console);

  Channel& OpenChannel() { return channel_; }
  // Nothing for what is not to be shown.
  virtual std::optional<BusLine> LineOf(const Message& message) const = 0;

 private:
  bool HandOver(const std::vector<Message>& messages, const Handler& handler);

  Console& console_;
  const std::string logName_;
  Device device_;
  Channel channel_;
  TimestampExtender clock_;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_BUS_SESSION_H_
