#include "platform/wake_up.h"

#include <windows.h>

#include <algorithm>
#include <new>

namespace passbridge::platform {

struct WakeUp::System {
  HANDLE event;
};

WakeUp::WakeUp() : system_(new System{::CreateEventW(nullptr, FALSE, FALSE, nullptr)}) {
  if (system_->event != nullptr) return;
  delete system_;
  throw std::bad_alloc();  // the system is short of everything
}

WakeUp::~WakeUp() {
  ::CloseHandle(system_->event);
  delete system_;
}

void WakeUp::Wake() noexcept {
  if (!isAwake_.exchange(true)) ::SetEvent(system_->event);
}

void WakeUp::Wait() noexcept(false) {
  ::WaitForSingleObject(system_->event, INFINITE);
  isAwake_ = false;
}

bool WakeUp::WaitUntil(Deadline deadline) noexcept(false) {
  constexpr boost::chrono::milliseconds kLongest(0x7FFFFFFF);
  const auto rest = boost::chrono::ceil<boost::chrono::milliseconds>(deadline - SteadyClock::now());
  const auto wait = std::clamp(rest, boost::chrono::milliseconds(0), kLongest);
  const DWORD result = ::WaitForSingleObject(system_->event, static_cast<DWORD>(wait.count()));
  if (result == WAIT_OBJECT_0) isAwake_ = false;
  return result == WAIT_OBJECT_0;
}

}  // namespace passbridge::platform
