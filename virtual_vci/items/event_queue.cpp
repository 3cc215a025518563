#include "virtual_vci/items/event_queue.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <utility>

#include "virtual_vci/items/item_ledger.h"

namespace virtual_vci {

namespace {

constexpr std::size_t kMaxRecords = 64;
constexpr std::size_t kRecordData = 12;
constexpr std::size_t kRecordSize = 4 + 1 + kRecordData;
constexpr std::size_t kRecordCountSize = 4;
constexpr UNUM8 kPackedFlag = 0x20;
constexpr std::chrono::seconds kCallbackPatience{5};

using Record = std::array<UNUM8, kRecordSize>;

Record MakeRecord(UNUM32 timestamp, std::span<const UNUM8> data) {
  Record record{};
  std::memcpy(record.data(), &timestamp, sizeof(timestamp));
  record[4] = static_cast<UNUM8>(data.size());
  std::copy(data.begin(), data.end(), record.begin() + 5);
  return record;
}

void AppendRecord(PDU_RESULT_DATA& result, const Record& record) {
  std::copy(record.begin(), record.end(), result.pDataBytes + result.NumDataBytes);
  result.NumDataBytes += static_cast<UNUM32>(record.size());
}

void SetCount(PDU_RESULT_DATA& result, UNUM32 count) {
  std::memcpy(result.pDataBytes, &count, sizeof(count));
}

/// The same frame as the first record of a packed result with room for more.
ItemPtr MakePacked(const PDU_EVENT_ITEM& single, ResultInfo info) {
  const auto& result = *static_cast<const PDU_RESULT_DATA*>(single.pData);
  info.rxFlags[3] |= kPackedFlag;
  info.startTimestamp = result.StartMsgTimestamp;
  const std::array<UNUM8, kRecordCountSize> count{};
  ItemPtr item = MakeResultItem({single.hCop, single.pCoPTag, single.Timestamp}, info, count,
                                kRecordCountSize + kMaxRecords * kRecordSize);
  AppendRecord(ResultOf(item),
               MakeRecord(single.Timestamp, {result.pDataBytes, result.NumDataBytes}));
  return item;
}

bool SameKind(const PDU_EVENT_ITEM& item, const EventHead& head, const ResultInfo& info) {
  const auto& result = *static_cast<const PDU_RESULT_DATA*>(item.pData);
  auto flags = info.rxFlags;
  flags[3] |= result.RxFlag.pFlagData[3] & kPackedFlag;
  return item.hCop == head.cop && result.AcceptanceId == info.acceptanceId &&
         result.UniqueRespIdentifier == info.uniqueRespId &&
         std::equal(flags.begin(), flags.end(), result.RxFlag.pFlagData);
}

}  // namespace

EventQueue::EventQueue(UNUM32 module, UNUM32 link, void* apiTag, void* cllTag)
    : module_(module), link_(link), apiTag_(apiTag), cllTag_(cllTag) {}

bool EventQueue::Filled() {
  const bool tell = callback_ != nullptr && !tellAvailable_;
  tellAvailable_ = true;
  return tell;
}

bool EventQueue::MakeRoom(bool& tell) {
  if (mode_ == PDU_QUE_UNLIMITED || entries_.size() < limit_) return true;
  tell = callback_ != nullptr && !tellLost_;
  tellLost_ = true;
  TheItemLedger().EventItemLost();
  if (mode_ == PDU_QUE_LIMITED) return false;
  while (entries_.size() >= limit_) {
    backlog_ -= entries_.front().frames;
    entries_.pop_front();
  }
  return true;
}

bool EventQueue::Append(Entry entry) {
  bool tell = false;
  if (!MakeRoom(tell)) return tell;
  const bool first = entries_.empty();
  backlog_ += entry.frames;
  entries_.push_back(std::move(entry));
  return (first && Filled()) || tell;
}

bool EventQueue::Push(ItemPtr item) {
  MutexLock lock(lock_);
  const UNUM32 frames = item->ItemType == PDU_IT_RESULT ? 1 : 0;
  return Append({std::move(item), frames, false});
}

bool EventQueue::Pack(Entry& last, const EventHead& head, const ResultInfo& info,
                      std::span<const UNUM8> record) {
  if (!last.packable || record.size() > kRecordData || !SameKind(AsEvent(last.item), head, info))
    return false;
  if (last.frames == 1) last.item = MakePacked(AsEvent(last.item), info);
  PDU_RESULT_DATA& result = ResultOf(last.item);
  AppendRecord(result, MakeRecord(head.timestamp, record));
  SetCount(result, ++last.frames);
  last.packable = last.frames < kMaxRecords;
  ++backlog_;
  return true;
}

bool EventQueue::PushFrame(const EventHead& head, const ResultInfo& info,
                           std::span<const UNUM8> record, bool packing) {
  MutexLock lock(lock_);
  // A full queue loses frames, and doesn't take some later ones into its last item instead.
  const bool full = mode_ != PDU_QUE_UNLIMITED && entries_.size() >= limit_;
  if (packing && !full && !entries_.empty() && Pack(entries_.back(), head, info, record))
    return false;
  return Append({MakeResultItem(head, info, record), 1, packing});
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

void EventQueue::SetLimit(UNUM32 size, T_PDU_QUEUE_MODE mode) {
  MutexLock lock(lock_);
  limit_ = size;
  mode_ = mode;
}

bool EventQueue::SetCallback(CALLBACKFNC callback) {
  MutexLock lock(lock_);
  callback_ = callback;
  tellAvailable_ = !entries_.empty();
  return tellAvailable_;
}

void EventQueue::RemoveCallback() {
  MutexLock lock(lock_);
  callback_ = nullptr;
  if (caller_ == std::this_thread::get_id()) return;
  const auto deadline = std::chrono::steady_clock::now() + kCallbackPatience;
  while (caller_ != std::thread::id() &&
         returned_.wait_until(lock.Native(), deadline) != std::cv_status::timeout) {
  }
}

void EventQueue::RunCallback() {
  MutexLock lock(lock_);
  const CALLBACKFNC callback = callback_;
  const bool available = std::exchange(tellAvailable_, false);
  const bool lost = std::exchange(tellLost_, false);
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
