/// \file
/// The thread that tells the application of system events: the module list has changed.
#ifndef VIRTUAL_VCI_LIBRARY_SYSTEM_THREAD_H_
#define VIRTUAL_VCI_LIBRARY_SYSTEM_THREAD_H_

#include <condition_variable>
#include <memory>
#include <thread>

#include "virtual_vci/items/event_queue.h"

namespace virtual_vci {

/// Synchronised by itself. The thread exists from the first callback on; without one the queue just
/// fills.
class SystemThread {
 public:
  explicit SystemThread(void* apiTag);
  ~SystemThread();

  void Push(ItemPtr item);
  ItemPtr Pop();
  void SetCallback(CALLBACKFNC callback);
  bool IsThisThread();
  /// Waits for a callback that is running. Not on this thread.
  void Stop();

 private:
  void Run();
  void Kick();

  EventQueue queue_;
  Mutex lock_;
  bool tell_ VVCI_GUARDED_BY(lock_) = false;
  bool stop_ VVCI_GUARDED_BY(lock_) = false;
  std::thread thread_ VVCI_GUARDED_BY(lock_);
  std::condition_variable changed_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LIBRARY_SYSTEM_THREAD_H_
