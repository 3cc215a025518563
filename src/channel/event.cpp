#include "channel/event.h"

#include <utility>

#include "platform/cancellation.h"

namespace passbridge {

void CJ2534Event::Set() {
  // Notified under the lock: the waiter that sees the flag may destroy the event at once.
  platform::MutexLock lock(lock_);
  signalled_ = true;
  changed_.NotifyAll();
}

void CJ2534Event::Reset() {
  platform::MutexLock lock(lock_);
  signalled_ = false;
}

void CJ2534Event::End() {
  platform::MutexLock lock(lock_);
  ended_ = true;
  changed_.NotifyAll();
}

void CJ2534Event::Reopen() {
  platform::MutexLock lock(lock_);
  ended_ = false;
}

void CJ2534Event::Wait() {
  platform::MutexLock lock(lock_);
  const platform::CancellationPoint cancellable;
  while (!signalled_ && !ended_) changed_.Wait(lock_);
  signalled_ = false;
}

bool CJ2534Event::TimedWait(std::uint32_t milliseconds) {
  const platform::Deadline deadline =
      platform::SteadyClock::now() + boost::chrono::milliseconds(milliseconds);
  platform::MutexLock lock(lock_);
  const platform::CancellationPoint cancellable;
  while (!signalled_ && !ended_ && changed_.WaitUntil(lock_, deadline)) {
  }
  return std::exchange(signalled_, false) || ended_;
}

}  // namespace passbridge
