#include "platform/clock.h"

#include <ctime>

namespace passbridge::platform {

std::uint64_t MonotonicMicroseconds() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 1'000;
}

}  // namespace passbridge::platform
