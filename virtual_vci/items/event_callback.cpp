#include "virtual_vci/items/event_callback.h"

#include <chrono>
#include <utility>

namespace virtual_vci {

namespace {

constexpr std::chrono::seconds kCallbackPatience{5};

}  // namespace

EventCallback::EventCallback(UNUM32 module, UNUM32 link, void* apiTag, void* cllTag)
    : module_(module), link_(link), apiTag_(apiTag), cllTag_(cllTag) {}

bool EventCallback::Set(CALLBACKFNC callback, bool waiting) {
  MutexLock lock(lock_);
  callback_ = callback;
  available_ = waiting;
  return waiting;
}

bool EventCallback::Tell(T_PDU_EVT_DATA event) {
  MutexLock lock(lock_);
  bool& pending = event == PDU_EVT_DATA_LOST ? lost_ : available_;
  return !std::exchange(pending, true) && callback_ != nullptr;
}

void EventCallback::Remove() {
  MutexLock lock(lock_);
  callback_ = nullptr;
  if (caller_ == std::this_thread::get_id()) return;
  const auto deadline = std::chrono::steady_clock::now() + kCallbackPatience;
  while (caller_ != std::thread::id() &&
         returned_.wait_until(lock.Native(), deadline) != std::cv_status::timeout) {
  }
}

void EventCallback::Run() {
  MutexLock lock(lock_);
  const CALLBACKFNC callback = callback_;
  const bool available = std::exchange(available_, false);
  const bool lost = std::exchange(lost_, false);
  if (callback == nullptr) return;
  caller_ = std::this_thread::get_id();
  lock.Unlock();
  if (available) callback(PDU_EVT_DATA_AVAILABLE, module_, link_, cllTag_, apiTag_);
  if (lost) callback(PDU_EVT_DATA_LOST, module_, link_, cllTag_, apiTag_);
  lock.Relock();
  caller_ = {};
  returned_.notify_all();
}

}  // namespace virtual_vci
