#include "frames/can_frame.h"

#include <passbridge/j2534.h>

#include <cstdio>

#include "frames/hex_text.h"

namespace passbridge::tool {
namespace {

constexpr std::size_t kMaxFrameSize = 8;
constexpr std::size_t kMaxIsoSize = 4095;
constexpr std::size_t kIdBytes = 4;
constexpr std::uint32_t kIndications = START_OF_MESSAGE | RX_BREAK | TX_INDICATION | SW_CAN_HV_RX |
                                       FT_ERROR | RX_SPD_CHG_EVENT | J1939_ADDRESS_LOST |
                                       J1939_ADDRESS_CLAIMED;

std::vector<std::uint8_t> ParseData(std::string_view text, std::string_view digits) {
  std::vector<std::uint8_t> data;
  while (!digits.empty()) {
    if (!data.empty() && digits.front() == '.') digits.remove_prefix(1);
    const auto byte = TakeHexByte(digits);
    if (!byte) RefuseText(text, "the data are pairs of hexadecimal digits");
    data.push_back(*byte);
  }
  return data;
}

// The identifier and the data, however many.
CanFrame ParseAddressed(std::string_view text) {
  const auto separator = text.find('#');
  if (separator == std::string_view::npos) {
    RefuseText(text, "a frame is an identifier, # and data, such as 7E0#02010C");
  }
  const auto data = text.substr(separator + 1);
  if (data.starts_with('#')) RefuseText(text, "CAN FD frames are not supported");
  if (data.starts_with('R') || data.starts_with('r')) {
    RefuseText(text, "J2534 has no remote frames");
  }
  return {ParseCanId(text.substr(0, separator)), ParseData(text, data)};
}

}  // namespace

CanId ParseCanId(std::string_view text) {
  const auto value = ParseHex(text);
  if (!value || (text.size() != 3 && text.size() != 8)) {
    RefuseText(text, "an identifier has 3 hexadecimal digits (11 bits) or 8 (29 bits)");
  }
  const bool extended = text.size() == 8;
  if (*value > (extended ? 0x1FFFFFFFu : 0x7FFu)) {
    RefuseText(text, extended ? "a 29-bit identifier is at most 1FFFFFFF"
                              : "an 11-bit identifier is at most 7FF");
  }
  return {*value, extended};
}

std::string FormatCanId(const CanId& id) {
  char text[9];
  std::snprintf(text, sizeof text, "%0*X", id.extended ? 8 : 3, static_cast<unsigned>(id.value));
  return text;
}

CanFrame ParseCanFrame(std::string_view text) {
  CanFrame frame = ParseAddressed(text);
  if (frame.data.size() > kMaxFrameSize) RefuseText(text, "a CAN frame carries at most 8 bytes");
  return frame;
}

CanFrame ParseIsoMessage(std::string_view text) {
  CanFrame message = ParseAddressed(text);
  if (message.data.empty()) RefuseText(text, "a message has at least one byte");
  if (message.data.size() > kMaxIsoSize) RefuseText(text, "a message has at most 4095 bytes");
  return message;
}

std::string FormatCanFrame(const CanFrame& frame) {
  return FormatCanId(frame.id) + "#" + FormatBytes(frame.data);
}

Message IdMessage(const CanId& id, std::uint32_t protocolId) {
  Message message;
  message.protocolId = protocolId;
  message.txFlags = id.extended ? CAN_29BIT_ID : 0;
  for (const int shift : {24, 16, 8, 0}) {
    message.data.push_back(static_cast<std::uint8_t>(id.value >> shift));
  }
  return message;
}

Message ToMessage(const CanFrame& frame, std::uint32_t protocolId) {
  Message message = IdMessage(frame.id, protocolId);
  message.data.insert(message.data.end(), frame.data.begin(), frame.data.end());
  return message;
}

std::optional<CanFrame> ToCanFrame(const Message& message) {
  if ((message.rxStatus & kIndications) != 0 || message.data.size() < kIdBytes) {
    return std::nullopt;
  }
  CanFrame frame;
  for (std::size_t i = 0; i < kIdBytes; ++i) {
    frame.id.value = frame.id.value << 8 | message.data[i];
  }
  frame.id.extended = (message.rxStatus & CAN_29BIT_ID) != 0;
  frame.data.assign(message.data.begin() + kIdBytes, message.data.end());
  return frame;
}

}  // namespace passbridge::tool
