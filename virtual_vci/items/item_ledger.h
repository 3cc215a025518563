/// \file
/// How many items were handed out and came back, for the control interface.
#ifndef VIRTUAL_VCI_ITEMS_ITEM_LEDGER_H_
#define VIRTUAL_VCI_ITEMS_ITEM_LEDGER_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include "passbridge/d_pdu_api.h"
#include "virtual_vci/control.h"

namespace virtual_vci {

/// Belongs to the loaded library rather than to a construction. Any thread; no locks.
class ItemLedger {
 public:
  void HandedOut(T_PDU_IT type);
  void Destroyed(T_PDU_IT type);
  void LeftAtDestruct(std::size_t count) { left_ += count; }
  void BadDestroy() { ++badDestroys_; }
  void EventItemLost() { ++lost_; }
  VVCI_LEDGER Copy() const;
  void Reset();

 private:
  std::array<std::atomic<std::uint64_t>, VVCI_ITEM_KINDS> handedOut_{};
  std::array<std::atomic<std::uint64_t>, VVCI_ITEM_KINDS> destroyed_{};
  std::atomic<std::uint64_t> left_ = 0;
  std::atomic<std::uint64_t> badDestroys_ = 0;
  std::atomic<std::uint64_t> lost_ = 0;
};

/// Needs no construction and no destruction: it works while the process ends.
ItemLedger& TheItemLedger();

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_ITEMS_ITEM_LEDGER_H_
