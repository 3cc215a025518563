#ifndef PASSBRIDGE_CHANNEL_SERVING_ROLE_H_
#define PASSBRIDGE_CHANNEL_SERVING_ROLE_H_

#include <atomic>
#include <cstdint>

#include "platform/mutex.h"
#include "platform/wake_up.h"

namespace passbridge {

/// Who takes the items of a link's event queue: one thread at a time, so that they are handled in
/// their order. A thread that waits for something takes them itself, for waking it by way of the
/// event thread costs more than all the rest; the event thread serves whoever doesn't wait.
///
/// An application that waits again and again is left alone in between: for kGrace after it has
/// served, the event thread looks for itself what there is, and isn't woken.
class ServingRole {
 public:
  /// How long news may wait for an application that has just served, ms.
  static constexpr std::uint32_t kGrace = 5;

  enum class Server : std::uint8_t {
    Nobody,
    EventThread,
    Waiting,   ///< a thread of the application that waits for something
    InPassing  ///< one that handles what is there, and waits for nothing
  };

  /// Makes the calling thread the one that serves. False if another is, or nobody may any more.
  bool Take(Server server) EXCLUDES(lock_);
  void GiveBack() EXCLUDES(lock_);

  /// There may be items in the queue.
  /// @return whom to wake, without any lock; null for nobody. It lives as long as this.
  platform::WakeUp* Announce() EXCLUDES(lock_);
  /// Whether it was announced since this was asked last. Whoever asks takes all items afterwards,
  /// or announces that there are more: an item that it misses is announced once more.
  bool TakeNews() EXCLUDES(lock_);

  /// What wakes the waiting thread that serves.
  platform::WakeUp& ServerWakeUp() { return serverWakeUp_; }
  /// Waits until there is something to serve, and nobody does; false when there won't be any more.
  /// For the event thread.
  bool WaitForNews() EXCLUDES(lock_);

  /// Ends the serving: waits until nobody does any more. Nor does anyone take the role afterwards.
  void Stop() EXCLUDES(lock_);
  void Reopen() EXCLUDES(lock_);
  bool IsStopped() const { return isStopped_; }

  /// While one lives, a thread waits for what another one serves.
  class Bystander {
   public:
    explicit Bystander(ServingRole& role);
    Bystander(const Bystander&) = delete;
    Bystander& operator=(const Bystander&) = delete;
    ~Bystander();

   private:
    ServingRole& role_;
  };

 private:
  bool EventThreadIsWanted() const REQUIRES(lock_);

  platform::Mutex lock_;
  platform::ConditionVariable idle_;
  Server server_ GUARDED_BY(lock_) = Server::Nobody;
  std::atomic<bool> isStopped_{true};  // written under the lock
  bool hasNews_ GUARDED_BY(lock_) = false;
  bool applicationServed_ GUARDED_BY(lock_) = false;  // since the event thread looked last
  bool eventThreadLooks_ GUARDED_BY(lock_) = false;   // by itself, within kGrace
  std::uint32_t bystanders_ GUARDED_BY(lock_) = 0;
  platform::WakeUp serverWakeUp_;
  platform::WakeUp eventThreadWakeUp_;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_SERVING_ROLE_H_
