// Live data of OBD service 01 (ISO 15031-5) in single CAN frames.
#ifndef PASSBRIDGE_TOOLS_FRAMES_LIVE_DATA_H_
#define PASSBRIDGE_TOOLS_FRAMES_LIVE_DATA_H_

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "frames/can_frame.h"

namespace passbridge::tool {

// One value that vehicles offer: value = raw * scale + offset, raw most significant byte first.
struct ObdValue {
  const char* name;   // as the user writes it
  const char* title;  // as the tool prints it
  std::uint8_t pid;
  std::uint8_t size;  // bytes
  double scale;
  double offset;
  const char* unit;
  int decimals;
};

std::span<const ObdValue> ObdValues();
// Null if there is none of that name.
const ObdValue* FindObdValue(std::string_view name);

// The request that a tester sends: eight bytes, padded with zeros.
CanFrame ObdRequest(const CanId& target, const ObdValue& value);

// Which identifiers answer a request to `target` (ISO 15765-4). Throws std::invalid_argument with a
// text for the user if `target` is no identifier for requests.
struct ObdAnswers {
  std::uint32_t mask = 0;
  CanId pattern;
  bool single = false;  // one ECU was asked
};
ObdAnswers ObdAnswersTo(const CanId& target);

// The text for an answer to a request for `value` ("1726 rpm", or the ECU's refusal); nothing for
// any other frame.
std::optional<std::string> DecodeObdAnswer(const CanFrame& frame, const ObdValue& value);
// Whether DecodeObdAnswer would give a value, not a refusal.
bool IsPositiveObdAnswer(const CanFrame& frame, const ObdValue& value);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_FRAMES_LIVE_DATA_H_
