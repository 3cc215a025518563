#include "virtual_vci/items/event_queue.h"

#include <utility>

#include "virtual_vci/items/item_ledger.h"
#include "virtual_vci/items/packed_frames.h"

namespace virtual_vci {

EventQueue::EventQueue(UNUM32 module, UNUM32 link, void* apiTag, void* cllTag)
    : callback_(module, link, apiTag, cllTag) {}

bool EventQueue::SetCallback(CALLBACKFNC callback) {
  MutexLock lock(lock_);
  return callback_.Set(callback, !entries_.empty());
}

bool EventQueue::IsFull() const { return mode_ != PDU_QUE_UNLIMITED && entries_.size() >= limit_; }

bool EventQueue::MakeRoom() {
  if (mode_ == PDU_QUE_LIMITED) return false;
  while (IsFull()) {
    backlog_ -= entries_.front().frames;
    entries_.pop_front();
  }
  return true;
}

bool EventQueue::Append(Entry entry) {
  bool call = false;
  if (IsFull()) {
    TheItemLedger().EventItemLost();
    call = callback_.Tell(PDU_EVT_DATA_LOST);
    if (!MakeRoom()) return call;
  }
  const bool first = entries_.empty();
  backlog_ += entry.frames;
  entries_.push_back(std::move(entry));
  return (first && callback_.Tell(PDU_EVT_DATA_AVAILABLE)) || call;
}

bool EventQueue::Push(ItemPtr item) {
  MutexLock lock(lock_);
  const UNUM32 frames = item->ItemType == PDU_IT_RESULT ? 1 : 0;
  return Append({std::move(item), frames, false});
}

bool EventQueue::PushFrame(const EventHead& head, const ResultInfo& info,
                           std::span<const UNUM8> frame, bool packing) {
  MutexLock lock(lock_);
  // A full queue loses frames, and doesn't take some later ones into its last item instead.
  if (packing && !entries_.empty() && entries_.back().packable && !IsFull() &&
      CanPack(entries_.back().item, head, info, frame)) {
    Entry& last = entries_.back();
    last.packable = Pack(last.item, head, info, frame, ++last.frames);
    ++backlog_;
    return false;
  }
  return Append({MakeResultItem(head, info, frame), 1, packing});
}

ItemPtr EventQueue::Pop(bool& drained) {
  MutexLock lock(lock_);
  drained = true;
  if (entries_.empty()) return nullptr;
  ItemPtr item = std::move(entries_.front().item);
  backlog_ -= entries_.front().frames;
  entries_.pop_front();
  drained = backlog_ == 0;
  return item;
}

std::size_t EventQueue::Backlog() const {
  MutexLock lock(lock_);
  return backlog_;
}

void EventQueue::DropResults() {
  MutexLock lock(lock_);
  std::erase_if(entries_, [](const Entry& entry) { return entry.frames != 0; });
  backlog_ = 0;
}

void EventQueue::DropAll() {
  MutexLock lock(lock_);
  entries_.clear();
  backlog_ = 0;
}

T_PDU_ERROR EventQueue::Configure(const PDU_DATA_ITEM* input) {
  const auto* properties =
      DataOf<PDU_IO_EVENT_QUEUE_PROPERTY_DATA>(input, PDU_IT_IO_EVENT_QUEUE_PROPERTY);
  if (properties == nullptr || properties->QueueMode > PDU_QUE_CIRCULAR)
    return PDU_ERR_INVALID_PARAMETERS;
  const bool limited = properties->QueueMode != PDU_QUE_UNLIMITED;
  if (limited && properties->QueueSize == 0) return PDU_ERR_INVALID_PARAMETERS;
  MutexLock lock(lock_);
  limit_ = properties->QueueSize;
  mode_ = properties->QueueMode;
  return PDU_STATUS_NOERROR;
}

}  // namespace virtual_vci
