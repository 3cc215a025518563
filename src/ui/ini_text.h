#ifndef PASSBRIDGE_UI_INI_TEXT_H_
#define PASSBRIDGE_UI_INI_TEXT_H_

#include <optional>
#include <string>
#include <string_view>

namespace passbridge {

/// The value of a key in an ini text, as iniparser understands it; nothing of a text with a line
/// that it doesn't. One thread at a time.
/// @param key  section, colon, name; case doesn't matter
std::optional<std::string> IniValue(std::string_view ini, const std::string& key);

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_INI_TEXT_H_
