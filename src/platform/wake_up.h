#ifndef PASSBRIDGE_PLATFORM_WAKE_UP_H_
#define PASSBRIDGE_PLATFORM_WAKE_UP_H_

#include <atomic>

#include "platform/mutex.h"

namespace passbridge::platform {

// Wakes the one thread that waits, or that waits next; several calls before that count once. Unlike
// a condition variable it has no lock that the woken thread would have to wait for while the other
// one is still inside the call.
class WakeUp {
 public:
  WakeUp();
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;
  ~WakeUp();

  void Wake() noexcept;
  // One thread at a time waits.
  void Wait() noexcept(false);
  // False when the deadline has passed.
  bool WaitUntil(Deadline deadline) noexcept(false);

 private:
  struct System;
  System* const system_;
  std::atomic<bool> isAwake_{false};  // woken, and nobody has waited since
};

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_WAKE_UP_H_
