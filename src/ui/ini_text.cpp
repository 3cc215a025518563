#include "ui/ini_text.h"

#include <algorithm>

namespace passbridge {

namespace {

std::string_view WithoutBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\v\f";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

bool IsSame(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

/// Takes the first line off a text, with those that continue it.
std::string TakeLogicalLine(std::string_view& ini) {
  std::string line;
  while (!ini.empty()) {
    const std::string_view part = ini.substr(0, ini.find('\n'));
    ini.remove_prefix(std::min(part.size() + 1, ini.size()));
    line += WithoutBlanks(part);
    if (line.empty() || line.back() != '\\') break;
    line.pop_back();
  }
  return line;
}

std::string ValueOf(std::string_view text) {
  const std::string_view value = WithoutBlanks(text);
  if (!value.empty() && (value.front() == '"' || value.front() == '\'')) {
    const std::size_t end = value.find(value.front(), 1);
    if (end != std::string_view::npos) return std::string(value.substr(1, end - 1));
  }
  return std::string(WithoutBlanks(value.substr(0, value.find_first_of(";#"))));
}

}  // namespace

std::optional<std::string> IniValue(std::string_view ini, std::string_view key) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (ini.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    ini.remove_prefix(kByteOrderMark.size());
  }
  std::optional<std::string> value;
  std::string section;
  while (!ini.empty()) {
    const std::string line = TakeLogicalLine(ini);
    if (line.empty() || line.front() == '#' || line.front() == ';') continue;
    if (line.front() == '[') {
      const std::size_t end = std::min(line.find(']'), line.size());
      section = WithoutBlanks(std::string_view(line).substr(1, end - 1));
      continue;
    }
    const std::size_t mark = line.find('=');
    if (mark == std::string::npos) continue;
    const std::string name(WithoutBlanks(std::string_view(line).substr(0, mark)));
    if (IsSame(section + ":" + name, key)) value = ValueOf(std::string_view(line).substr(mark + 1));
  }
  return value;
}

}  // namespace passbridge
