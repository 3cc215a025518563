/// \file
/// A module's clock and its one timer queue.
#ifndef VIRTUAL_VCI_VEHICLE_SCHEDULER_H_
#define VIRTUAL_VCI_VEHICLE_SCHEDULER_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <utility>

#include "virtual_vci/base/time.h"

namespace virtual_vci {

/// What a timer stands for decides whether the instant clock jumps to it.
enum class Pace {
  kProgress,  ///< something is under way (a frame on the wire, an ECU at work, a time-out running):
              ///< jump to it
  kPeriodic,  ///< goes on for ever (cyclic messages, repeated ComPrimitives): keeps its real period
              ///< in both clocks
};

/// Timers in the order of their due times, and of their creation where those are equal. Not
/// synchronised: the module's lock guards it.
///
/// A timer runs with `Now()` equal to its due time, however late the thread woke up, so that a
/// chain of timers doesn't drift and simulated times are exact.
///
/// The instant clock runs with real time, too, but while a kProgress timer is pending it jumps from
/// timer to timer until none is left. So requests, responses, delays and time-outs take no time,
/// and in a fixed order, while cyclic traffic stays at its own pace: nothing runs away when the
/// application doesn't listen.
class Scheduler {
 public:
  using Timer = std::pair<Micros, std::uint64_t>;  ///< due time and serial number

  explicit Scheduler(ClockKind kind);

  ClockKind Kind() const { return kind_; }
  /// Never goes back.
  Micros Now() const;
  /// Whether there is a timer that is due by now.
  bool HasDue() const { return !timers_.empty() && timers_.begin()->first.first <= Now(); }
  Timer After(Micros delay, Pace pace, std::function<void()> action);
  /// Forgets a timer, which may have run already, and empties the optional.
  void Cancel(std::optional<Timer>& timer);
  /// Runs timers that are due, jumping if the clock and `mayJump` allow it. Returns whether there
  /// is more to run at once: at most a batch is run, so that the caller can release its lock from
  /// time to time.
  bool RunDue(bool mayJump);
  /// Instant clock: moves simulated time forward by this much; what became due runs with the next
  /// RunDue.
  void Advance(Micros delay);
  /// When RunDue should be called next, in real time; none if nothing is pending.
  std::optional<std::chrono::steady_clock::time_point> NextWake() const;

 private:
  struct Entry {
    Pace pace;
    std::function<void()> action;
  };
  Micros Elapsed() const;
  void JumpTo(Micros due);

  ClockKind kind_;
  std::chrono::steady_clock::time_point start_;
  Micros skew_ = 0;     ///< how far the instant clock is ahead of real time
  Micros reached_ = 0;  ///< the latest time that anybody saw
  bool running_ = false;
  std::uint64_t serial_ = 0;
  std::size_t progressTimers_ = 0;
  std::map<Timer, Entry> timers_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_SCHEDULER_H_
