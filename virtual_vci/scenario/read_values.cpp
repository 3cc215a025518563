#include "virtual_vci/scenario/read_values.h"

namespace virtual_vci {

Template ReadTemplate(const JsonValue& json, const std::vector<Signal>& signals) {
  auto parsed = Template::Parse(json.Text(), signals);
  if (!parsed) json.Fail("bytes like \"41 0C {signal} [1]\", with signals that this ECU has");
  return *std::move(parsed);
}

Micros ReadTime(const JsonValue& json, std::uint32_t min) {
  return json.Number(min, static_cast<std::uint32_t>(kNoLimit / kMillisecond)) * kMillisecond;
}

}  // namespace virtual_vci
