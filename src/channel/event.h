#ifndef PASSBRIDGE_CHANNEL_EVENT_H_
#define PASSBRIDGE_CHANNEL_EVENT_H_

#include <atomic>
#include <cstdint>

#include "platform/mutex.h"
#include "platform/wake_up.h"

namespace passbridge {

/// Auto-reset event. A Set that comes before anyone waits is remembered; one Set releases one
/// wait. Any thread may call any operation.
class CJ2534Event {
 public:
  void Set() EXCLUDES(lock_);
  void Reset() EXCLUDES(lock_);

  /// Releases every wait, those to come too, until Reopen: there is nothing to wait for any more.
  void End() EXCLUDES(lock_);
  void Reopen() EXCLUDES(lock_);

  /// Waits until the event is set, and clears it.
  void Wait() EXCLUDES(lock_);
  /// The same for at most `milliseconds`; false when they passed without a Set or an end.
  bool TimedWait(std::uint32_t milliseconds) EXCLUDES(lock_);
  bool WaitUntil(platform::Deadline deadline) EXCLUDES(lock_);

  /// WaitUntil without a wait.
  bool TryTake() EXCLUDES(lock_);
  /// Has every Set and End wake somebody, too, who waits for something else besides: one at a time,
  /// until it is null.
  void SetListener(platform::WakeUp* listener) EXCLUDES(lock_);

 private:
  bool IsSet() const REQUIRES(lock_) { return signalled_ || ended_; }
  bool Take() REQUIRES(lock_) { return signalled_.exchange(false) || ended_; }
  void WakeWaiting() REQUIRES(lock_);

  platform::Mutex lock_;
  platform::ConditionVariable changed_;
  std::atomic<bool> signalled_{false};  // written under the lock
  bool ended_ GUARDED_BY(lock_) = false;
  platform::WakeUp* listener_ GUARDED_BY(lock_) = nullptr;
  std::uint32_t waiting_ GUARDED_BY(lock_) = 0;  // threads; without any, nobody is notified
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_EVENT_H_
