#include "platform/cancellation.h"

#include <pthread.h>

#include <exception>

namespace passbridge::platform {
namespace {

// Whether the innermost guard of this thread was made while it could be cancelled.
thread_local bool mayCancel = false;

}  // namespace

// Of all that a handler can catch only exceptions have a pointer.
bool IsThreadEnding() noexcept { return std::current_exception() == nullptr; }

CancellationGuard::CancellationGuard() noexcept : mayCancel_(mayCancel) {
  ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state_);
  ::pthread_setcanceltype(PTHREAD_CANCEL_DEFERRED, &type_);
  mayCancel = state_ == PTHREAD_CANCEL_ENABLE;
}

CancellationGuard::~CancellationGuard() noexcept(false) {
  mayCancel = mayCancel_;
  ::pthread_setcanceltype(type_, nullptr);
  ::pthread_setcancelstate(state_, nullptr);
}

CancellationPoint::CancellationPoint() noexcept {
  if (mayCancel) ::pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
}

CancellationPoint::~CancellationPoint() {
  if (mayCancel) ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
}

}  // namespace passbridge::platform
