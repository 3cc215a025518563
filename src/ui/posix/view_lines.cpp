#include "ui/posix/view_lines.h"

namespace passbridge::view {

namespace {

constexpr std::string_view kEscaped = "\n\t\\";
constexpr std::string_view kLetters = "nt\\";

void AppendField(std::string& line, std::string_view field) {
  for (const char c : field) {
    const std::size_t which = kEscaped.find(c);
    if (which != std::string_view::npos) line += '\\';
    line += which != std::string_view::npos ? kLetters[which] : c;
  }
}

std::string FieldOf(std::string_view text) {
  std::string field;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool mayEscape = text[i] == '\\' && i + 1 < text.size();
    const std::size_t which = mayEscape ? kLetters.find(text[i + 1]) : std::string_view::npos;
    field += which != std::string_view::npos ? kEscaped[which] : text[i];
    if (which != std::string_view::npos) ++i;
  }
  return field;
}

}  // namespace

std::string MakeLine(const std::vector<std::string_view>& fields) {
  std::string line;
  for (const std::string_view& field : fields) {
    if (&field != &fields.front()) line += '\t';
    AppendField(line, field);
  }
  line += '\n';
  return line;
}

Fields SplitLine(std::string_view line) {
  Fields fields;
  for (;;) {
    const std::size_t end = line.find('\t');
    fields.push_back(FieldOf(line.substr(0, end)));
    if (end == std::string_view::npos) return fields;
    line.remove_prefix(end + 1);
  }
}

bool LineReader::Add(std::string_view bytes) {
  buffer_.append(bytes);
  const std::size_t lastEnd = buffer_.rfind('\n');
  const std::size_t tail = lastEnd == std::string::npos ? begin_ : lastEnd + 1;
  return buffer_.size() - tail <= kLongestLine;
}

std::optional<Fields> LineReader::Take() {
  const std::size_t end = buffer_.find('\n', searched_);
  if (end == std::string::npos) {
    buffer_.erase(0, begin_);
    begin_ = 0;
    searched_ = buffer_.size();
    return std::nullopt;
  }
  Fields fields = SplitLine(std::string_view(buffer_).substr(begin_, end - begin_));
  begin_ = searched_ = end + 1;
  return fields;
}

}  // namespace passbridge::view
