#include "commands/obd_report.h"

#include "frames/hex_text.h"

namespace passbridge::tool {
namespace {

// Printable ASCII only: other characters don't get this far.
std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

std::string JsonArray(const std::vector<std::string>& texts) {
  std::string array = "[";
  for (const auto& text : texts) {
    if (array.size() > 1) array += ',';
    array += Quoted(text);
  }
  return array + "]";
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const auto& text : texts) {
    if (!joined.empty()) joined += ' ';
    joined += text;
  }
  return joined.empty() ? "none" : joined;
}

std::string JsonHead(const std::string& ecu, const std::string& name) {
  return "{\"ecu\":" + Quoted(ecu) + ",\"name\":" + Quoted(name);
}

std::string JsonValue(const ObdItem& item, const ObdReading& reading) {
  if (reading.refused) return ",\"refused\":" + Quoted(reading.text);
  if (item.kind == ObdKind::Faults) return ",\"value\":" + JsonArray(reading.faults);
  if (item.kind != ObdKind::Number) return ",\"value\":" + Quoted(reading.text);
  return ",\"value\":" + reading.text + ",\"unit\":" + Quoted(item.unit);
}

std::string ValueText(const ObdItem& item, const ObdReading& reading) {
  if (reading.refused) return reading.text;
  if (item.kind == ObdKind::Faults) return Joined(reading.faults);
  return item.kind == ObdKind::Number ? reading.text + " " + item.unit : reading.text;
}

}  // namespace

void ObdReport::Add(const std::string& ecu, const ObdItem& item, const ObdReading& reading) {
  lines_.push_back({ecu + "  " + item.title + ": " + ValueText(item, reading),
                    JsonHead(ecu, item.name) + JsonValue(item, reading) + "}"});
  hasValues_ = hasValues_ || !reading.refused;
}

void ObdReport::AddSupported(const std::map<std::string, std::set<std::uint8_t>>& supported) {
  for (const auto& [ecu, pids] : supported) {
    std::vector<std::string> texts;
    for (const std::uint8_t pid : pids) texts.push_back(FormatBytes({&pid, 1}));
    lines_.push_back({ecu + "  supported PIDs: " + Joined(texts),
                      JsonHead(ecu, "supported") + ",\"value\":" + JsonArray(texts) + "}"});
    hasValues_ = true;
  }
}

std::string ObdReport::Text() const {
  std::string text;
  for (const Line& line : lines_) text += line.text + "\n";
  return text;
}

std::string ObdReport::Json() const {
  std::string json = "{\"answers\":[";
  for (std::size_t i = 0; i < lines_.size(); ++i) json += (i > 0 ? "," : "") + lines_[i].json;
  return json + "]}";
}

}  // namespace passbridge::tool
