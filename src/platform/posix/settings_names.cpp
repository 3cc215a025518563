#include "platform/posix/settings_names.h"

#include <locale.h>
#include <wctype.h>

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "platform/text.h"

namespace passbridge::platform {
namespace {

constexpr std::string_view kValueSuffix = ".value";
constexpr std::string_view kNamelessValue = "@";

bool NeedsEscape(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F ||
         std::string_view("/%.@").find(c) != std::string_view::npos;
}

std::string Escaped(std::string_view name) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string out;
  for (const char c : name) {
    if (NeedsEscape(c)) {
      const auto byte = static_cast<std::uint8_t>(c);
      out += {'%', kDigits[byte >> 4], kDigits[byte & 0xF]};
    } else {
      out += c;
    }
  }
  return out;
}

std::optional<std::string> Unescaped(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto byte = static_cast<std::uint8_t>(text[i]);
    if (text[i] == '%') {
      if (text.size() - i < 3) return std::nullopt;
      const char* const digits = text.data() + i + 1;
      if (std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) return std::nullopt;
      i += 2;
    }
    out += static_cast<char>(byte);
  }
  return out;
}

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

char AsciiUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

// Characters of other scripts, as the C.UTF-8 locale knows them.
std::string UnicodeUpper(std::string_view text) {
  const locale_t locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (locale == nullptr) return std::string(text);
  std::wstring wide = WideFromUtf8(text);
  for (wchar_t& c : wide) {
    c = static_cast<wchar_t>(::towupper_l(static_cast<wint_t>(c), locale));
  }
  ::freelocale(locale);
  return Utf8FromWide(wide);
}

}  // namespace

std::string FileNameOf(std::string_view name, EntryKind kind) {
  if (kind == EntryKind::Key) return Escaped(name);
  return (name.empty() ? std::string(kNamelessValue) : Escaped(name)).append(kValueSuffix);
}

std::optional<std::string> NameOf(std::string_view fileName, EntryKind kind) {
  if (fileName.empty() || fileName.front() == '.') return std::nullopt;
  if (kind == EntryKind::Key) return Unescaped(fileName);
  if (!fileName.ends_with(kValueSuffix)) return std::nullopt;
  fileName.remove_suffix(kValueSuffix.size());
  return fileName == kNamelessValue ? std::string() : Unescaped(fileName);
}

std::string Folded(std::string_view name) {
  std::string folded(name);
  std::transform(folded.begin(), folded.end(), folded.begin(), AsciiUpper);
  return IsAscii(name) ? folded : UnicodeUpper(folded);
}

std::vector<std::string> SplitKeyPath(std::string_view path) {
  std::vector<std::string> names;
  for (;;) {
    const std::size_t end = std::min(path.find('\\'), path.size());
    if (end == 0) return {};
    names.emplace_back(path.substr(0, end));
    if (end == path.size()) return names;
    path.remove_prefix(end + 1);
  }
}

}  // namespace passbridge::platform
