/// \file
/// The event queue of a link, of a module or of the system, with its callback.
#ifndef VIRTUAL_VCI_ITEMS_EVENT_QUEUE_H_
#define VIRTUAL_VCI_ITEMS_EVENT_QUEUE_H_

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <span>
#include <thread>

#include "virtual_vci/base/sync.h"
#include "virtual_vci/items/items.h"

namespace virtual_vci {

/// Synchronised by itself. Filled under the module's lock, emptied by any thread, its callback run
/// by one thread at a time that holds no lock.
class EventQueue {
 public:
  /// `apiTag` as given to PDUConstruct, `cllTag` as given to PDUCreateComLogicalLink.
  EventQueue(UNUM32 module, UNUM32 link, void* apiTag, void* cllTag);

  /// True if RunCallback has to be called soon.
  bool Push(ItemPtr item);
  /// Adds a raw frame: `record` is the identifier (4 bytes) and the data. While items of the same
  /// kind wait, frames join the last one as a packed result if `packing`.
  bool PushFrame(const EventHead& head, const ResultInfo& info, std::span<const UNUM8> record,
                 bool packing);
  /// Null if the queue is empty. `drained`: no result waits any more.
  ItemPtr Pop(bool& drained);
  /// How many results wait, counting each frame of a packed one.
  std::size_t Backlog() const;
  /// Drops results; other items stay, as somebody may wait for them.
  void DropResults();
  void DropAll();
  void SetLimit(UNUM32 size, T_PDU_QUEUE_MODE mode);

  /// True if RunCallback has to be called soon: items were waiting for somebody to tell.
  bool SetCallback(CALLBACKFNC callback);
  /// Takes the callback away and waits until it has returned, unless this is the thread it runs on.
  /// The wait ends after five seconds: a callback that never returns must not take others with it.
  void RemoveCallback();
  /// Tells the application what happened since the last time.
  void RunCallback();

 private:
  struct Entry {
    ItemPtr item;
    UNUM32 frames = 0;      ///< results in it; 0 for other items
    bool packable = false;  ///< a raw frame, or a packed result with room
  };
  bool Append(Entry entry) VVCI_REQUIRES(lock_);
  /// False if the new item has to be refused. `tell`: an item was lost, and nobody has been told
  /// yet.
  bool MakeRoom(bool& tell) VVCI_REQUIRES(lock_);
  bool Pack(Entry& last, const EventHead& head, const ResultInfo& info,
            std::span<const UNUM8> record) VVCI_REQUIRES(lock_);
  bool Filled() VVCI_REQUIRES(lock_);

  const UNUM32 module_;
  const UNUM32 link_;
  void* const apiTag_;
  void* const cllTag_;

  mutable Mutex lock_;
  std::deque<Entry> entries_ VVCI_GUARDED_BY(lock_);
  std::size_t backlog_ VVCI_GUARDED_BY(lock_) = 0;
  UNUM32 limit_ VVCI_GUARDED_BY(lock_) = 0;
  T_PDU_QUEUE_MODE mode_ VVCI_GUARDED_BY(lock_) = PDU_QUE_UNLIMITED;
  CALLBACKFNC callback_ VVCI_GUARDED_BY(lock_) = nullptr;
  bool tellAvailable_ VVCI_GUARDED_BY(lock_) = false;
  bool tellLost_ VVCI_GUARDED_BY(lock_) = false;
  std::thread::id caller_ VVCI_GUARDED_BY(lock_);
  std::condition_variable returned_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_ITEMS_EVENT_QUEUE_H_
