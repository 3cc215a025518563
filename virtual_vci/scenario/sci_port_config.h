/// \file
/// How an ECU sits on an SCI line (SAE J2610).
#ifndef VIRTUAL_VCI_SCENARIO_SCI_PORT_CONFIG_H_
#define VIRTUAL_VCI_SCENARIO_SCI_PORT_CONFIG_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string_view>
#include <vector>

#include "virtual_vci/scenario/json_reader.h"
#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

struct SciPortConfig : PortConfig {
  std::uint32_t bitRate = 0;      ///< 0: that of its bus
  std::uint32_t highBitRate = 0;  ///< which it can be told to change to; 0: it can't
  std::uint8_t toHigh = 0x12;     ///< the commands that tell it
  std::uint8_t toNormal = 0xFE;
  /// Whole length of requests by their first byte; others end with a pause.
  std::map<std::uint8_t, std::size_t> requestLengths;
  std::set<std::uint8_t> needVoltage;  ///< commands that it takes with a raised line only
  Micros echoTime = 1000;              ///< from a byte to its echo
  EcuFault fault = EcuFault::kNone;
};

inline constexpr auto kSciPortMembers =
    std::to_array<std::string_view>({"bitRate", "highBitRate", "toHigh", "toNormal",
                                     "requestLengths", "needVoltage", "echoTime", "fault"});

/// Reads these members. Throws ScenarioError.
std::shared_ptr<PortConfig> ReadSciPort(const JsonValue& json, const std::vector<Signal>& signals);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_SCI_PORT_CONFIG_H_
