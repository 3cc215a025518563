/// \file
/// The event queue of a link, of a module or of the system.
#ifndef VIRTUAL_VCI_ITEMS_EVENT_QUEUE_H_
#define VIRTUAL_VCI_ITEMS_EVENT_QUEUE_H_

#include <cstddef>
#include <deque>
#include <span>

#include "virtual_vci/base/sync.h"
#include "virtual_vci/items/event_callback.h"
#include "virtual_vci/items/items.h"

namespace virtual_vci {

/// Synchronised by itself. Filled under the module's lock, emptied by any thread. Where a function
/// returns whether to call, the callback has to be run soon.
class EventQueue {
 public:
  /// See EventCallback.
  EventQueue(UNUM32 module, UNUM32 link, void* apiTag, void* cllTag);

  EventCallback& Callback() { return callback_; }
  /// Gives the application a callback; returns whether to call, as items were waiting.
  bool SetCallback(CALLBACKFNC callback);

  /// Returns whether to call.
  bool Push(ItemPtr item);
  /// Adds a raw frame: `frame` is the identifier (4 bytes) and the data. While items of the same
  /// kind wait, frames join the last one as a packed result if `packing`. Returns whether to call.
  bool PushFrame(const EventHead& head, const ResultInfo& info, std::span<const UNUM8> frame,
                 bool packing);
  /// Null if the queue is empty. `drained`: no result waits any more.
  ItemPtr Pop(bool& drained);
  /// How many results wait, counting each frame of a packed one.
  std::size_t Backlog() const;
  /// Drops results; other items stay, as somebody may wait for them.
  void DropResults();
  void DropAll();
  /// PDU_IOCTL_SET_EVENT_QUEUE_PROPERTIES: unlimited, or how many items and who gives way.
  T_PDU_ERROR Configure(const PDU_DATA_ITEM* input);

 private:
  struct Entry {
    ItemPtr item;
    UNUM32 frames = 0;      ///< results in it; 0 for other items
    bool packable = false;  ///< a raw frame, or a packed result with room
  };
  bool Append(Entry entry) VVCI_REQUIRES(lock_);
  bool IsFull() const VVCI_REQUIRES(lock_);
  /// The oldest item gives way to a new one; false if that has to be refused.
  bool MakeRoom() VVCI_REQUIRES(lock_);

  EventCallback callback_;
  mutable Mutex lock_;
  std::deque<Entry> entries_ VVCI_GUARDED_BY(lock_);
  std::size_t backlog_ VVCI_GUARDED_BY(lock_) = 0;
  UNUM32 limit_ VVCI_GUARDED_BY(lock_) = 0;
  T_PDU_QUEUE_MODE mode_ VVCI_GUARDED_BY(lock_) = PDU_QUE_UNLIMITED;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_ITEMS_EVENT_QUEUE_H_
