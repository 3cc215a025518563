#ifndef PASSBRIDGE_PLATFORM_TEXT_H_
#define PASSBRIDGE_PLATFORM_TEXT_H_

#include <string>
#include <string_view>

namespace passbridge::platform {

// Text in its three encodings: UTF-8, the process's ANSI code page, and wide (UTF-16 on Windows,
// UTF-32 on Linux). On Linux the ANSI code page is UTF-8. What the source encoding cannot mean
// becomes U+FFFD; what the ANSI code page cannot hold becomes its default character.

std::wstring WideFromUtf8(std::string_view text);
std::string Utf8FromWide(std::wstring_view text);

std::wstring WideFromAnsi(std::string_view text);
std::string AnsiFromWide(std::wstring_view text);

// On Linux the same bytes, also where they are no valid UTF-8 (file names need not be).
std::string AnsiFromUtf8(std::string_view text);
std::string Utf8FromAnsi(std::string_view text);

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_TEXT_H_
