#ifndef PASSBRIDGE_TESTS_STRESS_CHOICES_H_
#define PASSBRIDGE_TESTS_STRESS_CHOICES_H_

#include <chrono>
#include <cstdint>
#include <random>
#include <thread>

namespace passbridge::stress {

/// What one thread decides by chance: the same sequence for the same seed, on every system.
class Choices {
 public:
  Choices(std::uint32_t seed, std::uint32_t thread) : engine_(seed + 0x9E3779B9U * thread) {}

  std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(engine_()) % limit; }
  std::uint32_t Between(std::uint32_t first, std::uint32_t last) {
    return first + Below(last - first + 1);
  }
  bool OneIn(std::uint32_t count) { return Below(count) == 0; }

  /// Sleeps less than so many milliseconds.
  void Pause(std::uint32_t limit) {
    std::this_thread::sleep_for(std::chrono::microseconds(Below(1000 * limit)));
  }

 private:
  std::mt19937 engine_;
};

}  // namespace passbridge::stress

#endif  // PASSBRIDGE_TESTS_STRESS_CHOICES_H_
