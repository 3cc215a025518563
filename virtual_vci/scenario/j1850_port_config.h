/// \file
/// How an ECU sits on a J1850 bus.
#ifndef VIRTUAL_VCI_SCENARIO_J1850_PORT_CONFIG_H_
#define VIRTUAL_VCI_SCENARIO_J1850_PORT_CONFIG_H_

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "virtual_vci/scenario/json_reader.h"
#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

struct J1850PortConfig : PortConfig {
  std::uint8_t address = 0x10;
  std::uint8_t functional = 0x6A;  ///< target of requests to all
  std::uint32_t bitRate = 0;       ///< 0: that of its bus
  std::uint32_t highBitRate = 0;   ///< which it can be told to change to; 0: it can't
  unsigned wires = 3;              ///< of PWM: 1 the positive one, 2 the negative one, 3 both
  bool needsTermination = false;   ///< it hears and says nothing on a bus without
  EcuFault fault = EcuFault::kNone;
};

inline constexpr auto kJ1850PortMembers = std::to_array<std::string_view>(
    {"address", "functional", "bitRate", "highBitRate", "wires", "needsTermination", "fault"});

/// Reads these members. Throws ScenarioError.
std::shared_ptr<PortConfig> ReadJ1850Port(const JsonValue& json,
                                          const std::vector<Signal>& signals);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_J1850_PORT_CONFIG_H_
