#include "platform/mutex.h"

#include <gtest/gtest.h>

#include <boost/thread/thread.hpp>

#include "platform/clock.h"

namespace passbridge::platform {
namespace {

// Whether another thread would have to wait for the mutex.
template <typename AnyMutex>
bool IsTaken(AnyMutex& mutex) {
  bool taken = true;
  boost::thread([&] {
    if (mutex.TryLock()) {
      taken = false;
      mutex.Unlock();
    }
  }).join();
  return taken;
}

struct Flag {
  Mutex mutex;
  ConditionVariable changed;
  bool set GUARDED_BY(mutex) = false;
};

TEST(ConditionVariable, WakesTheWaiterWithTheLockHeld) {
  Flag flag;
  boost::thread setter([&] {
    const MutexLock lock(flag.mutex);
    flag.set = true;
    flag.changed.NotifyOne();
  });
  {
    const MutexLock lock(flag.mutex);
    while (!flag.set) flag.changed.Wait(flag.mutex);
    EXPECT_TRUE(IsTaken(flag.mutex));
  }
  setter.join();
}

TEST(ConditionVariable, GivesUpAtItsDeadline) {
  Flag flag;
  const MutexLock lock(flag.mutex);
  const std::uint64_t start = MonotonicMicroseconds();
  const Deadline deadline = SteadyClock::now() + boost::chrono::milliseconds(60);
  while (flag.changed.WaitUntil(flag.mutex, deadline)) {
  }
  EXPECT_GE(MonotonicMicroseconds() - start, 45'000U);
  EXPECT_FALSE(flag.changed.WaitUntil(flag.mutex, SteadyClock::now() - boost::chrono::hours(1)));
}

TEST(RecursiveMutex, IsFreeAfterAsManyReleases) {
  RecursiveMutex mutex;
  const auto nested = [&mutex] {
    const RecursiveMutexLock inner(mutex);
    return IsTaken(mutex);
  };
  {
    const RecursiveMutexLock outer(mutex);
    EXPECT_TRUE(nested());
    EXPECT_TRUE(IsTaken(mutex));
  }
  EXPECT_FALSE(IsTaken(mutex));
}

TEST(MutexLock, LetsGoInBetween) {
  Mutex mutex;
  {
    MutexLock lock(mutex);
    lock.Unlock();
    EXPECT_FALSE(IsTaken(mutex));
    lock.Lock();
    EXPECT_TRUE(IsTaken(mutex));
    lock.Unlock();
  }
  EXPECT_FALSE(IsTaken(mutex));
}

}  // namespace
}  // namespace passbridge::platform
