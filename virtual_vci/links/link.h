/// \file
/// A ComLogicalLink.
#ifndef VIRTUAL_VCI_LINKS_LINK_H_
#define VIRTUAL_VCI_LINKS_LINK_H_

#include <memory>
#include <optional>
#include <vector>

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

/// Told about what a link does that concerns other links. Guarded by the module's lock.
class LinkObserver {
 public:
  virtual ~LinkObserver() = default;
  virtual void PhysicalParamsChanged(UNUM32 link) = 0;
};

struct LinkOptions {
  bool rawMode = false;
  bool packing = true;
  bool passWithoutFilter = false;
};

/// Guarded by the module's lock, but for its event queue.
class Link : private CopTarget {
 public:
  Link(UNUM32 handle, Resource resource, const LinkOptions& options, Scheduler& scheduler,
       EventPort events, LinkObserver& observer);
  ~Link() override;

  UNUM32 Handle() const { return handle_; }
  const Resource& On() const { return resource_; }
  EventPort& Events() { return events_; }
  T_PDU_STATUS Status() const { return status_; }
  const LastError& Error() const { return lastError_; }
  std::optional<T_PDU_STATUS> CopStatus(UNUM32 cop) const { return cops_.Status(cop); }

  /// The working ComParams and response table become active.
  void Connect(CanBus& bus);
  /// Everything that runs is cancelled.
  void Disconnect();

  ItemPtr GetComParam(UNUM32 id) const { return working_.MakeItem(id); }
  T_PDU_ERROR SetComParam(const PDU_PARAM_ITEM& item) { return working_.Set(item); }
  ItemPtr GetUniqueRespIdTable() const { return workingResponses_.MakeItem(); }
  T_PDU_ERROR SetUniqueRespIdTable(const PDU_UNIQUE_RESP_ID_TABLE_ITEM& item) {
    return workingResponses_.Set(item);
  }

  /// `cop` as ReadCop made it. The link must be online. `temporary`: with the working ComParams,
  /// which are restored.
  T_PDU_ERROR StartCop(std::unique_ptr<Cop> cop, bool temporary);
  bool CancelCop(UNUM32 cop) { return cops_.Cancel(cop); }
  CopEngine& Cops() { return cops_; }
  FilterList& Filters() { return filters_; }
  /// Cancels everything, drops what waits in the event queue, forgets the filters; stays online.
  void Reset();

 private:
  void StartCommunication() override;
  void StopCommunication() override;
  void ActivateParams(const ComParamSet& params) override;
  void RestoreParams() override;
  const ComParamSet& ActiveParams() const override { return active_; }
  void NoteError(T_PDU_ERR_EVT code, UNUM32 extra, UNUM32 cop, UNUM32 timestamp) override;
  T_PDU_ERROR CheckStart(const Cop& cop, bool temporary) const;
  void SetStatus(T_PDU_STATUS status);

  const UNUM32 handle_;
  const Resource resource_;
  const LinkOptions options_;
  Scheduler& scheduler_;
  EventPort events_;
  LinkObserver& observer_;

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
