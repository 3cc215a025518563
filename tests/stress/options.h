#ifndef PASSBRIDGE_TESTS_STRESS_OPTIONS_H_
#define PASSBRIDGE_TESTS_STRESS_OPTIONS_H_

#include <cstdint>
#include <optional>

namespace passbridge::stress {

struct Options {
  std::uint32_t seed = 0;
  std::uint32_t seconds = 20;
  std::uint32_t slack = 100;  ///< ms that a call may come after its time-out
  bool instantClock = false;  ///< of the virtual VCI
  bool verbose = false;
};

/// Reads the command line, then the environment. An exit code when there is nothing to run.
std::optional<int> ReadOptions(int argc, char** argv, Options& options);

}  // namespace passbridge::stress

#endif  // PASSBRIDGE_TESTS_STRESS_OPTIONS_H_
