#ifndef PASSBRIDGE_TESTS_STRESS_WATCHDOG_H_
#define PASSBRIDGE_TESTS_STRESS_WATCHDOG_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "operations.h"

namespace passbridge::stress {

/// Ends the process at once with a message; of several threads, the first one's is seen.
[[noreturn]] void Fail(const std::string& message);

/// The call that one thread is in, as others see it. All atomics are relaxed where they can be: a
/// race detector must not take this for synchronisation of the threads under test.
class Flight {
 public:
  /// No device and no channel: nobody ends this call early.
  static constexpr std::uint32_t kNoTarget = ~0U;

  explicit Flight(std::string thread) : thread_(std::move(thread)) {}

  const std::string& Thread() const { return thread_; }

  /// @param target   what must be there while the call waits
  /// @param timeout  ms that it may take
  void Begin(Operation operation, std::uint32_t target, std::uint32_t timeout);
  /// By the caller's own clock: microseconds after its time, or 0.
  std::uint64_t End();
  /// From now on the call is due if it waits on one of `targets`.
  void EndIfOn(std::uint32_t firstTarget, std::uint32_t lastTarget);

 private:
  friend class Watchdog;

  std::string thread_;
  std::atomic<std::uint64_t> deadline_{0};  // us; 0: in no call
  std::atomic<std::uint32_t> target_{kNoTarget};
  std::atomic<Operation> operation_{Operation::Open};
  std::atomic<std::uint32_t> serial_{0};

  // The watchdog's own.
  std::uint32_t seenSerial_ = 0;
  std::uint32_t overdueBeats_ = 0;
};

/// Ends the process when a call comes too late. Its thread is a heartbeat: it sleeps 5 ms, looks
/// at all calls, and sleeps again, and how late a call is counts in beats since the call was due.
/// While the machine lets the whole process stand still there are no beats, and while it runs
/// slowly there are few; only a call that stays out while another sleeping thread of the process
/// is woken over and over is a violation.
class Watchdog {
 public:
  explicit Watchdog(std::uint32_t slack) : slack_(slack) {}

  /// All flights are added before Start.
  Flight& Add(const std::string& thread);
  void Start();
  void Stop();

  /// Whatever waits on one of these targets must end now.
  void EndAllOn(std::uint32_t firstTarget, std::uint32_t lastTarget);
  /// Beats that came, of those that time would have had room for.
  std::string Heartbeat() const;

 private:
  void Run();
  void Look(Flight& flight, std::uint64_t now) const;

  std::uint32_t slack_;  // ms
  std::vector<std::unique_ptr<Flight>> flights_;
  std::atomic<bool> stop_{false};
  std::uint64_t beats_ = 0;
  std::uint64_t duration_ = 0;
  std::thread thread_;
};

}  // namespace passbridge::stress

#endif  // PASSBRIDGE_TESTS_STRESS_WATCHDOG_H_
