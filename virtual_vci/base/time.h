/// \file
/// Simulated time.
#ifndef VIRTUAL_VCI_BASE_TIME_H_
#define VIRTUAL_VCI_BASE_TIME_H_

#include <cstdint>

namespace virtual_vci {

/// Microseconds since the module was connected.
using Micros = std::uint64_t;
inline constexpr Micros kMillisecond = 1000;

enum class ClockKind {
  kRealtime,  ///< simulated time is real time
  kInstant,   ///< simulated time jumps to whatever comes next
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_BASE_TIME_H_
