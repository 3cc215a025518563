/// \file
/// The callback of an event queue.
#ifndef VIRTUAL_VCI_ITEMS_EVENT_CALLBACK_H_
#define VIRTUAL_VCI_ITEMS_EVENT_CALLBACK_H_

#include <condition_variable>
#include <thread>

#include "passbridge/d_pdu_api.h"
#include "virtual_vci/base/sync.h"

namespace virtual_vci {

/// Synchronised by itself: told under other locks, run by one thread at a time that holds none.
class EventCallback {
 public:
  /// What it is called with: `apiTag` as given to PDUConstruct, `cllTag` as given to
  /// PDUCreateComLogicalLink.
  EventCallback(UNUM32 module, UNUM32 link, void* apiTag, void* cllTag);

  // These return whether Run has to be called soon.

  /// `waiting`: there is something to tell at once.
  bool Set(CALLBACKFNC callback, bool waiting);
  /// PDU_EVT_DATA_AVAILABLE or PDU_EVT_DATA_LOST.
  bool Tell(T_PDU_EVT_DATA event);

  /// Takes the callback away and waits until it has returned, unless this is the thread it runs on.
  /// The wait ends after five seconds: a callback that never returns must not take others with it.
  void Remove();
  /// Tells the application what happened since the last time.
  void Run();

 private:
  const UNUM32 module_;
  const UNUM32 link_;
  void* const apiTag_;
  void* const cllTag_;

  Mutex lock_;
  CALLBACKFNC callback_ VVCI_GUARDED_BY(lock_) = nullptr;
  bool available_ VVCI_GUARDED_BY(lock_) = false;
  bool lost_ VVCI_GUARDED_BY(lock_) = false;
  std::thread::id caller_ VVCI_GUARDED_BY(lock_);
  std::condition_variable returned_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_ITEMS_EVENT_CALLBACK_H_
