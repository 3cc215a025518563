#include "platform/clock.h"

#include <windows.h>

namespace passbridge::platform {

std::uint64_t MonotonicMicroseconds() noexcept {
  constexpr std::uint64_t kMicroseconds = 1'000'000;
  LARGE_INTEGER frequency;
  LARGE_INTEGER counter;
  ::QueryPerformanceFrequency(&frequency);
  ::QueryPerformanceCounter(&counter);
  const auto perSecond = static_cast<std::uint64_t>(frequency.QuadPart);
  const auto ticks = static_cast<std::uint64_t>(counter.QuadPart);
  // Whole seconds apart, so that the product cannot overflow.
  return ticks / perSecond * kMicroseconds + ticks % perSecond * kMicroseconds / perSecond;
}

}  // namespace passbridge::platform
