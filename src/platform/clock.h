#ifndef PASSBRIDGE_PLATFORM_CLOCK_H_
#define PASSBRIDGE_PLATFORM_CLOCK_H_

#include <cstdint>

namespace passbridge::platform {

// Microseconds on a clock that never goes back; its zero means nothing.
std::uint64_t MonotonicMicroseconds() noexcept;

// A time that runs out.
class Countdown {
 public:
  explicit Countdown(std::uint32_t milliseconds) noexcept
      : deadline_(MonotonicMicroseconds() + std::uint64_t{milliseconds} * 1000) {}

  // What is left, in milliseconds, a part of one counted whole.
  std::uint32_t Remaining() const noexcept {
    const std::uint64_t now = MonotonicMicroseconds();
    return now < deadline_ ? static_cast<std::uint32_t>((deadline_ - now + 999) / 1000) : 0;
  }

 private:
  std::uint64_t deadline_;
};

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_CLOCK_H_
