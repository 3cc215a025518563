#include "platform/wake_up.h"

#include <semaphore.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace passbridge::platform {

struct WakeUp::System {
  sem_t semaphore;
};

WakeUp::WakeUp() : system_(new System) { ::sem_init(&system_->semaphore, 0, 0); }

WakeUp::~WakeUp() {
  ::sem_destroy(&system_->semaphore);
  delete system_;
}

void WakeUp::Wake() noexcept {
  if (!isAwake_.exchange(true)) ::sem_post(&system_->semaphore);
}

void WakeUp::Wait() noexcept(false) {
  while (::sem_wait(&system_->semaphore) != 0 && errno == EINTR) {
  }
  isAwake_ = false;
}

bool WakeUp::WaitUntil(Deadline deadline) noexcept(false) {
  const auto sinceStart = std::max(deadline, Deadline()).time_since_epoch();
  const auto seconds = boost::chrono::duration_cast<boost::chrono::seconds>(sinceStart);
  const boost::chrono::nanoseconds rest = sinceStart - seconds;
  const timespec time{static_cast<std::time_t>(seconds.count()), static_cast<long>(rest.count())};
  int result = 0;
  do {
    result = ::sem_clockwait(&system_->semaphore, CLOCK_MONOTONIC, &time);
  } while (result != 0 && errno == EINTR);
  if (result == 0) isAwake_ = false;
  return result == 0;
}

}  // namespace passbridge::platform
