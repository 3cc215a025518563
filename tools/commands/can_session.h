// A raw CAN channel as the subcommands use it: opened for the identifiers at hand, read frame by
// frame.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_CAN_SESSION_H_
#define PASSBRIDGE_TOOLS_COMMANDS_CAN_SESSION_H_

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "client/device.h"
#include "commands/command.h"
#include "frames/can_frame.h"
#include "frames/frame_log.h"

namespace passbridge::tool {

struct CanOptions {
  std::uint32_t protocolId = 0x05;  // raw CAN
  std::uint32_t bitRate = 500000;   // bit/s
};
// A number of bit/s, or std::optional of one.
template <typename BitRate>
void AddBitRateOption(CLI::App& command, BitRate& bitRate) {
  static const std::map<std::string, std::uint32_t> units = {{"k", 1000}, {"M", 1000000}};
  command.add_option("-b,--bitrate", bitRate, "bit rate, such as 500000 or 500k (default: 500k)")
      ->transform(CLI::AsNumberWithUnit(units).description(""))
      ->type_name("BIT/S");
}
void AddCanOptions(CLI::App& command, CanOptions& options);

// A number of at least `low` and at most `high`; the help doesn't spell it out.
template <typename Number>
CLI::Validator Between(Number low, Number high) {
  return CLI::Range(low, high).description("");
}

// Validators whose complaint is the parser's text.
CLI::Validator CanIdText();
CLI::Validator CanFrameText();
CLI::Validator IsoMessageText();
// Turns two hexadecimal digits into the number that the option takes.
CLI::Validator HexByteText();

// Which identifiers a channel is to carry.
struct IdWidths {
  bool standard = false;
  bool extended = false;

  bool Has(const CanId& id) const { return id.extended ? extended : standard; }
  void Add(const CanId& id) { (id.extended ? extended : standard) = true; }
};

class CanSession {
 public:
  // Opens the device and the channel.
  CanSession(const Target& target, const CanOptions& options, IdWidths widths, Console& console);

  void PassId(const CanId& id);
  // Frames whose identifier equals `pattern` in the bits of `mask`.
  void PassMasked(std::uint32_t mask, const CanId& pattern);
  // All frames of the widths that the session was opened for.
  void PassAll();

  // Returns when the frames are on the bus; throws StatusError if that takes too long.
  void Send(std::span<const CanFrame> frames);

  // Hands over each frame until the handler returns false, the duration (if any) is over or the
  // user wants to end. `time` in microseconds on the VCI's clock. Lost frames are reported on
  // the console.
  using Handler = std::function<bool(std::uint64_t time, const CanFrame& frame)>;
  void Receive(std::optional<std::chrono::milliseconds> duration, const Handler& handler);

  // The frame as a log line on the console's output.
  void Print(std::uint64_t time, const CanFrame& frame);

 private:
  bool HandOver(const std::vector<Message>& messages, const Handler& handler);

  Console& console_;
  IdWidths widths_;
  Device device_;
  Channel channel_;
  TimestampExtender clock_;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_CAN_SESSION_H_
