#ifndef PASSBRIDGE_PLATFORM_POSIX_SETTINGS_VALUE_H_
#define PASSBRIDGE_PLATFORM_POSIX_SETTINGS_VALUE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace passbridge::platform {

// What a value's file holds: "dword:0x00000001" (a decimal number is read, too) or "text:" and the
// text, which may go on over further lines, and a line end, which may be missing.
using SettingsValue = std::variant<std::uint32_t, std::string>;

std::string FormatSettingsValue(const SettingsValue& value);
// Nothing if the content has no such form.
std::optional<SettingsValue> ParseSettingsValue(std::string_view content);

// The length of a UTF-8 text in UTF-16 units.
std::size_t Utf16Length(std::string_view text);

// The value's bytes as the Windows registry stores them, as a little-endian number; nothing if they
// are more than four.
std::optional<std::uint32_t> FirstFourBytes(const SettingsValue& value);

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_POSIX_SETTINGS_VALUE_H_
