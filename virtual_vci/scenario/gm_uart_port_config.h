/// \file
/// How an ECU sits on a GM UART bus (SAE J2740).
#ifndef VIRTUAL_VCI_SCENARIO_GM_UART_PORT_CONFIG_H_
#define VIRTUAL_VCI_SCENARIO_GM_UART_PORT_CONFIG_H_

#include <array>
#include <cstdint>
#include <memory>
#include <set>
#include <string_view>
#include <vector>

#include "virtual_vci/scenario/json_reader.h"
#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

struct GmUartPortConfig : PortConfig {
  std::uint8_t address = 0xF4;      ///< its device identifier
  std::vector<std::uint8_t> polls;  ///< it is the bus master and polls these in turn; or is a slave
  Micros pollPeriod = 100000;       ///< from poll to poll
  std::set<std::uint8_t> yieldsTo;  ///< whoever answers for these becomes master
  Micros masterPatience = 1000000;  ///< how long the line is idle until it is master again
  EcuFault fault = EcuFault::kNone;
};

inline constexpr auto kGmUartPortMembers = std::to_array<std::string_view>(
    {"address", "polls", "pollPeriod", "yieldsTo", "masterPatience", "fault"});

/// Reads these members. Throws ScenarioError.
std::shared_ptr<PortConfig> ReadGmUartPort(const JsonValue& json,
                                           const std::vector<Signal>& signals);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_GM_UART_PORT_CONFIG_H_
