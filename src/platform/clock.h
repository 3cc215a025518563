#ifndef PASSBRIDGE_PLATFORM_CLOCK_H_
#define PASSBRIDGE_PLATFORM_CLOCK_H_

#include <cstdint>

namespace passbridge::platform {

// Microseconds on a clock that never goes back; its zero means nothing.
std::uint64_t MonotonicMicroseconds() noexcept;

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_CLOCK_H_
