#include "virtual_vci/links/bus_access.h"

#include <algorithm>

namespace virtual_vci {

namespace {

constexpr UNUM32 kLockBits = PDU_LOCK_COMPARAMS | PDU_LOCK_TRANSMIT;

bool IsLockMask(UNUM32 mask) { return mask != 0 && (mask & ~kLockBits) == 0; }

}  // namespace

T_PDU_ERROR BusAccess::Lock(UNUM32 link, UNUM32 mask, UNUM32 timestamp) {
  if (!IsLockMask(mask)) return PDU_ERR_INVALID_PARAMETERS;
  for (const Owned& lock : locks_) {
    if ((mask & lock.bit) != 0 && lock.owner != 0 && lock.owner != link)
      return PDU_ERR_RSC_LOCKED_BY_OTHER_CLL;
  }
  for (Owned& lock : locks_) {
    if ((mask & lock.bit) != 0) lock.owner = link;
  }
  TellOthers(link, PDU_INFO_RSC_LOCK_CHG, timestamp);
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR BusAccess::Unlock(UNUM32 link, UNUM32 mask, UNUM32 timestamp) {
  if (!IsLockMask(mask)) return PDU_ERR_INVALID_PARAMETERS;
  for (const Owned& lock : locks_) {
    if ((mask & lock.bit) == 0 || lock.owner == link) continue;
    return lock.owner == 0 ? PDU_ERR_RSC_NOT_LOCKED : PDU_ERR_RSC_LOCKED_BY_OTHER_CLL;
  }
  for (Owned& lock : locks_) {
    if ((mask & lock.bit) != 0) lock.owner = 0;
  }
  TellOthers(link, PDU_INFO_RSC_LOCK_CHG, timestamp);
  return PDU_STATUS_NOERROR;
}

void BusAccess::Leave(UNUM32 link, UNUM32 timestamp) {
  bool locked = false;
  for (Owned& lock : locks_) {
    if (lock.owner != link) continue;
    lock.owner = 0;
    locked = true;
  }
  if (locked) TellOthers(link, PDU_INFO_RSC_LOCK_CHG, timestamp);
  std::erase_if(members_, [&](const Member& member) { return member.link == link; });
}

bool BusAccess::IsLockedFor(UNUM32 link, UNUM32 bit) const {
  return std::any_of(locks_.begin(), locks_.end(), [&](const Owned& lock) {
    return lock.bit == bit && lock.owner != 0 && lock.owner != link;
  });
}

UNUM32 BusAccess::StatusOf(UNUM32 resourceId) const {
  UNUM32 status = 0;
  for (const Member& member : members_) {
    if (member.resourceId == resourceId) status |= PDU_RSC_STATUS_IN_USE;
  }
  for (const Owned& lock : locks_) {
    if (lock.owner != 0) status |= lock.statusBit;
  }
  return status;
}

void BusAccess::TellOthers(UNUM32 link, T_PDU_INFO info, UNUM32 timestamp) {
  const auto self = std::find_if(members_.begin(), members_.end(),
                                 [&](const Member& member) { return member.link == link; });
  for (const Member& member : members_) {
    if (member.link != link) member.events->Push(MakeInfoItem(timestamp, info, self->resourceId));
  }
}

}  // namespace virtual_vci
