#include "ui/text_file.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include "platform/text.h"

namespace passbridge {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kLineBlanks = " \t\r";

std::string_view Trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(kLineBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kLineBlanks) - begin + 1);
}

/// Takes the first line off a text.
std::string_view TakeLine(std::string_view& text) {
  const std::string_view line = text.substr(0, text.find('\n'));
  text.remove_prefix(std::min(line.size() + 1, text.size()));
  return line;
}

std::optional<std::uint32_t> ParseNumber(std::string_view text) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

std::optional<std::string> Unescaped(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      result += text[i];
      continue;
    }
    constexpr std::string_view kEscapes = "sn\\";
    constexpr std::string_view kMeanings = " \n\\";
    const std::size_t which = ++i < text.size() ? kEscapes.find(text[i]) : std::string_view::npos;
    if (which == std::string_view::npos) return std::nullopt;
    result += kMeanings[which];
  }
  return result;
}

bool IsUtf8(std::string_view text) {
  return platform::Utf8FromWide(platform::WideFromUtf8(text)) == text;
}

/// What is wrong with a line; nothing if it was added.
const char* AddLine(std::string_view line, TextTable& texts) {
  const std::size_t mark = line.find('=');
  if (mark == std::string_view::npos) return "no '=' after a number";
  const std::optional<std::uint32_t> number = ParseNumber(Trimmed(line.substr(0, mark)));
  if (!number) return "no number before '='";
  if (!IsUtf8(line)) return "not UTF-8";
  std::optional<std::string> text = Unescaped(Trimmed(line.substr(mark + 1)));
  if (!text) return "after a backslash comes s, n or a backslash";
  return texts.try_emplace(*number, std::move(*text)).second ? nullptr
                                                             : "the number is there twice";
}

}  // namespace

ParsedTexts ParseTexts(std::string_view file) {
  ParsedTexts parsed;
  if (file.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
    file.remove_prefix(kByteOrderMark.size());
  }
  for (std::size_t number = 1; !file.empty(); ++number) {
    const std::string_view line = Trimmed(TakeLine(file));
    if (line.empty() || line.front() == '#') continue;
    if (const char* const fault = AddLine(line, parsed.texts)) {
      parsed.faults.push_back("line " + std::to_string(number) + ": " + fault);
    }
  }
  return parsed;
}

}  // namespace passbridge
