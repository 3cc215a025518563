/// \file
/// Values that several parts of a scenario file have.
#ifndef VIRTUAL_VCI_SCENARIO_READ_VALUES_H_
#define VIRTUAL_VCI_SCENARIO_READ_VALUES_H_

#include <string>
#include <string_view>
#include <vector>

#include "virtual_vci/base/time.h"
#include "virtual_vci/scenario/json_reader.h"
#include "virtual_vci/scenario/patterns.h"
#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

// These throw ScenarioError.

Template ReadTemplate(const JsonValue& json, const std::vector<Signal>& signals);

/// A value, and the text that stands for it in scenario files.
template <typename Value>
struct Name {
  const char* text;
  Value value;
};

/// The value that a text names.
template <typename Names>
auto ReadName(const JsonValue& json, const Names& names) -> decltype(names[0].value) {
  const std::string text = json.Text();
  std::string known;
  for (const auto& [name, value] : names) {
    if (text == name) return value;
    known += (known.empty() ? "\"" : ", \"") + std::string(name) + "\"";
  }
  json.Fail("one of " + known);
}

/// Bytes without signals.
Bytes ReadBytes(const JsonValue& json);

std::uint8_t ReadByte(const JsonValue& json);
/// The member's value, or the default if there is no such member.
std::uint8_t ByteOr(const JsonValue& json, std::string_view member, std::uint8_t otherwise);

/// The number that a member's name is, in hexadecimal.
std::uint32_t HexName(const std::string& name, const JsonValue& json, std::uint32_t max);

EcuFault ReadEcuFault(const JsonValue& json);

/// Milliseconds.
Micros ReadTime(const JsonValue& json, std::uint32_t min = 0);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_READ_VALUES_H_
