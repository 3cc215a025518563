#include "frames/live_data.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

namespace passbridge::tool {
namespace {

constexpr std::uint8_t kLiveData = 0x01;
constexpr std::uint8_t kPositiveAnswer = 0x40;
constexpr std::uint8_t kNegativeAnswer = 0x7F;
constexpr double kPercent = 100.0 / 255.0;

constexpr std::array<ObdValue, 14> kObdValues = {{
    {"engine-load", "engine load", 0x04, 1, kPercent, 0, "%", 1},
    {"coolant", "coolant temperature", 0x05, 1, 1, -40, "degC", 0},
    {"manifold-pressure", "manifold pressure", 0x0B, 1, 1, 0, "kPa", 0},
    {"engine-speed", "engine speed", 0x0C, 2, 0.25, 0, "rpm", 0},
    {"speed", "vehicle speed", 0x0D, 1, 1, 0, "km/h", 0},
    {"timing", "timing advance", 0x0E, 1, 0.5, -64, "deg", 1},
    {"intake-air", "intake air temperature", 0x0F, 1, 1, -40, "degC", 0},
    {"air-flow", "air flow", 0x10, 2, 0.01, 0, "g/s", 2},
    {"throttle", "throttle position", 0x11, 1, kPercent, 0, "%", 1},
    {"run-time", "time since engine start", 0x1F, 2, 1, 0, "s", 0},
    {"fuel-level", "fuel level", 0x2F, 1, kPercent, 0, "%", 1},
    {"voltage", "control module voltage", 0x42, 2, 0.001, 0, "V", 2},
    {"ambient-air", "ambient air temperature", 0x46, 1, 1, -40, "degC", 0},
    {"oil", "engine oil temperature", 0x5C, 1, 1, -40, "degC", 0},
}};

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
    {0x78, "the answer is still to come"},
};

// The payload of a single frame: its first byte counts those that follow. Empty if it is none.
std::span<const std::uint8_t> SingleFramePayload(const CanFrame& frame) {
  if (frame.data.empty() || frame.data[0] == 0) return {};
  const std::size_t size = frame.data[0];  // above 7: another kind of frame, refused with the rest
  if (size > frame.data.size() - 1) return {};
  return std::span(frame.data).subspan(1, size);
}

std::string DescribeRefusal(std::uint8_t code) {
  const auto* const known = std::find_if(std::begin(kRefusals), std::end(kRefusals),
                                         [&](const Refusal& each) { return each.code == code; });
  char text[80];
  std::snprintf(text, sizeof text, "refused with code %02X (%s)", static_cast<unsigned>(code),
                known == std::end(kRefusals) ? "unknown" : known->text);
  return text;
}

std::string FormatValue(std::span<const std::uint8_t> bytes, const ObdValue& value) {
  std::uint32_t raw = 0;
  for (const std::uint8_t byte : bytes) raw = raw << 8 | byte;
  char text[64];
  std::snprintf(text, sizeof text, "%.*f %s", value.decimals, raw * value.scale + value.offset,
                value.unit);
  return text;
}

}  // namespace

std::span<const ObdValue> ObdValues() { return kObdValues; }

const ObdValue* FindObdValue(std::string_view name) {
  const auto found = std::find_if(kObdValues.begin(), kObdValues.end(),
                                  [&](const ObdValue& each) { return each.name == name; });
  return found == kObdValues.end() ? nullptr : &*found;
}

CanFrame ObdRequest(const CanId& target, const ObdValue& value) {
  return {target, {2, kLiveData, value.pid, 0, 0, 0, 0, 0}};
}

ObdAnswers ObdAnswersTo(const CanId& target) {
  constexpr std::uint32_t kExact = 0xFFFFFFFF;
  const std::uint32_t id = target.value;
  if (!target.extended) {
    if (id == 0x7DF) return {kExact ^ 0x7, {0x7E8, false}, false};
    if (id >= 0x7E0 && id <= 0x7E7) return {kExact, {id + 8, false}, true};
    throw std::invalid_argument("\"" + FormatCanId(target) +
                                "\": OBD requests go to 7DF (all ECUs) or 7E0 to 7E7");
  }
  if (id == 0x18DB33F1) return {kExact ^ 0xFF, {0x18DAF100, true}, false};
  if ((id & 0xFFFF00FF) == 0x18DA00F1) {
    return {kExact, {0x18DAF100 | (id >> 8 & 0xFF), true}, true};
  }
  throw std::invalid_argument("\"" + FormatCanId(target) +
                              "\": OBD requests go to 18DB33F1 (all ECUs) or 18DAxxF1");
}

bool IsPositiveObdAnswer(const CanFrame& frame, const ObdValue& value) {
  const auto payload = SingleFramePayload(frame);
  return payload.size() == std::size_t{2} + value.size &&
         payload[0] == kPositiveAnswer + kLiveData && payload[1] == value.pid;
}

std::optional<std::string> DecodeObdAnswer(const CanFrame& frame, const ObdValue& value) {
  const auto payload = SingleFramePayload(frame);
  if (IsPositiveObdAnswer(frame, value)) return FormatValue(payload.subspan(2), value);
  if (payload.size() == 3 && payload[0] == kNegativeAnswer && payload[1] == kLiveData) {
    return DescribeRefusal(payload[2]);
  }
  return std::nullopt;
}

}  // namespace passbridge::tool
