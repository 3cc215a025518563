#ifndef PASSBRIDGE_CHANNEL_EVENT_H_
#define PASSBRIDGE_CHANNEL_EVENT_H_

#include <cstdint>

#include "platform/mutex.h"

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

 private:
  platform::Mutex lock_;
  platform::ConditionVariable changed_;
  bool signalled_ GUARDED_BY(lock_) = false;
  bool ended_ GUARDED_BY(lock_) = false;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_EVENT_H_
