#include "virtual_vci/items/item_store.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "virtual_vci/items/item_ledger.h"

namespace virtual_vci {

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

ItemStore::~ItemStore() { DestroyAll(); }

PDU_ITEM* ItemStore::HandOut(ItemPtr item) {
  TheItemLedger().HandedOut(item->ItemType);
  Shard& shard = ShardOf(item.get());
  MutexLock lock(shard.lock);
  shard.Insert(item.get());
  return item.release();
}

bool ItemStore::Destroy(PDU_ITEM* item) {
  Shard& shard = ShardOf(item);
  {
    MutexLock lock(shard.lock);
    if (item == nullptr || !shard.Erase(item)) {
      TheItemLedger().BadDestroy();
      return false;
    }
  }
  const ItemPtr owner(item);
  TheItemLedger().Destroyed(owner->ItemType);
  return true;
}

void ItemStore::DestroyAll() {
  for (Shard& shard : shards_) {
    MutexLock lock(shard.lock);
    const std::vector<PDU_ITEM*> left = shard.Clear();
    for (PDU_ITEM* item : left) ItemDeleter()(item);
    TheItemLedger().LeftAtDestruct(left.size());
  }
}

}  // namespace virtual_vci
