#ifndef PASSBRIDGE_TESTS_FAULTS_WATCHDOG_H_
#define PASSBRIDGE_TESTS_FAULTS_WATCHDOG_H_

#include <chrono>
#include <mutex>
#include <string>

namespace passbridge::test {

/// Ends the process with a line about the culprit when a step or a case takes too long. Watches
/// until the process ends.
class Watchdog {
 public:
  Watchdog();

  /// A case begins, which may take so long in all.
  void Case(std::chrono::milliseconds limit);
  /// The next step of it begins; the one before it is over.
  void Step(const char* name, std::chrono::milliseconds limit);
  /// Nothing is watched until the next case.
  void Rest();

 private:
  using Clock = std::chrono::steady_clock;
  void Watch();

  std::mutex lock_;
  std::string step_;
  Clock::time_point caseEnd_ = Clock::time_point::max();
  Clock::time_point stepEnd_ = Clock::time_point::max();
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_FAULTS_WATCHDOG_H_
