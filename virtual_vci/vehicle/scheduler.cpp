#include "virtual_vci/vehicle/scheduler.h"

#include <algorithm>

namespace virtual_vci {

namespace {
constexpr int kBatch = 256;
}

Scheduler::Scheduler(ClockKind kind) : kind_(kind), start_(std::chrono::steady_clock::now()) {}

Micros Scheduler::Elapsed() const {
  const auto elapsed = std::chrono::steady_clock::now() - start_;
  return static_cast<Micros>(
             std::chrono::duration_cast<std::chrono::microseconds>(elapsed).count()) +
         skew_;
}

Micros Scheduler::Now() const { return running_ ? reached_ : std::max(reached_, Elapsed()); }

Scheduler::Timer Scheduler::After(Micros delay, Pace pace, std::function<void()> action) {
  const Timer timer{Now() + delay, ++serial_};
  timers_.emplace(timer, Entry{pace, std::move(action)});
  if (pace == Pace::kProgress) ++progressTimers_;
  return timer;
}

void Scheduler::Cancel(std::optional<Timer>& timer) {
  if (!timer) return;
  const auto found = timers_.find(*timer);
  timer.reset();
  if (found == timers_.end()) return;
  if (found->second.pace == Pace::kProgress) --progressTimers_;
  timers_.erase(found);
}

void Scheduler::JumpTo(Micros due) {
  const Micros elapsed = Elapsed();
  if (due > elapsed) skew_ += due - elapsed;
}

bool Scheduler::RunDue(bool mayJump) {
  Micros limit = Elapsed();
  for (int i = 0; i < kBatch; ++i) {
    if (timers_.empty()) return false;
    const bool jump = mayJump && kind_ == ClockKind::kInstant && progressTimers_ > 0;
    const auto first = timers_.begin();
    if (first->first.first > limit) {
      if (!jump) return false;
      JumpTo(first->first.first);
      limit = first->first.first;
    }
    reached_ = std::max(reached_, first->first.first);
    auto node = timers_.extract(first);
    if (node.mapped().pace == Pace::kProgress) --progressTimers_;
    running_ = true;
    try {
      node.mapped().action();
    } catch (...) {
      // Out of memory: what the timer stood for is lost, the rest goes on.
    }
    running_ = false;
  }
  return true;
}

void Scheduler::Advance(Micros delay) {
  if (kind_ == ClockKind::kInstant) skew_ += delay;
}

std::optional<std::chrono::steady_clock::time_point> Scheduler::NextWake() const {
  if (timers_.empty()) return std::nullopt;
  const Micros due = timers_.begin()->first.first;
  return start_ + std::chrono::microseconds(due > skew_ ? due - skew_ : 0);
}

}  // namespace virtual_vci
