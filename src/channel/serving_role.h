#ifndef PASSBRIDGE_CHANNEL_SERVING_ROLE_H_
#define PASSBRIDGE_CHANNEL_SERVING_ROLE_H_

#include <cstdint>

#include "channel/event.h"
#include "platform/mutex.h"

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

  /// Makes the calling thread the one that serves. False if another is, or nobody may any more.
  /// @param event  what the thread waits for; it is poked when there is news. Null: the event
  ///               thread, or one that doesn't wait.
  bool Take(CJ2534Event* event) EXCLUDES(lock_);
  void GiveBack() EXCLUDES(lock_);

  /// There may be items in the queue. Called under the lock that items are taken under.
  void Announce() EXCLUDES(lock_);
  /// There are none. Called under the same lock.
  void NoteEmpty() EXCLUDES(lock_);
  bool HasNews() EXCLUDES(lock_);

  /// Waits until there is something to serve, and nobody does; false when there won't be any more.
  /// For the event thread.
  bool WaitForNews() EXCLUDES(lock_);

  /// Ends the serving: waits until nobody does any more. Nor does anyone take the role afterwards.
  void Stop() EXCLUDES(lock_);
  void Reopen() EXCLUDES(lock_);
  bool IsStopped() EXCLUDES(lock_);

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
  void WakeEventThread() REQUIRES(lock_);

  platform::Mutex lock_;  // after the lock that items are taken under
  platform::ConditionVariable idle_;
  CJ2534Event* server_ GUARDED_BY(lock_) = nullptr;
  bool isTaken_ GUARDED_BY(lock_) = false;
  bool isStopped_ GUARDED_BY(lock_) = true;
  bool hasNews_ GUARDED_BY(lock_) = false;
  bool applicationServed_ GUARDED_BY(lock_) = false;  // since the event thread looked last
  bool eventThreadLooks_ GUARDED_BY(lock_) = false;   // by itself, within kGrace
  std::uint32_t bystanders_ GUARDED_BY(lock_) = 0;
  CJ2534Event eventThread_;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_SERVING_ROLE_H_
