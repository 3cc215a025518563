#include "virtual_vci/scenario/read_values.h"

#include <array>
#include <charconv>

namespace virtual_vci {

Template ReadTemplate(const JsonValue& json, const std::vector<Signal>& signals) {
  auto parsed = Template::Parse(json.Text(), signals);
  if (!parsed) json.Fail("bytes like \"41 0C {signal} [1]\", with signals that this ECU has");
  return *std::move(parsed);
}

Bytes ReadBytes(const JsonValue& json) { return ReadTemplate(json, {}).Build({}, 0, {}); }

std::uint8_t ReadByte(const JsonValue& json) {
  return static_cast<std::uint8_t>(json.Number(0, 0xFF));
}

std::uint8_t ByteOr(const JsonValue& json, std::string_view member, std::uint8_t otherwise) {
  return static_cast<std::uint8_t>(json.NumberOr(member, otherwise, 0, 0xFF));
}

std::uint32_t HexName(const std::string& name, const JsonValue& json, std::uint32_t max) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), value, 16);
  if (error != std::errc() || end != name.data() + name.size() || value > max)
    json.Fail("a hexadecimal number as name");
  return value;
}

EcuFault ReadEcuFault(const JsonValue& json) {
  static constexpr auto kFaults =
      std::to_array<Name<EcuFault>>({{"none", EcuFault::kNone},
                                     {"no answer", EcuFault::kNoAnswer},
                                     {"wrong key byte", EcuFault::kWrongKeyByte},
                                     {"wrong checksum", EcuFault::kWrongChecksum},
                                     {"late bytes", EcuFault::kLateBytes}});
  return ReadName(json, kFaults);
}

Micros ReadTime(const JsonValue& json, std::uint32_t min) {
  return json.Number(min, static_cast<std::uint32_t>(kNoLimit / kMillisecond)) * kMillisecond;
}

}  // namespace virtual_vci
