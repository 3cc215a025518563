/// \file
/// What the links on one bus have to do with each other.
#ifndef VIRTUAL_VCI_LINKS_BUS_ACCESS_H_
#define VIRTUAL_VCI_LINKS_BUS_ACCESS_H_

#include <vector>

#include "passbridge/d_pdu_api.h"
#include "virtual_vci/items/event_port.h"

namespace virtual_vci {

/// The links on a bus, and who of them has locked what. Guarded by the module's lock.
class BusAccess {
 public:
  struct Member {
    UNUM32 link;
    UNUM32 resourceId;
    EventPort* events;
  };

  void Join(Member member) { members_.push_back(member); }
  /// Takes the link's locks back.
  void Leave(UNUM32 link, UNUM32 timestamp);
  /// `mask` of PDU_LOCK_…; results as PDULockResource and PDUUnlockResource have them.
  T_PDU_ERROR Lock(UNUM32 link, UNUM32 mask, UNUM32 timestamp);
  T_PDU_ERROR Unlock(UNUM32 link, UNUM32 mask, UNUM32 timestamp);
  /// Whether another link has locked this, one bit of PDU_LOCK_….
  bool IsLockedFor(UNUM32 link, UNUM32 bit) const;
  /// PDU_RSC_STATUS_… of a resource on this bus.
  UNUM32 StatusOf(UNUM32 resourceId) const;
  /// An info item about the link's resource for all others.
  void TellOthers(UNUM32 link, T_PDU_INFO info, UNUM32 timestamp);

 private:
  struct Owned {
    UNUM32 bit;        ///< PDU_LOCK_…
    UNUM32 statusBit;  ///< PDU_RSC_STATUS_…
    UNUM32 owner;      ///< link; 0: nobody
  };

  std::vector<Member> members_;
  std::vector<Owned> locks_{{PDU_LOCK_COMPARAMS, PDU_RSC_STATUS_COMPARAMS_LOCKED, 0},
                            {PDU_LOCK_TRANSMIT, PDU_RSC_STATUS_TRANSMIT_LOCKED, 0}};
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LINKS_BUS_ACCESS_H_
