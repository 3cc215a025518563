#ifndef PASSBRIDGE_PLATFORM_MUTEX_H_
#define PASSBRIDGE_PLATFORM_MUTEX_H_

#include <algorithm>
#include <boost/chrono/system_clocks.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <cstdint>

#include "platform/thread_annotations.h"

namespace passbridge::platform {

// The monotonic clock of all deadlines.
using SteadyClock = boost::chrono::steady_clock;
using Deadline = SteadyClock::time_point;
inline Deadline DeadlineIn(std::uint32_t milliseconds) {
  return SteadyClock::now() + boost::chrono::milliseconds(milliseconds);
}

// Boost's mutexes, known to clang's thread-safety analysis.
template <typename BoostMutex>
class CAPABILITY("mutex") BasicMutex {
 public:
  BasicMutex() = default;
  BasicMutex(const BasicMutex&) = delete;
  BasicMutex& operator=(const BasicMutex&) = delete;

  void Lock() ACQUIRE() { mutex_.lock(); }
  bool TryLock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }
  void Unlock() RELEASE() { mutex_.unlock(); }

 private:
  friend class ConditionVariable;
  BoostMutex mutex_;
};

using Mutex = BasicMutex<boost::mutex>;
// The thread that holds it may take it again, and releases it as often.
using RecursiveMutex = BasicMutex<boost::recursive_mutex>;

// Holds a mutex for its scope; Unlock and Lock let go of it in between.
template <typename AnyMutex>
class SCOPED_CAPABILITY BasicMutexLock {
 public:
  explicit BasicMutexLock(AnyMutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
  BasicMutexLock(const BasicMutexLock&) = delete;
  BasicMutexLock& operator=(const BasicMutexLock&) = delete;
  ~BasicMutexLock() RELEASE() {
    if (held_) mutex_.Unlock();
  }

  void Lock() ACQUIRE() {
    mutex_.Lock();
    held_ = true;
  }
  void Unlock() RELEASE() {
    held_ = false;
    mutex_.Unlock();
  }

 private:
  AnyMutex& mutex_;
  bool held_ = true;
};

using MutexLock = BasicMutexLock<Mutex>;
using RecursiveMutexLock = BasicMutexLock<RecursiveMutex>;

// Waits may end without a notification: callers loop over their condition. The mutex is held when a
// wait begins and when it ends, whatever way it ends.
class ConditionVariable {
 public:
  void Wait(Mutex& mutex) REQUIRES(mutex) {
    Adopted adopted(mutex.mutex_);
    condition_.wait(adopted.lock);
  }

  // Gives false when the deadline has passed; one in the past does not wait.
  bool WaitUntil(Mutex& mutex, Deadline deadline) REQUIRES(mutex) {
    Adopted adopted(mutex.mutex_);
    // The system refuses times before the clock's zero.
    const Deadline possible = std::max(deadline, Deadline());
    return condition_.wait_until(adopted.lock, possible) == boost::cv_status::no_timeout;
  }

  void NotifyOne() { condition_.notify_one(); }
  void NotifyAll() { condition_.notify_all(); }

 private:
  // Lends the caller's lock to Boost for one wait, and leaves it locked.
  struct Adopted {
    explicit Adopted(boost::mutex& mutex) : lock(mutex, boost::adopt_lock) {}
    ~Adopted() { lock.release(); }
    boost::unique_lock<boost::mutex> lock;
  };

  boost::condition_variable condition_;
};

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_MUTEX_H_
