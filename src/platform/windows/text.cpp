#include "platform/text.h"

#include <windows.h>

namespace passbridge::platform {
namespace {

std::wstring ToWide(UINT codePage, std::string_view text) {
  const int length = static_cast<int>(text.size());
  const int units = ::MultiByteToWideChar(codePage, 0, text.data(), length, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(units), L'\0');
  ::MultiByteToWideChar(codePage, 0, text.data(), length, wide.data(), units);
  return wide;
}

std::string ToNarrow(UINT codePage, DWORD flags, std::wstring_view text) {
  const int length = static_cast<int>(text.size());
  const int bytes =
      ::WideCharToMultiByte(codePage, flags, text.data(), length, nullptr, 0, nullptr, nullptr);
  std::string narrow(static_cast<std::size_t>(bytes), '\0');
  ::WideCharToMultiByte(codePage, flags, text.data(), length, narrow.data(), bytes, nullptr,
                        nullptr);
  return narrow;
}

}  // namespace

std::wstring WideFromUtf8(std::string_view text) { return ToWide(CP_UTF8, text); }
std::string Utf8FromWide(std::wstring_view text) { return ToNarrow(CP_UTF8, 0, text); }
std::wstring WideFromAnsi(std::string_view text) { return ToWide(CP_ACP, text); }

std::string AnsiFromWide(std::wstring_view text) {
  // No similar character: it would name another file. UTF-8 as the code page takes no such flag.
  return ToNarrow(CP_ACP, ::GetACP() == CP_UTF8 ? 0 : WC_NO_BEST_FIT_CHARS, text);
}

std::string AnsiFromUtf8(std::string_view text) { return AnsiFromWide(WideFromUtf8(text)); }
std::string Utf8FromAnsi(std::string_view text) { return Utf8FromWide(WideFromAnsi(text)); }

}  // namespace passbridge::platform
