#include "options.h"

#include <CLI/CLI.hpp>
#include <random>

namespace passbridge::stress {

namespace {

constexpr std::uint32_t kShortRun = 5;

}  // namespace

std::optional<int> ReadOptions(int argc, char** argv, Options& options) {
  CLI::App app("Drives the J2534 library from many threads while VCIs come and go.");
  bool isShort = false;
  app.add_option("--seed", options.seed, "repeats each thread's choices (default: random)");
  const CLI::Option* const seconds =
      app.add_option("--seconds", options.seconds, "how long (default: 20)")
          ->envname("PASSBRIDGE_STRESS_SECONDS");
  app.add_option("--slack", options.slack, "ms that a call may come too late (default: 100)")
      ->envname("PASSBRIDGE_STRESS_SLACK");
  app.add_flag("--short", isShort, "5 s where neither --seconds nor the environment says more");
  app.add_flag("--instant", options.instantClock, "the virtual VCI's frames take no time");
  app.add_flag("--verbose", options.verbose, "tells every loss, close and open");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error);
  }
  if (isShort && seconds->empty()) options.seconds = kShortRun;
  if (options.seed == 0) options.seed = std::random_device()() | 1U;
  return std::nullopt;
}

}  // namespace passbridge::stress
