/// \file
/// A ComLogicalLink.
#ifndef VIRTUAL_VCI_LINKS_LINK_H_
#define VIRTUAL_VCI_LINKS_LINK_H_

#include <memory>

#include "virtual_vci/links/bus_access.h"
#include "virtual_vci/links/cop_engine.h"
#include "virtual_vci/links/filters.h"
#include "virtual_vci/links/protocol.h"
#include "virtual_vci/links/resource.h"
#include "virtual_vci/links/unique_resp.h"

namespace virtual_vci {

/// The last error of a link or of a module, as PDUGetLastError tells it.
struct LastError {
  T_PDU_ERR_EVT code = PDU_ERR_EVT_NOERROR;
  UNUM32 cop = PDU_HANDLE_UNDEF;
  UNUM32 timestamp = 0;
  UNUM32 extra = 0;
};

struct LinkOptions {
  bool rawMode = false;
  bool packing = true;
  bool passWithoutFilter = false;
};

/// Where a link is. All of it outlives the link.
struct LinkSite {
  Bus& bus;
  BusAccess& access;
  Scheduler& scheduler;
  FloodGate& flood;
};

/// Guarded by the module's lock, but for its event queue. Results are those of the functions of the
/// D-PDU API.
class Link : private CopTarget {
 public:
  Link(UNUM32 handle, Resource resource, const LinkOptions& options, const LinkSite& site,
       EventPort events);
  ~Link() override;
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  const Resource& On() const { return resource_; }
  EventPort& Events() { return events_; }
  const LastError& Error() const { return lastError_; }
  /// Of the link or, unless it is PDU_HANDLE_UNDEF, of one of its ComPrimitives.
  T_PDU_ERROR GetStatus(UNUM32 cop, T_PDU_STATUS& status) const;
  bool IsOnline() const { return status_ != PDU_CLLST_OFFLINE; }
  UNUM32 Timestamp() const { return static_cast<UNUM32>(site_.scheduler.Now()); }

  /// The working ComParams and response table become active.
  T_PDU_ERROR Connect();
  T_PDU_ERROR Disconnect();
  /// Goes offline if it is online: everything that runs is cancelled.
  void GoOffline();

  T_PDU_ERROR Lock(UNUM32 mask) { return site_.access.Lock(handle_, mask, Timestamp()); }
  T_PDU_ERROR Unlock(UNUM32 mask) { return site_.access.Unlock(handle_, mask, Timestamp()); }
  T_PDU_ERROR GetComParam(UNUM32 id, ItemPtr& out) const;
  T_PDU_ERROR SetComParam(const PDU_PARAM_ITEM& item);
  ItemPtr GetUniqueRespIdTable() const { return workingResponses_.MakeItem(); }
  T_PDU_ERROR SetUniqueRespIdTable(const PDU_UNIQUE_RESP_ID_TABLE_ITEM& item) {
    return workingResponses_.Set(item);
  }

  /// `cop` as ReadCop made it. The link must be online. `temporary`: with the working ComParams,
  /// which are restored.
  T_PDU_ERROR StartCop(std::unique_ptr<Cop> cop, bool temporary);
  T_PDU_ERROR CancelCop(UNUM32 cop);
  T_PDU_ERROR IoControl(IoCtl command, const PDU_DATA_ITEM* input, ItemPtr& output);
  /// Cancels everything, forgets the filters and what waits in the event queue; stays online.
  void Reset();

 private:
  // CopTarget
  void CommunicationStarted() override;
  void CommunicationStopped() override;
  void ActivateParams(const Cop& update) override;
  void RestoreParams() override;
  void ChangeParams(std::span<const ComParamDefault> values) override;
  const ComParamSet& ActiveParams() const override { return active_; }
  void NoteError(T_PDU_ERR_EVT code, UNUM32 extra, UNUM32 cop, UNUM32 timestamp) override;

  T_PDU_ERROR CheckStart(const Cop& cop, bool temporary) const;
  void SetStatus(T_PDU_STATUS status);

  const UNUM32 handle_;
  const Resource resource_;
  const LinkOptions options_;
  const LinkSite site_;
  EventPort events_;

  T_PDU_STATUS status_ = PDU_CLLST_OFFLINE;
  LastError lastError_;
  ComParamSet working_;
  ComParamSet active_;
  UniqueRespTable workingResponses_;
  UniqueRespTable activeResponses_;
  FilterList filters_;
  CopEngine cops_;
  std::unique_ptr<Protocol> protocol_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LINKS_LINK_H_
