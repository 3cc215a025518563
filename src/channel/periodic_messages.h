#ifndef PASSBRIDGE_CHANNEL_PERIODIC_MESSAGES_H_
#define PASSBRIDGE_CHANNEL_PERIODIC_MESSAGES_H_

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <span>

#include "passbridge/d_pdu_api.h"
#include "platform/mutex.h"

namespace passbridge {

class CJ2534Channel;

/// Ends the threads of a channel before anything of it goes, its subclass's members included.
struct ChannelDeleter {
  void operator()(CJ2534Channel* channel) const;
};
using OwnedChannel = std::unique_ptr<CJ2534Channel, ChannelDeleter>;

/// A parameter that the channel of the periodic messages takes over from the first one. J1962_PINS
/// is taken over, and connects it, only where pins are switched.
struct TakenOver {
  std::uint32_t parameter;
  const char* failure;
};

/// How a protocol's second channel for periodic messages is made, and what it takes over, in this
/// order.
struct PeriodicChannelPlan {
  OwnedChannel (*make)();
  std::span<const TakenOver> takenOver;
  std::uint32_t settlingTime = 0;  ///< ms before the first message
};

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
