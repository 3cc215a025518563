#ifndef PASSBRIDGE_CHANNEL_PERIODIC_MESSAGES_H_
#define PASSBRIDGE_CHANNEL_PERIODIC_MESSAGES_H_

#include <cstddef>
#include <list>
#include <optional>

#include "passbridge/d_pdu_api.h"
#include "platform/mutex.h"

namespace passbridge {

/// The ComPrimitives that the interface repeats for a channel, in the order of their start. Any
/// thread.
class PeriodicMessages {
 public:
  static constexpr std::size_t kLimit = 20;

  bool IsFull() const EXCLUDES(lock_);
  void Add(UNUM32 hCop) EXCLUDES(lock_);
  /// False if it is not there.
  bool Remove(UNUM32 hCop) EXCLUDES(lock_);
  std::optional<UNUM32> First() const EXCLUDES(lock_);
  void Clear() EXCLUDES(lock_);

 private:
  mutable platform::Mutex lock_;
  std::list<UNUM32> cops_ GUARDED_BY(lock_);
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_PERIODIC_MESSAGES_H_
