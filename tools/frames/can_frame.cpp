#include "frames/can_frame.h"

#include <passbridge/j2534.h>

#include <charconv>
#include <cstdio>
#include <stdexcept>

namespace passbridge::tool {
namespace {

constexpr std::size_t kMaxFrameSize = 8;
constexpr std::size_t kMaxIsoSize = 4095;
constexpr std::size_t kIdBytes = 4;
constexpr std::uint32_t kIndications = START_OF_MESSAGE | RX_BREAK | TX_INDICATION | SW_CAN_HV_RX |
                                       FT_ERROR | RX_SPD_CHG_EVENT | J1939_ADDRESS_LOST |
                                       J1939_ADDRESS_CLAIMED;

[[noreturn]] void Refuse(std::string_view text, const char* reason) {
  throw std::invalid_argument("\"" + std::string(text) + "\": " + reason);
}

// Digits only, all of them.
std::optional<std::uint32_t> ParseHex(std::string_view digits) {
  std::uint32_t value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value, 16);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

std::vector<std::uint8_t> ParseData(std::string_view text, std::string_view digits) {
  std::vector<std::uint8_t> data;
  while (!digits.empty()) {
    if (!data.empty() && digits.front() == '.') digits.remove_prefix(1);
    const auto byte = digits.size() < 2 ? std::nullopt : ParseHex(digits.substr(0, 2));
    if (!byte) Refuse(text, "the data are pairs of hexadecimal digits");
    data.push_back(static_cast<std::uint8_t>(*byte));
    digits.remove_prefix(2);
  }
  return data;
}

// The identifier and the data, however many.
CanFrame ParseAddressed(std::string_view text) {
  const auto separator = text.find('#');
  if (separator == std::string_view::npos) {
    Refuse(text, "a frame is an identifier, # and data, such as 7E0#02010C");
  }
  const auto data = text.substr(separator + 1);
  if (data.starts_with('#')) Refuse(text, "CAN FD frames are not supported");
  if (data.starts_with('R') || data.starts_with('r')) {
    Refuse(text, "J2534 has no remote frames");
  }
  return {ParseCanId(text.substr(0, separator)), ParseData(text, data)};
}

}  // namespace

CanId ParseCanId(std::string_view text) {
  const auto value = ParseHex(text);
  if (!value || (text.size() != 3 && text.size() != 8)) {
    Refuse(text, "an identifier has 3 hexadecimal digits (11 bits) or 8 (29 bits)");
  }
  const bool extended = text.size() == 8;
  if (*value > (extended ? 0x1FFFFFFFu : 0x7FFu)) {
    Refuse(text, extended ? "a 29-bit identifier is at most 1FFFFFFF"
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
  if (frame.data.size() > kMaxFrameSize) Refuse(text, "a CAN frame carries at most 8 bytes");
  return frame;
}

CanFrame ParseIsoMessage(std::string_view text) {
  CanFrame message = ParseAddressed(text);
  if (message.data.empty()) Refuse(text, "a message has at least one byte");
  if (message.data.size() > kMaxIsoSize) Refuse(text, "a message has at most 4095 bytes");
  return message;
}

std::uint8_t ParseHexByte(std::string_view text) {
  const auto value = text.size() == 2 ? ParseHex(text) : std::nullopt;
  if (!value) Refuse(text, "a byte has 2 hexadecimal digits");
  return static_cast<std::uint8_t>(*value);
}

std::string FormatBytes(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(byte));
    text += digits;
  }
  return text;
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
