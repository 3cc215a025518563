// Bytes as people write them: hexadecimal digits.
#ifndef PASSBRIDGE_TOOLS_FRAMES_HEX_TEXT_H_
#define PASSBRIDGE_TOOLS_FRAMES_HEX_TEXT_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace passbridge::tool {

// Throws std::invalid_argument: the text and what is wrong with it, for the user.
[[noreturn]] void RefuseText(std::string_view text, const std::string& reason);

// Digits only, all of them; nothing for anything else.
std::optional<std::uint32_t> ParseHex(std::string_view digits);

// The next two digits, which go from the text; nothing if there are none.
std::optional<std::uint8_t> TakeHexByte(std::string_view& digits);

// Two hexadecimal digits. Throws as RefuseText() does, as does the next.
std::uint8_t ParseHexByte(std::string_view text);

// "48 6B 10" or "486B10": at least one byte.
std::vector<std::uint8_t> ParseBytes(std::string_view text);

// "02010C", or with the separator between the bytes.
std::string FormatBytes(std::span<const std::uint8_t> bytes, std::string_view separator = "");

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_FRAMES_HEX_TEXT_H_
