/// \file
/// The types of bus that a vehicle can have.
#ifndef VIRTUAL_VCI_SCENARIO_BUS_TYPES_H_
#define VIRTUAL_VCI_SCENARIO_BUS_TYPES_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "virtual_vci/scenario/json_reader.h"
#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

struct BusTypeInfo {
  BusType type;  ///< scenarios name it by its short name
  std::size_t minPins;
  std::size_t maxPins;
  std::uint32_t bitRate;  ///< if the scenario says nothing
  /// What an ECU has to say for its port, and who reads it.
  std::span<const std::string_view> portMembers;
  std::shared_ptr<PortConfig> (*readPort)(const JsonValue& json,
                                          const std::vector<Signal>& signals);
  BusType wire = BusType::kNone;  ///< whose wires it is on, if they are not its own
};

std::span<const BusTypeInfo> BusTypes();
/// Throws std::logic_error for a type that isn't listed.
inline const BusTypeInfo& BusTypeOf(BusType type) {
  for (const BusTypeInfo& each : BusTypes()) {
    if (each.type == type) return each;
  }
  throw std::logic_error("unlisted type of bus");
}

/// Types of the same wires meet on the same pins.
inline BusType WireOf(BusType type) {
  const BusType wire = BusTypeOf(type).wire;
  return wire == BusType::kNone ? type : wire;
}

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_BUS_TYPES_H_
