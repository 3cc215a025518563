#ifndef PASSBRIDGE_UI_INI_TEXT_H_
#define PASSBRIDGE_UI_INI_TEXT_H_

#include <optional>
#include <string>
#include <string_view>

namespace passbridge {

/// The value of a key in an ini text, by the usual conventions: sections in brackets, keys with
/// "=", "#" and ";" begin comments, a backslash at the end of a line continues it, a value may be
/// in single or double quotes. Of several values of a key the last one counts.
/// @param key  section, colon, name; case doesn't matter
std::optional<std::string> IniValue(std::string_view ini, std::string_view key);

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_INI_TEXT_H_
