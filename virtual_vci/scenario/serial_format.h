/// \file
/// How the bits of a byte lie on a serial line.
#ifndef VIRTUAL_VCI_SCENARIO_SERIAL_FORMAT_H_
#define VIRTUAL_VCI_SCENARIO_SERIAL_FORMAT_H_

#include <cstdint>

#include "virtual_vci/base/time.h"

namespace virtual_vci {

enum class Parity : std::uint8_t { kNone, kOdd, kEven };

/// One start bit, the data bits, perhaps a parity bit, one stop bit.
struct SerialFormat {
  std::uint32_t bitRate = 0;  ///< 0: none, which nobody understands
  std::uint8_t dataBits = 8;
  Parity parity = Parity::kNone;

  bool operator==(const SerialFormat&) const = default;
  Micros ByteTime() const {
    const std::uint32_t bits = 2u + dataBits + (parity == Parity::kNone ? 0u : 1u);
    return bitRate == 0 ? 0 : Micros{bits} * 1000000u / bitRate;
  }
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_SERIAL_FORMAT_H_
