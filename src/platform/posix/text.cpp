#include "platform/text.h"

#include <cstdint>

namespace passbridge::platform {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsScalar(char32_t c) { return c < 0xD800 || (c > 0xDFFF && c <= 0x10FFFF); }

// Takes one code point off the front of a non-empty text; of malformed bytes, the first one.
char32_t TakeCodePoint(std::string_view& text) {
  const auto lead = static_cast<std::uint8_t>(text.front());
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  constexpr std::uint8_t kLeadMask[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  char32_t c = lead & kLeadMask[length];
  std::size_t taken = 1;
  while (taken < length && taken < text.size() && (text[taken] & 0xC0) == 0x80) {
    c = c << 6 | static_cast<char32_t>(text[taken++] & 0x3F);
  }
  const bool good = length != 0 && taken == length && c >= kSmallest[length] && IsScalar(c);
  text.remove_prefix(good ? length : 1);
  return good ? c : kReplacement;
}

void AppendUtf8(std::string& out, char32_t c) {
  const auto tail = [c](int shift) { return static_cast<char>(0x80 | (c >> shift & 0x3F)); };
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += {static_cast<char>(0xC0 | c >> 6), tail(0)};
  } else if (c < 0x10000) {
    out += {static_cast<char>(0xE0 | c >> 12), tail(6), tail(0)};
  } else {
    out += {static_cast<char>(0xF0 | c >> 18), tail(12), tail(6), tail(0)};
  }
}

}  // namespace

std::wstring WideFromUtf8(std::string_view text) {
  std::wstring out;
  out.reserve(text.size());
  while (!text.empty()) out += static_cast<wchar_t>(TakeCodePoint(text));
  return out;
}

std::string Utf8FromWide(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  for (const wchar_t unit : text) {
    const auto c = static_cast<char32_t>(unit);
    AppendUtf8(out, IsScalar(c) ? c : kReplacement);
  }
  return out;
}

std::wstring WideFromAnsi(std::string_view text) { return WideFromUtf8(text); }
std::string AnsiFromWide(std::wstring_view text) { return Utf8FromWide(text); }
std::string AnsiFromUtf8(std::string_view text) { return std::string(text); }
std::string Utf8FromAnsi(std::string_view text) { return std::string(text); }

}  // namespace passbridge::platform
