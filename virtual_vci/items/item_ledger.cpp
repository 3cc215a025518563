#include "virtual_vci/items/item_ledger.h"

namespace virtual_vci {

namespace {

std::size_t KindOf(T_PDU_IT type) {
  switch (type) {
    case PDU_IT_RESULT:
      return VVCI_ITEM_RESULT;
    case PDU_IT_STATUS:
      return VVCI_ITEM_STATUS;
    case PDU_IT_ERROR:
      return VVCI_ITEM_ERROR;
    case PDU_IT_INFO:
      return VVCI_ITEM_INFO;
    case PDU_IT_PARAM:
      return VVCI_ITEM_COMPARAM;
    default:
      return type < PDU_IT_RSC_STATUS ? VVCI_ITEM_IOCTL : VVCI_ITEM_LIST;
  }
}

constinit ItemLedger theLedger;

}  // namespace

ItemLedger& TheItemLedger() { return theLedger; }

void ItemLedger::HandedOut(T_PDU_IT type) {
  handedOut_[KindOf(type)].fetch_add(1, std::memory_order_relaxed);
}

void ItemLedger::Destroyed(T_PDU_IT type) {
  destroyed_[KindOf(type)].fetch_add(1, std::memory_order_relaxed);
}

VVCI_LEDGER ItemLedger::Copy() const {
  VVCI_LEDGER ledger{};
  for (std::size_t kind = 0; kind < VVCI_ITEM_KINDS; ++kind) {
    ledger.HandedOut[kind] = handedOut_[kind];
    ledger.Destroyed[kind] = destroyed_[kind];
  }
  ledger.LeftAtDestruct = left_;
  ledger.BadDestroys = badDestroys_;
  ledger.EventItemsLost = lost_;
  return ledger;
}

void ItemLedger::Reset() {
  for (auto& count : handedOut_) count = 0;
  for (auto& count : destroyed_) count = 0;
  left_ = badDestroys_ = lost_ = 0;
}

}  // namespace virtual_vci
