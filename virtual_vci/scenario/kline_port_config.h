/// \file
/// How an ECU sits on a K line.
#ifndef VIRTUAL_VCI_SCENARIO_KLINE_PORT_CONFIG_H_
#define VIRTUAL_VCI_SCENARIO_KLINE_PORT_CONFIG_H_

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "virtual_vci/scenario/json_reader.h"
#include "virtual_vci/scenario/scenario.h"
#include "virtual_vci/scenario/serial_format.h"

namespace virtual_vci {

/// How its messages begin.
enum class KLineHeader {
  kIso14230,    ///< format byte with the length, target, source
  kLengthByte,  ///< the same, with the length in a byte of its own
  kIso9141,     ///< 48 6B and its address; requests have 68 6A F1
};

/// Its times: the pauses that it makes, and how long it remembers that it was initialised.
struct KLineTiming {
  Micros p1 = 0;
  Micros p2 = 30000;
  Micros p3Max = 5000000;
  Micros w1 = 100000;
  Micros w2 = 10000;
  Micros w3 = 10000;
  Micros w4 = 30000;
};

struct KLinePortConfig : PortConfig {
  std::uint8_t address = 0x10;
  std::uint8_t functional = 0x33;
  std::vector<std::uint8_t> fiveBaud;  ///< addresses that initialise it
  bool initOnL = false;                ///< it hears them on the L line only
  std::uint8_t fiveBaudMode = 0;       ///< as CP_5BaudMode has it
  bool fastInit = false;
  std::array<std::uint8_t, 2> keyBytes{0xE9, 0x8F};
  KLineHeader header = KLineHeader::kIso14230;
  SerialFormat format;  ///< bit rate 0: that of its bus
  KLineTiming timing;
  EcuFault fault = EcuFault::kNone;
};

inline constexpr auto kKLinePortMembers = std::to_array<std::string_view>(
    {"address", "functional", "fiveBaud", "initOnL", "fiveBaudMode", "fastInit", "keyBytes",
     "header", "bitRate", "dataBits", "parity", "timing", "fault"});

/// Reads these members. Throws ScenarioError.
std::shared_ptr<PortConfig> ReadKLinePort(const JsonValue& json,
                                          const std::vector<Signal>& signals);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_KLINE_PORT_CONFIG_H_
