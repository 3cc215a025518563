/// \file
/// The items that are with the application.
#ifndef VIRTUAL_VCI_ITEMS_ITEM_STORE_H_
#define VIRTUAL_VCI_ITEMS_ITEM_STORE_H_

#include <array>
#include <cstddef>
#include <vector>

#include "virtual_vci/base/sync.h"
#include "virtual_vci/items/items.h"

namespace virtual_vci {

/// The items that applications hold. Knows a good pointer from a bad one without reading through
/// it; keeps the ledger. Synchronised by itself; any thread.
class ItemStore {
 public:
  ~ItemStore();
  ItemStore() = default;
  ItemStore(const ItemStore&) = delete;
  ItemStore& operator=(const ItemStore&) = delete;

  /// The application owns the item from here on.
  PDU_ITEM* HandOut(ItemPtr item);
  /// The item comes back and is destroyed; false if the application never had it or gave it back
  /// before.
  bool Destroy(PDU_ITEM* item);
  /// Takes everything back that is still out.
  void DestroyAll();

 private:
  /// Open addressing with linear probing; grows, never shrinks.
  class Shard {
   public:
    void Insert(PDU_ITEM* item);
    bool Erase(PDU_ITEM* item);
    std::vector<PDU_ITEM*> Clear();

    Mutex lock;

   private:
    std::size_t Home(const PDU_ITEM* item) const;
    void Grow();
    std::vector<PDU_ITEM*> slots_;
    std::size_t count_ = 0;
  };
  Shard& ShardOf(const PDU_ITEM* item);

  std::array<Shard, 16> shards_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_ITEMS_ITEM_STORE_H_
