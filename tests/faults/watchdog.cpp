#include "watchdog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace passbridge::test {

Watchdog::Watchdog() {
  std::thread([this] { Watch(); }).detach();
}

void Watchdog::Case(std::chrono::milliseconds limit) {
  const std::lock_guard lock(lock_);
  step_ = "beginning";
  caseEnd_ = stepEnd_ = Clock::now() + limit;
}

void Watchdog::Step(const char* name, std::chrono::milliseconds limit) {
  const std::lock_guard lock(lock_);
  step_ = name;
  stepEnd_ = Clock::now() + limit;
}

void Watchdog::Rest() {
  const std::lock_guard lock(lock_);
  caseEnd_ = stepEnd_ = Clock::time_point::max();
}

void Watchdog::Watch() {
  for (;;) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const std::lock_guard lock(lock_);
    if (Clock::now() < std::min(caseEnd_, stepEnd_)) continue;
    std::printf("  hangs: %s\n", step_.c_str());
    std::fflush(stdout);
    std::_Exit(3);
  }
}

}  // namespace passbridge::test
