/// \file
/// Items: the memory that goes to the application and comes back with PDUDestroyItem.
///
/// Every item is one allocation: a head of our own, the item, everything that it points to.
#ifndef VIRTUAL_VCI_ITEMS_ITEMS_H_
#define VIRTUAL_VCI_ITEMS_ITEMS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "passbridge/d_pdu_api.h"

namespace virtual_vci {

struct ItemDeleter {
  void operator()(PDU_ITEM* item) const;
};
/// An item that the library itself still owns.
using ItemPtr = std::unique_ptr<PDU_ITEM, ItemDeleter>;

/// Lays structures and arrays out one after the other behind an item. Two passes: `Need` for each
/// part, then `Make` and `Take` for the same parts in the same order. Memory is zeroed.
class ItemBuilder {
 public:
  template <typename T>
  ItemBuilder& Need(std::size_t count = 1) {
    size_ = Aligned(size_, alignof(T)) + sizeof(T) * count;
    return *this;
  }
  /// Allocates; throws std::bad_alloc.
  void Make();
  /// The next part; the first one taken is the item itself.
  template <typename T>
  T* Take(std::size_t count = 1) {
    used_ = Aligned(used_, alignof(T));
    T* part = reinterpret_cast<T*>(memory_ + used_);
    used_ += sizeof(T) * count;
    return count == 0 ? nullptr : part;
  }
  ItemPtr Finish();

 private:
  static std::size_t Aligned(std::size_t offset, std::size_t alignment) {
    return (offset + alignment - 1) / alignment * alignment;
  }
  std::size_t size_ = 0;
  std::size_t used_ = 0;
  ItemPtr owner_;
  std::byte* memory_ = nullptr;
};

/// What an event item says about the ComPrimitive that it belongs to.
struct EventHead {
  UNUM32 cop = PDU_HANDLE_UNDEF;
  void* tag = nullptr;
  UNUM32 timestamp = 0;
};

struct ResultInfo {
  std::array<UNUM8, 4> rxFlags{};
  UNUM32 uniqueRespId = PDU_ID_UNDEF;
  UNUM32 acceptanceId = 0;
  UNUM32 txDoneTimestamp = 0;
  UNUM32 startTimestamp = 0;
  /// Goes into the extra information, which is absent if this is empty,
  std::span<const UNUM8> header;
  bool emptyHeader = false;  ///< unless it is to be there all the same
};

ItemPtr MakeStatusItem(const EventHead& head, T_PDU_STATUS status);
ItemPtr MakeErrorItem(const EventHead& head, T_PDU_ERR_EVT code, UNUM32 extra);
ItemPtr MakeInfoItem(UNUM32 timestamp, T_PDU_INFO code, UNUM32 extra);
/// `capacity` at least `data.size()`: room behind the data, for records that are appended later.
ItemPtr MakeResultItem(const EventHead& head, const ResultInfo& info, std::span<const UNUM8> data,
                       std::size_t capacity = 0);
ItemPtr MakeUnum32Item(UNUM32 value);

/// What an I/O control was given, or null if that is something else.
template <typename T>
const T* DataOf(const PDU_DATA_ITEM* item, T_PDU_IT type) {
  return item != nullptr && item->ItemType == type ? static_cast<const T*>(item->pData) : nullptr;
}

inline PDU_EVENT_ITEM& AsEvent(const ItemPtr& item) {
  return *reinterpret_cast<PDU_EVENT_ITEM*>(item.get());
}
inline PDU_RESULT_DATA& ResultOf(const ItemPtr& item) {
  return *static_cast<PDU_RESULT_DATA*>(AsEvent(item).pData);
}

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_ITEMS_ITEMS_H_
