#include "commands/can_session.h"

#include <passbridge/j2534.h>

#include <algorithm>
#include <map>
#include <stdexcept>

namespace passbridge::tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kWriteTimeout{1000};
// How long a read may keep the user waiting who wants to end.
constexpr milliseconds kReadSlice{100};
constexpr const char* kChannelName = "can0";
constexpr std::uint32_t kExactMask = 0xFFFFFFFF;

// The protocols whose messages are raw CAN frames.
const std::map<std::string, std::uint32_t> kProtocols = {{"can", CAN}};

std::uint32_t ConnectFlags(IdWidths widths) {
  if (widths.standard && widths.extended) return CAN_ID_BOTH;
  return widths.extended ? CAN_29BIT_ID : 0;
}

std::string ReplaceProtocol(std::string& text) {
  const auto found = kProtocols.find(text);
  if (found == kProtocols.end()) return "\"" + text + "\" is no protocol of CAN frames: use can";
  text = std::to_string(found->second);
  return {};
}

template <typename Parser>
CLI::Validator TextChecker(Parser parse) {
  const auto check = [parse](const std::string& text) {
    try {
      parse(text);
      return std::string();
    } catch (const std::invalid_argument& error) {
      return std::string(error.what());
    }
  };
  return CLI::Validator(check, "");
}

}  // namespace

void AddCanOptions(CLI::App& command, CanOptions& options) {
  command.add_option("-p,--protocol", options.protocolId, "protocol of the channel (default: can)")
      ->transform(CLI::Validator(ReplaceProtocol, ""))
      ->type_name("NAME");
  AddBitRateOption(command, options.bitRate);
}

CLI::Validator IsoMessageText() { return TextChecker(ParseIsoMessage); }
CLI::Validator HexByteText() {
  const auto replace = [](std::string& text) {
    try {
      text = std::to_string(ParseHexByte(text));
      return std::string();
    } catch (const std::invalid_argument& error) {
      return std::string(error.what());
    }
  };
  return CLI::Validator(replace, "");
}
CLI::Validator CanIdText() { return TextChecker(ParseCanId); }
CLI::Validator CanFrameText() { return TextChecker(ParseCanFrame); }

CanSession::CanSession(const Target& target, const CanOptions& options, IdWidths widths,
                       Console& console)
    : console_(console),
      widths_(widths),
      device_(target.api, target.deviceName),
      channel_(device_, options.protocolId, ConnectFlags(widths), options.bitRate) {}

void CanSession::PassMasked(std::uint32_t mask, const CanId& pattern) {
  channel_.StartPassFilter(IdMessage({mask, pattern.extended}, channel_.ProtocolId()),
                           IdMessage(pattern, channel_.ProtocolId()));
}

void CanSession::PassId(const CanId& id) { PassMasked(kExactMask, id); }

void CanSession::PassAll() {
  if (widths_.standard) PassMasked(0, {0, false});
  if (widths_.extended) PassMasked(0, {0, true});
}

void CanSession::Send(std::span<const CanFrame> frames) {
  std::vector<Message> messages;
  for (const CanFrame& frame : frames) {
    messages.push_back(ToMessage(frame, channel_.ProtocolId()));
  }
  channel_.Write(messages, kWriteTimeout);
}

bool CanSession::HandOver(const std::vector<Message>& messages, const Handler& handler) {
  for (const Message& message : messages) {
    const auto frame = ToCanFrame(message);
    // Some libraries let identifiers of the other width through a filter of equal bits.
    if (!frame || !widths_.Has(frame->id)) continue;
    if (!handler(clock_.Extend(message.timestamp), *frame)) return false;
  }
  return true;
}

void CanSession::Receive(std::optional<milliseconds> duration, const Handler& handler) {
  const auto start = steady_clock::now();
  while (!console_.stopRequested()) {
    milliseconds wait = kReadSlice;
    if (duration) {
      const auto passed = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
      if (passed >= *duration) return;
      wait = std::min(wait, *duration - passed);
    }
    const ReadResult result = channel_.Read(wait);
    if (result.overflow) console_.err << "passbridge: the library lost frames\n";
    const bool more = HandOver(result.messages, handler);
    console_.out.flush();
    if (!more) return;
  }
}

void CanSession::Print(std::uint64_t time, const CanFrame& frame) {
  console_.out << FormatLogLine(time, kChannelName, frame) << '\n';
}

}  // namespace passbridge::tool
