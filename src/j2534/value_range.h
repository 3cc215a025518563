#ifndef PASSBRIDGE_J2534_VALUE_RANGE_H_
#define PASSBRIDGE_J2534_VALUE_RANGE_H_

#include <cstdint>

namespace passbridge {

/// Both ends belong to the range.
struct ValueRange {
  std::uint32_t first;
  std::uint32_t last;

  constexpr bool Contains(std::uint32_t value) const { return first <= value && value <= last; }
};

}  // namespace passbridge

#endif  // PASSBRIDGE_J2534_VALUE_RANGE_H_
