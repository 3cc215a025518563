#include "platform/posix/settings_value.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

#include "platform/text.h"

namespace passbridge::platform {
namespace {

constexpr std::string_view kDwordMark = "dword:";
constexpr std::string_view kTextMark = "text:";

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::optional<std::uint32_t> ParseNumber(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

}  // namespace

std::string FormatSettingsValue(const SettingsValue& value) {
  if (const auto* const number = std::get_if<std::uint32_t>(&value)) {
    std::array<char, 24> line;
    const int length = std::snprintf(line.data(), line.size(), "dword:0x%08X\n", *number);
    return std::string(line.data(), static_cast<std::size_t>(length));
  }
  return std::string(kTextMark) + std::get<std::string>(value) + "\n";
}

std::optional<SettingsValue> ParseSettingsValue(std::string_view content) {
  if (content.starts_with(kDwordMark)) {
    return ParseNumber(Trimmed(content.substr(kDwordMark.size())));
  }
  if (!content.starts_with(kTextMark) || content.find('\0') != std::string_view::npos) {
    return std::nullopt;
  }
  content.remove_prefix(kTextMark.size());
  if (content.ends_with('\n')) content.remove_suffix(1);
  return std::string(content);
}

std::size_t Utf16Length(std::string_view text) {
  std::size_t length = 0;
  for (const wchar_t c : WideFromUtf8(text)) length += c > 0xFFFF ? 2 : 1;
  return length;
}

std::optional<std::uint32_t> FirstFourBytes(const SettingsValue& value) {
  if (const auto* const number = std::get_if<std::uint32_t>(&value)) return *number;
  const auto& text = std::get<std::string>(value);
  if (Utf16Length(text) > 1) return std::nullopt;  // with the terminator more than four bytes
  return text.empty() ? 0 : static_cast<std::uint32_t>(WideFromUtf8(text).front());
}

}  // namespace passbridge::platform
