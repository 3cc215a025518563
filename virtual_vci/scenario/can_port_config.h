/// \file
/// How an ECU sits on a CAN bus.
#ifndef VIRTUAL_VCI_SCENARIO_CAN_PORT_CONFIG_H_
#define VIRTUAL_VCI_SCENARIO_CAN_PORT_CONFIG_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "virtual_vci/scenario/json_reader.h"
#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

struct CanAddress {
  std::uint32_t id = 0;
  bool extended = false;
  std::optional<std::uint8_t> extension;  ///< address byte of extended addressing
  bool operator==(const CanAddress&) const = default;
};

/// How an ECU takes and sends segmented messages.
struct TransportConfig {
  std::uint8_t blockSize = 0;
  std::uint8_t stMin = 0;
  std::uint32_t waits = 0;  ///< wait frames before it takes a message
  std::size_t maxLength = 4095;
};

/// It takes and sends segmented messages.
struct CanPortConfig : PortConfig {
  /// A message that it sends by itself.
  struct Cyclic {
    CanAddress address;
    Template data;
    Micros period = 0;  ///< 0: as fast as the application takes them
  };

  std::optional<std::uint32_t> bitRate;  ///< none: that of its bus
  CanAddress request;
  std::optional<CanAddress> functional;
  CanAddress response;
  std::optional<std::uint8_t> padding;  ///< fills its frames up to 8 bytes
  TransportConfig transport;
  std::vector<Cyclic> cyclic;
  std::uint32_t highBitRate = 0;  ///< which it can be told to change to; 0: it can't
  Micros awakeTime = 0;           ///< it sleeps without a message for so long; 0: never
  bool needsTermination = false;  ///< at that rate it hears and says nothing on a bus without
};

inline constexpr auto kCanPortMembers = std::to_array<std::string_view>(
    {"bitRate", "request", "functional", "response", "padding", "transport", "cyclic",
     "highBitRate", "awakeTime", "needsTermination"});

/// Reads these members. Throws ScenarioError.
std::shared_ptr<PortConfig> ReadCanPort(const JsonValue& json, const std::vector<Signal>& signals);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_CAN_PORT_CONFIG_H_
