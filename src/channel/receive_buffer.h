#ifndef PASSBRIDGE_CHANNEL_RECEIVE_BUFFER_H_
#define PASSBRIDGE_CHANNEL_RECEIVE_BUFFER_H_

#include <cstdint>

#include "channel/message_queue.h"
#include "platform/mutex.h"

namespace passbridge {

struct Method;

/// A channel's queue of received messages. The event thread adds, application threads read and
/// clear. Its lock is never held together with another of ours.
class CJ2534ReceiveBuffer : public CJ2534 {
 public:
  /// Messages beyond this many are kept, too, but read as ERR_BUFFER_OVERFLOW and do not count.
  static constexpr std::uint32_t kCapacity = 10000;

  /// Stores the message and one message more for each indication in it. While suspended, it
  /// stores nothing.
  Status AddPassThruMsg(CJ2534PassThruMsg&& message) EXCLUDES(lock_);

  /// Takes the oldest message out and copies it to the application, also when the result tells of
  /// an error message or of an event item that could not be destroyed. ERR_BUFFER_EMPTY, and
  /// nothing written, when there is none.
  Status ReadPassThruMsg(const AppMessage& out) EXCLUDES(lock_);

  bool HasMessages() { return Size() != 0; }
  std::size_t Size() EXCLUDES(lock_);

  /// Discards every stored message.
  Status Clear() EXCLUDES(lock_);

  Status Suspend() EXCLUDES(lock_);
  Status Resume() EXCLUDES(lock_);

 private:
  /// False when there is none.
  bool Take(CJ2534PassThruMsg& message) EXCLUDES(lock_);
  void Store(CJ2534PassThruMsg&& message) REQUIRES(lock_);
  void StoreIndications(const CJ2534PassThruMsg& message, std::uint32_t rxStatus) REQUIRES(lock_);
  Status SetSuspended(const Method& method, bool suspended) EXCLUDES(lock_);

  platform::Mutex lock_;
  MessageQueue messages_ GUARDED_BY(lock_);
  std::uint32_t messageCount_ GUARDED_BY(lock_) = 0;  // of those that are no errors
  bool suspended_ GUARDED_BY(lock_) = false;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_RECEIVE_BUFFER_H_
