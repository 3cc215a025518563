#include "channel/event.h"

#include <utility>

#include "platform/cancellation.h"

namespace passbridge {

namespace {

/// Counts a waiting thread, also one that is cancelled while it waits.
class Counted {
 public:
  explicit Counted(std::uint32_t& count) : count_(count) { ++count_; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { --count_; }

 private:
  std::uint32_t& count_;
};

}  // namespace

void CJ2534Event::WakeWaiting() {
  // Under the lock: the waiter that sees the flag may destroy the event at once.
  if (waiting_ != 0) changed_.NotifyAll();
}

void CJ2534Event::Set() {
  platform::MutexLock lock(lock_);
  signalled_ = true;
  WakeWaiting();
}

void CJ2534Event::Reset() {
  platform::MutexLock lock(lock_);
  signalled_ = false;
}

void CJ2534Event::End() {
  platform::MutexLock lock(lock_);
  ended_ = true;
  WakeWaiting();
}

void CJ2534Event::Reopen() {
  platform::MutexLock lock(lock_);
  ended_ = false;
}

void CJ2534Event::Poke() {
  platform::MutexLock lock(lock_);
  poked_ = true;
  WakeWaiting();
}

void CJ2534Event::WaitLocked(const platform::Deadline* deadline, bool pokesCount) {
  if (signalled_ || ended_ || (pokesCount && poked_)) return;
  if (deadline != nullptr && *deadline == platform::Deadline()) return;
  const Counted waiting(waiting_);
  const platform::CancellationPoint cancellable;
  while (!signalled_ && !ended_ && !(pokesCount && poked_)) {
    if (deadline == nullptr) {
      changed_.Wait(lock_);
    } else if (!changed_.WaitUntil(lock_, *deadline)) {
      return;
    }
  }
}

void CJ2534Event::Wait() {
  platform::MutexLock lock(lock_);
  WaitLocked(nullptr, false);
  signalled_ = false;
}

bool CJ2534Event::TimedWait(std::uint32_t milliseconds) {
  return WaitUntil(milliseconds == 0 ? platform::Deadline() : platform::DeadlineIn(milliseconds));
}

bool CJ2534Event::WaitUntil(platform::Deadline deadline) {
  platform::MutexLock lock(lock_);
  WaitLocked(&deadline, false);
  return std::exchange(signalled_, false) || ended_;
}

CJ2534Event::Waited CJ2534Event::WaitOrPoke(platform::Deadline deadline) {
  platform::MutexLock lock(lock_);
  WaitLocked(&deadline, true);
  if (std::exchange(signalled_, false) || ended_) return Waited::Set;
  return std::exchange(poked_, false) ? Waited::Poked : Waited::TimedOut;
}

}  // namespace passbridge
