#include "virtual_vci/scenario/patterns.h"

#include <algorithm>
#include <charconv>

namespace virtual_vci {

namespace {

std::optional<std::size_t> Number(std::string_view text, int base) {
  std::size_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<std::uint8_t> HexByte(std::string_view text) {
  const auto value = text.size() == 2 ? Number(text, 16) : std::nullopt;
  return value ? std::optional(static_cast<std::uint8_t>(*value)) : std::nullopt;
}

std::vector<std::string_view> Words(std::string_view text) {
  std::vector<std::string_view> words;
  constexpr std::string_view kBlanks = " \t\r\n";
  while (true) {
    const std::size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) return words;
    text.remove_prefix(begin);
    const std::size_t end = std::min(text.find_first_of(kBlanks), text.size());
    words.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
}

bool Enclosed(std::string_view word, char open, char close) {
  return word.size() > 2 && word.front() == open && word.back() == close;
}

}  // namespace

std::uint32_t Signal::At(Micros now) const {
  const std::uint64_t range = max > min ? std::uint64_t{max} - min : 0;
  if (kind == Kind::kConstant || range == 0 || period == 0) return min;
  if (kind == Kind::kCounter) return static_cast<std::uint32_t>(min + now / period % (range + 1));
  const Micros half = std::max<Micros>(period / 2, 1);
  const Micros phase = now % (2 * half);
  const Micros distance = phase <= half ? phase : 2 * half - phase;
  return static_cast<std::uint32_t>(min + range * distance / half);
}

std::optional<Pattern> Pattern::Parse(std::string_view text) {
  Pattern pattern;
  for (const std::string_view word : Words(text)) {
    if (pattern.open_) return std::nullopt;
    if (word == "*") {
      pattern.open_ = true;
    } else if (word == "??") {
      pattern.bytes_.emplace_back(std::nullopt);
    } else if (const auto byte = HexByte(word)) {
      pattern.bytes_.emplace_back(byte);
    } else {
      return std::nullopt;
    }
  }
  if (pattern.bytes_.empty()) return std::nullopt;
  return pattern;
}

bool Pattern::Matches(std::span<const std::uint8_t> bytes) const {
  if (bytes.size() < bytes_.size() || (!open_ && bytes.size() != bytes_.size())) return false;
  return std::equal(bytes_.begin(), bytes_.end(), bytes.begin(),
                    [](const std::optional<std::uint8_t>& want, std::uint8_t is) {
    return !want || *want == is;
  });
}

std::optional<Template> Template::Parse(std::string_view text, const std::vector<Signal>& signals) {
  Template result;
  for (const std::string_view word : Words(text)) {
    if (Enclosed(word, '{', '}')) {
      const auto found = std::find_if(signals.begin(), signals.end(), [&](const Signal& signal) {
        return signal.name == word.substr(1, word.size() - 2);
      });
      if (found == signals.end()) return std::nullopt;
      result.parts_.push_back(
          {Part::Kind::kSignal, static_cast<std::size_t>(found - signals.begin())});
    } else if (Enclosed(word, '[', ']')) {
      const auto index = Number(word.substr(1, word.size() - 2), 10);
      if (!index) return std::nullopt;
      result.parts_.push_back({Part::Kind::kRequest, *index});
    } else if (const auto byte = HexByte(word)) {
      result.parts_.push_back({Part::Kind::kByte, *byte});
    } else {
      return std::nullopt;
    }
  }
  return result;
}

Bytes Template::Build(const std::vector<Signal>& signals, Micros now,
                      std::span<const std::uint8_t> request) const {
  Bytes bytes;
  for (const Part& part : parts_) {
    if (part.kind == Part::Kind::kByte) {
      bytes.push_back(static_cast<std::uint8_t>(part.value));
    } else if (part.kind == Part::Kind::kRequest) {
      bytes.push_back(part.value < request.size() ? request[part.value] : std::uint8_t{0});
    } else {
      const Signal& signal = signals[part.value];
      const std::uint32_t value = signal.At(now);
      for (int byte = signal.bytes - 1; byte >= 0; --byte) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8 * byte)));
      }
    }
  }
  return bytes;
}

}  // namespace virtual_vci
