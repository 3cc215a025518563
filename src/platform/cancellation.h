#ifndef PASSBRIDGE_PLATFORM_CANCELLATION_H_
#define PASSBRIDGE_PLATFORM_CANCELLATION_H_

namespace passbridge::platform {

// In a handler of everything: whether what it caught is no exception, but what unwinds the stack of
// a thread that is cancelled, or that exits in the middle of a call. That may not be stopped.
//
//   } catch (...) {
//     if (platform::IsThreadEnding()) throw;
//
// Always false on Windows, where nothing unwinds such a thread.
bool IsThreadEnding() noexcept;

// Keeps the calling thread from being cancelled while it lives, but where a CancellationPoint lets
// it: code that is not written for it is never left half-way.
class CancellationGuard {
 public:
  CancellationGuard() noexcept;
  CancellationGuard(const CancellationGuard&) = delete;
  CancellationGuard& operator=(const CancellationGuard&) = delete;
  // A thread that may be cancelled at any moment, and is to be, ends here.
  ~CancellationGuard() noexcept(false);

 private:
  int state_ = 0;
  int type_ = 0;
  bool mayCancel_ = false;
};

// Around a wait: within a CancellationGuard the thread can be cancelled there, if it could before
// the guard. Without a guard it changes nothing.
class CancellationPoint {
 public:
  CancellationPoint() noexcept;
  CancellationPoint(const CancellationPoint&) = delete;
  CancellationPoint& operator=(const CancellationPoint&) = delete;
  ~CancellationPoint();
};

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_CANCELLATION_H_
