#include "frames/hex_text.h"

#include <charconv>
#include <cstdio>
#include <stdexcept>

namespace passbridge::tool {

void RefuseText(std::string_view text, const std::string& reason) {
  throw std::invalid_argument("\"" + std::string(text) + "\": " + reason);
}

std::optional<std::uint32_t> ParseHex(std::string_view digits) {
  std::uint32_t value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value, 16);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

std::optional<std::uint8_t> TakeHexByte(std::string_view& digits) {
  const auto byte = digits.size() < 2 ? std::nullopt : ParseHex(digits.substr(0, 2));
  if (!byte) return std::nullopt;
  digits.remove_prefix(2);
  return static_cast<std::uint8_t>(*byte);
}

std::uint8_t ParseHexByte(std::string_view text) {
  std::string_view digits = text;
  const auto value = TakeHexByte(digits);
  if (!value || !digits.empty()) RefuseText(text, "a byte has 2 hexadecimal digits");
  return *value;
}

std::vector<std::uint8_t> ParseBytes(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  for (std::string_view rest = text; !rest.empty();) {
    if (rest.front() == ' ') {
      rest.remove_prefix(1);
      continue;
    }
    const auto byte = TakeHexByte(rest);
    if (!byte) RefuseText(text, "a message is pairs of hexadecimal digits, such as 48 6B 10");
    bytes.push_back(*byte);
  }
  if (bytes.empty()) RefuseText(text, "a message has at least one byte");
  return bytes;
}

std::string FormatBytes(std::span<const std::uint8_t> bytes, std::string_view separator) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(byte));
    if (!text.empty()) text += separator;
    text += digits;
  }
  return text;
}

}  // namespace passbridge::tool
