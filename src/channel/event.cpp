#include "channel/event.h"

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
  if (listener_ != nullptr) listener_->Wake();
}

void CJ2534Event::Set() {
  // Whoever takes the signal that is there looks afterwards at what this one is about, too.
  if (signalled_) return;
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

void CJ2534Event::SetListener(platform::WakeUp* listener) {
  platform::MutexLock lock(lock_);
  listener_ = listener;
}

void CJ2534Event::Wait() {
  platform::MutexLock lock(lock_);
  const Counted waiting(waiting_);
  const platform::CancellationPoint cancellable;
  while (!IsSet()) changed_.Wait(lock_);
  signalled_ = false;
}

bool CJ2534Event::TimedWait(std::uint32_t milliseconds) {
  return milliseconds == 0 ? TryTake() : WaitUntil(platform::DeadlineIn(milliseconds));
}

bool CJ2534Event::WaitUntil(platform::Deadline deadline) {
  platform::MutexLock lock(lock_);
  {
    const Counted waiting(waiting_);
    const platform::CancellationPoint cancellable;
    while (!IsSet() && changed_.WaitUntil(lock_, deadline)) {
    }
  }
  return Take();
}

bool CJ2534Event::TryTake() {
  platform::MutexLock lock(lock_);
  return Take();
}

}  // namespace passbridge
