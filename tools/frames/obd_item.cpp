#include "frames/obd_item.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "frames/byte_message.h"
#include "frames/diagnostic_answer.h"

namespace passbridge::tool {
namespace {

constexpr std::uint8_t kLiveData = 0x01;
constexpr std::uint8_t kStoredFaults = 0x03;
constexpr std::uint8_t kPendingFaults = 0x07;
constexpr std::uint8_t kVehicleInformation = 0x09;
constexpr std::uint8_t kPermanentFaults = 0x0A;
constexpr double kPercent = 100.0 / 255.0;
constexpr double kTrim = 100.0 / 128.0;  // -100 % to 99.2 %

constexpr ObdItem Live(const char* name, const char* title, std::uint8_t pid, std::uint8_t size,
                       double scale, double offset, const char* unit, int decimals) {
  return {name, title, ObdKind::Number, kLiveData, pid, size, scale, offset, unit, decimals};
}

constexpr ObdItem kItems[] = {
    {"vin", "VIN", ObdKind::Text, kVehicleInformation, 0x02},
    {"calibration", "calibration", ObdKind::Text, kVehicleInformation, 0x04},
    {"ecu-name", "ECU name", ObdKind::Text, kVehicleInformation, 0x0A},
    {"status", "status", ObdKind::Status, kLiveData, 0x01},
    {"faults", "stored fault codes", ObdKind::Faults, kStoredFaults, 0},
    {"pending-faults", "pending fault codes", ObdKind::Faults, kPendingFaults, 0},
    {"permanent-faults", "permanent fault codes", ObdKind::Faults, kPermanentFaults, 0},
    Live("engine-load", "engine load", 0x04, 1, kPercent, 0, "%", 1),
    Live("coolant", "coolant temperature", 0x05, 1, 1, -40, "degC", 0),
    Live("short-trim-1", "short term fuel trim, bank 1", 0x06, 1, kTrim, -100, "%", 1),
    Live("long-trim-1", "long term fuel trim, bank 1", 0x07, 1, kTrim, -100, "%", 1),
    Live("short-trim-2", "short term fuel trim, bank 2", 0x08, 1, kTrim, -100, "%", 1),
    Live("long-trim-2", "long term fuel trim, bank 2", 0x09, 1, kTrim, -100, "%", 1),
    Live("fuel-pressure", "fuel pressure", 0x0A, 1, 3, 0, "kPa", 0),
    Live("manifold-pressure", "manifold pressure", 0x0B, 1, 1, 0, "kPa", 0),
    Live("engine-speed", "engine speed", 0x0C, 2, 0.25, 0, "rpm", 0),
    Live("speed", "vehicle speed", 0x0D, 1, 1, 0, "km/h", 0),
    Live("timing", "timing advance", 0x0E, 1, 0.5, -64, "deg", 1),
    Live("intake-air", "intake air temperature", 0x0F, 1, 1, -40, "degC", 0),
    Live("air-flow", "air flow", 0x10, 2, 0.01, 0, "g/s", 2),
    Live("throttle", "throttle position", 0x11, 1, kPercent, 0, "%", 1),
    Live("run-time", "time since engine start", 0x1F, 2, 1, 0, "s", 0),
    Live("mil-distance", "distance with the MIL on", 0x21, 2, 1, 0, "km", 0),
    Live("fuel-level", "fuel level", 0x2F, 1, kPercent, 0, "%", 1),
    Live("clear-distance", "distance since codes were cleared", 0x31, 2, 1, 0, "km", 0),
    Live("barometer", "barometric pressure", 0x33, 1, 1, 0, "kPa", 0),
    Live("voltage", "control module voltage", 0x42, 2, 0.001, 0, "V", 2),
    Live("ambient-air", "ambient air temperature", 0x46, 1, 1, -40, "degC", 0),
    Live("throttle-command", "commanded throttle", 0x4C, 1, kPercent, 0, "%", 1),
    Live("oil", "engine oil temperature", 0x5C, 1, 1, -40, "degC", 0),
};

struct Refusal {
  std::uint8_t code;
  const char* text;
};
constexpr Refusal kRefusals[] = {
    {0x10, "general reject"},
    {0x11, "service not supported"},
    {0x12, "sub-function not supported"},
    {0x21, "busy, repeat the request"},
    {0x22, "conditions not correct"},
    {0x31, "request out of range"},
};

using Bytes = std::span<const std::uint8_t>;

std::string DescribeRefusal(std::uint8_t code) {
  const auto* const known = std::find_if(std::begin(kRefusals), std::end(kRefusals),
                                         [&](const Refusal& each) { return each.code == code; });
  char text[80];
  std::snprintf(text, sizeof text, "refused with code %02X (%s)", static_cast<unsigned>(code),
                known == std::end(kRefusals) ? "unknown" : known->text);
  return text;
}

std::optional<ObdReading> DecodeNumber(Bytes data, const ObdItem& item) {
  if (data.size() != item.size) return std::nullopt;
  std::uint32_t raw = 0;
  for (const std::uint8_t byte : data) raw = raw << 8 | byte;
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", item.decimals, raw * item.scale + item.offset);
  return ObdReading{.text = text};
}

std::optional<ObdReading> DecodeStatus(Bytes data) {
  if (data.size() != 4) return std::nullopt;
  const std::string lamp = (data[0] & 0x80) != 0 ? "MIL on" : "MIL off";
  return ObdReading{.text = lamp + ", " + std::to_string(data[0] & 0x7F) + " fault codes"};
}

// After a count of texts; padded with zeros, of which some stand before the text.
std::optional<ObdReading> DecodeText(Bytes data) {
  if (data.size() < 2) return std::nullopt;
  ObdReading reading;
  for (const std::uint8_t byte : data.subspan(1)) {
    if (byte >= 0x20 && byte < 0x7F) {
      reading.text += static_cast<char>(byte);
    } else if (!reading.text.empty() && reading.text.back() != ' ') {
      reading.text += ' ';
    }
  }
  while (reading.text.ends_with(' ')) reading.text.pop_back();
  return reading;
}

std::optional<ObdReading> DecodeFaults(Bytes data) {
  if (data.empty() || data.size() < 1 + std::size_t{2} * data[0]) return std::nullopt;
  ObdReading reading;
  for (std::size_t i = 0; i < data[0]; ++i) {
    reading.faults.push_back(FormatFaultCode(data[1 + 2 * i], data[2 + 2 * i]));
  }
  return reading;
}

}  // namespace

std::span<const ObdItem> ObdItems() { return kItems; }

const ObdItem* FindObdItem(std::string_view name) {
  const auto* const found = std::find_if(std::begin(kItems), std::end(kItems),
                                         [&](const ObdItem& each) { return each.name == name; });
  return found == std::end(kItems) ? nullptr : found;
}

std::vector<std::uint8_t> ObdRequest(const ObdItem& item) {
  if (item.kind == ObdKind::Faults) return {item.service};
  return {item.service, item.parameter};
}

std::optional<ObdReading> DecodeObdAnswer(Bytes answer, const ObdItem& item) {
  if (IsResponsePending(answer)) return std::nullopt;
  if (answer.size() == 3 && answer[0] == kNegativeAnswer && answer[1] == item.service) {
    return ObdReading{.refused = true, .text = DescribeRefusal(answer[2])};
  }
  std::vector<std::uint8_t> head = ObdRequest(item);
  head[0] |= kPositiveAnswer;
  if (!BeginsWith(answer, head)) return std::nullopt;
  const Bytes data = answer.subspan(head.size());
  switch (item.kind) {
    case ObdKind::Number:
      return DecodeNumber(data, item);
    case ObdKind::Status:
      return DecodeStatus(data);
    case ObdKind::Text:
      return DecodeText(data);
    case ObdKind::Faults:
      return DecodeFaults(data);
  }
  return std::nullopt;
}

std::string FormatFaultCode(std::uint8_t high, std::uint8_t low) {
  char text[8];
  std::snprintf(text, sizeof text, "%c%02X%02X", "PCBU"[high >> 6],
                static_cast<unsigned>(high & 0x3F), static_cast<unsigned>(low));
  return text;
}

std::vector<std::uint8_t> SupportedPidsRequest(std::uint8_t first) { return {kLiveData, first}; }

std::optional<std::set<std::uint8_t>> DecodeSupportedPids(Bytes answer, std::uint8_t first) {
  const std::uint8_t head[] = {kLiveData | kPositiveAnswer, first};
  if (!BeginsWith(answer, head) || answer.size() != std::size(head) + 4) return std::nullopt;
  std::set<std::uint8_t> pids;
  for (unsigned i = 0; i < 32; ++i) {
    if ((answer[std::size(head) + i / 8] & 0x80 >> i % 8) != 0) {
      pids.insert(static_cast<std::uint8_t>(first + i + 1));
    }
  }
  return pids;
}

}  // namespace passbridge::tool
