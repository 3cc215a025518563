/// \file
/// A mutex and its scoped lock with the attributes that clang's -Wthread-safety checks.
#ifndef VIRTUAL_VCI_BASE_SYNC_H_
#define VIRTUAL_VCI_BASE_SYNC_H_

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define VVCI_ATTRIBUTE(x) __attribute__((x))
#else
#define VVCI_ATTRIBUTE(x)
#endif
#define VVCI_CAPABILITY(name) VVCI_ATTRIBUTE(capability(name))
#define VVCI_SCOPED_CAPABILITY VVCI_ATTRIBUTE(scoped_lockable)
#define VVCI_GUARDED_BY(lock) VVCI_ATTRIBUTE(guarded_by(lock))
#define VVCI_REQUIRES(lock) VVCI_ATTRIBUTE(requires_capability(lock))
#define VVCI_NO_ANALYSIS VVCI_ATTRIBUTE(no_thread_safety_analysis)
#define VVCI_ACQUIRE(...) VVCI_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define VVCI_RELEASE(...) VVCI_ATTRIBUTE(release_capability(__VA_ARGS__))

namespace virtual_vci {

class VVCI_CAPABILITY("mutex") Mutex {
 public:
  void Lock() VVCI_ACQUIRE() { mutex_.lock(); }
  void Unlock() VVCI_RELEASE() { mutex_.unlock(); }
  std::mutex& Native() { return mutex_; }

 private:
  std::mutex mutex_;
};

/// Holds a mutex for its own life; `Native()` is what a condition variable waits with.
class VVCI_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) VVCI_ACQUIRE(mutex) : lock_(mutex.Native()) {}
  ~MutexLock() VVCI_RELEASE() = default;
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void Unlock() VVCI_RELEASE() { lock_.unlock(); }
  void Relock() VVCI_ACQUIRE() { lock_.lock(); }
  std::unique_lock<std::mutex>& Native() { return lock_; }

 private:
  std::unique_lock<std::mutex> lock_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_BASE_SYNC_H_
