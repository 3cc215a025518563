#include "virtual_vci/library/system_thread.h"

#include <utility>

namespace virtual_vci {

SystemThread::SystemThread(void* apiTag)
    : queue_(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, apiTag, nullptr) {}

SystemThread::~SystemThread() { Stop(); }

void SystemThread::Push(ItemPtr item) {
  if (queue_.Push(std::move(item))) Kick();
}

ItemPtr SystemThread::Pop() {
  bool drained = false;
  return queue_.Pop(drained);
}

void SystemThread::SetCallback(CALLBACKFNC callback) {
  queue_.Callback().Remove();
  if (callback == nullptr) return;
  {
    MutexLock lock(lock_);
    if (stop_) return;
    if (!thread_.joinable()) thread_ = std::thread([this] { Run(); });
  }
  if (queue_.SetCallback(callback)) Kick();
}

bool SystemThread::IsThisThread() {
  MutexLock lock(lock_);
  return thread_.get_id() == std::this_thread::get_id();
}

void SystemThread::Kick() {
  MutexLock lock(lock_);
  tell_ = true;
  changed_.notify_one();
}

void SystemThread::Stop() {
  queue_.Callback().Remove();
  std::thread thread;
  {
    MutexLock lock(lock_);
    stop_ = true;
    thread = std::move(thread_);
    changed_.notify_one();
  }
  if (thread.joinable()) thread.join();
}

void SystemThread::Run() {
  MutexLock lock(lock_);
  while (!stop_) {
    if (!std::exchange(tell_, false)) {
      changed_.wait(lock.Native());
      continue;
    }
    lock.Unlock();
    queue_.Callback().Run();
    lock.Relock();
  }
}

}  // namespace virtual_vci
