#include "virtual_vci/items.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace virtual_vci {

void ItemDeleter::operator()(PDU_ITEM* item) const { ::operator delete(static_cast<void*>(item)); }

void ItemBuilder::Make() {
  void* memory = ::operator new(size_);
  owner_.reset(static_cast<PDU_ITEM*>(memory));
  memory_ = static_cast<std::byte*>(memory);
  std::memset(memory, 0, size_);
}

ItemPtr ItemBuilder::Finish() { return std::move(owner_); }

namespace {

/// An event item with one structure of type T behind it.
template <typename T>
ItemPtr MakeEvent(T_PDU_IT type, const EventHead& head, const T& data) {
  ItemBuilder builder;
  builder.Need<PDU_EVENT_ITEM>().Need<T>().Make();
  auto* item = builder.Take<PDU_EVENT_ITEM>();
  auto* part = builder.Take<T>();
  *part = data;
  *item = PDU_EVENT_ITEM{type, head.cop, head.tag, head.timestamp, part};
  return builder.Finish();
}

}  // namespace

ItemPtr MakeStatusItem(const EventHead& head, T_PDU_STATUS status) {
  return MakeEvent(PDU_IT_STATUS, head, status);
}

ItemPtr MakeErrorItem(const EventHead& head, T_PDU_ERR_EVT code, UNUM32 extra) {
  return MakeEvent(PDU_IT_ERROR, head, PDU_ERROR_DATA{code, extra});
}

ItemPtr MakeInfoItem(UNUM32 timestamp, T_PDU_INFO code, UNUM32 extra) {
  return MakeEvent(PDU_IT_INFO, EventHead{PDU_HANDLE_UNDEF, nullptr, timestamp},
                   PDU_INFO_DATA{code, extra});
}

ItemPtr MakeResultItem(const EventHead& head, const ResultInfo& info, std::span<const UNUM8> data,
                       std::size_t capacity) {
  capacity = std::max(capacity, data.size());
  ItemBuilder builder;
  builder.Need<PDU_EVENT_ITEM>().Need<PDU_RESULT_DATA>();
  if (!info.header.empty()) builder.Need<PDU_EXTRA_INFO>();
  builder.Need<UNUM8>(info.rxFlags.size() + info.header.size() + capacity).Make();
  auto* item = builder.Take<PDU_EVENT_ITEM>();
  auto* result = builder.Take<PDU_RESULT_DATA>();
  if (!info.header.empty()) result->pExtraInfo = builder.Take<PDU_EXTRA_INFO>();
  auto* bytes = builder.Take<UNUM8>(info.rxFlags.size() + info.header.size() + capacity);

  *item = PDU_EVENT_ITEM{PDU_IT_RESULT, head.cop, head.tag, head.timestamp, result};
  result->RxFlag = {static_cast<UNUM32>(info.rxFlags.size()), bytes};
  bytes = std::copy(info.rxFlags.begin(), info.rxFlags.end(), bytes);
  result->UniqueRespIdentifier = info.uniqueRespId;
  result->AcceptanceId = info.acceptanceId;
  result->TxMsgDoneTimestamp = info.txDoneTimestamp;
  result->StartMsgTimestamp = info.startTimestamp;
  if (result->pExtraInfo != nullptr) {
    *result->pExtraInfo = {static_cast<UNUM32>(info.header.size()), 0, bytes, nullptr};
    bytes = std::copy(info.header.begin(), info.header.end(), bytes);
  }
  result->NumDataBytes = static_cast<UNUM32>(data.size());
  result->pDataBytes = capacity == 0 ? nullptr : bytes;
  std::copy(data.begin(), data.end(), bytes);
  return builder.Finish();
}

ItemPtr MakeUnum32Item(UNUM32 value) {
  ItemBuilder builder;
  builder.Need<PDU_DATA_ITEM>().Need<UNUM32>().Make();
  auto* item = builder.Take<PDU_DATA_ITEM>();
  auto* part = builder.Take<UNUM32>();
  *part = value;
  *item = PDU_DATA_ITEM{PDU_IT_IO_UNUM32, part};
  return builder.Finish();
}

std::size_t ItemStore::Shard::Home(const PDU_ITEM* item) const {
  const auto bits =
      static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(item)) * 0x9E3779B97F4A7C15ull;
  return static_cast<std::size_t>(bits >> 32) & (slots_.size() - 1);
}

void ItemStore::Shard::Grow() {
  std::vector<PDU_ITEM*> old(std::max<std::size_t>(16, slots_.size() * 2), nullptr);
  old.swap(slots_);
  count_ = 0;
  for (PDU_ITEM* item : old) {
    if (item != nullptr) Insert(item);
  }
}

void ItemStore::Shard::Insert(PDU_ITEM* item) {
  if ((count_ + 1) * 2 > slots_.size()) Grow();
  std::size_t slot = Home(item);
  while (slots_[slot] != nullptr) slot = (slot + 1) & (slots_.size() - 1);
  slots_[slot] = item;
  ++count_;
}

bool ItemStore::Shard::Erase(PDU_ITEM* item) {
  if (count_ == 0) return false;
  const std::size_t mask = slots_.size() - 1;
  std::size_t slot = Home(item);
  while (slots_[slot] != item) {
    if (slots_[slot] == nullptr) return false;
    slot = (slot + 1) & mask;
  }
  --count_;
  // Close the gap: entries behind it move up unless that would put them before their home.
  for (std::size_t next = (slot + 1) & mask; slots_[next] != nullptr; next = (next + 1) & mask) {
    if (((next - Home(slots_[next])) & mask) < ((next - slot) & mask)) continue;
    slots_[slot] = slots_[next];
    slot = next;
  }
  slots_[slot] = nullptr;
  return true;
}

std::vector<PDU_ITEM*> ItemStore::Shard::Clear() {
  std::vector<PDU_ITEM*> items;
  items.swap(slots_);
  count_ = 0;
  std::erase(items, nullptr);
  return items;
}

ItemStore::Shard& ItemStore::ShardOf(const PDU_ITEM* item) {
  return shards_[(reinterpret_cast<std::uintptr_t>(item) >> 6) % shards_.size()];
}

ItemStore::~ItemStore() { TakeAllBack(); }

PDU_ITEM* ItemStore::HandOut(ItemPtr item) {
  Shard& shard = ShardOf(item.get());
  MutexLock lock(shard.lock);
  shard.Insert(item.get());
  return item.release();
}

ItemPtr ItemStore::TakeBack(PDU_ITEM* item) {
  if (item == nullptr) return nullptr;
  Shard& shard = ShardOf(item);
  MutexLock lock(shard.lock);
  return shard.Erase(item) ? ItemPtr(item) : nullptr;
}

std::size_t ItemStore::TakeAllBack() {
  std::size_t count = 0;
  for (Shard& shard : shards_) {
    MutexLock lock(shard.lock);
    for (PDU_ITEM* item : shard.Clear()) {
      const ItemPtr owner(item);
      ++count;
    }
  }
  return count;
}

}  // namespace virtual_vci
