#include "virtual_vci/links/link.h"

#include <utility>

namespace virtual_vci {

namespace {

bool SamePhysicalParams(const ComParamSet& one, const ComParamSet& other) {
  for (UNUM32 id = 1; id <= kComParamCount; ++id) {
    if (ComParamOf(id)->paramClass == PDU_PC_BUSTYPE && !(one.Value(id) == other.Value(id)))
      return false;
  }
  return true;
}

}  // namespace

Link::Link(UNUM32 handle, Resource resource, const LinkOptions& options, const LinkSite& site,
           EventPort events)
    : handle_(handle),
      resource_(std::move(resource)),
      options_(options),
      site_(site),
      events_(std::move(events)),
      cops_(site_.scheduler, events_, *this) {
  for (const ComParamDefault& each : resource_.kind->defaults)
    working_.SetNumber(each.id, each.value);
  active_ = working_;
  protocol_ =
      resource_.kind->makeProtocol({site_.scheduler, cops_, events_, filters_, activeResponses_,
                                    options_.rawMode, options_.packing, options_.passWithoutFilter},
                                   site_.bus);
  cops_.SetProtocol(protocol_.get());
  site_.access.Join({handle_, resource_.id, &events_});
}

Link::~Link() { site_.access.Leave(handle_, Timestamp()); }

T_PDU_ERROR Link::GetStatus(UNUM32 cop, T_PDU_STATUS& status) const {
  if (cop == PDU_HANDLE_UNDEF) {
    status = status_;
    return PDU_STATUS_NOERROR;
  }
  const auto copStatus = cops_.Status(cop);
  if (!copStatus) return PDU_ERR_INVALID_HANDLE;
  status = *copStatus;
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Link::GetComParam(UNUM32 id, ItemPtr& out) const {
  if (ComParamOf(id) == nullptr) return PDU_ERR_COMPARAM_NOT_SUPPORTED;
  out = working_.MakeItem(id);
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Link::SetComParam(const PDU_PARAM_ITEM& item) {
  const ComParamInfo* info = ComParamOf(item.ComParamId);
  if (info == nullptr) return PDU_ERR_COMPARAM_NOT_SUPPORTED;
  if (info->paramClass == PDU_PC_BUSTYPE && site_.access.IsLockedFor(handle_, PDU_LOCK_COMPARAMS))
    return PDU_ERR_COMPARAM_LOCKED;
  return working_.Set(item);
}

void Link::SetStatus(T_PDU_STATUS status) {
  status_ = status;
  events_.Push(MakeStatusItem({PDU_HANDLE_UNDEF, nullptr, Timestamp()}, status));
}

T_PDU_ERROR Link::Connect() {
  if (IsOnline()) return PDU_ERR_CLL_CONNECTED;
  active_ = working_;
  activeResponses_ = workingResponses_;
  protocol_->GoOnline(active_);
  SetStatus(PDU_CLLST_ONLINE);
  site_.flood.Refill();
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Link::Disconnect() {
  if (!IsOnline()) return PDU_ERR_CLL_NOT_CONNECTED;
  GoOffline();
  return PDU_STATUS_NOERROR;
}

void Link::GoOffline() {
  if (!IsOnline()) return;
  cops_.CancelAll();
  protocol_->GoOffline();
  SetStatus(PDU_CLLST_OFFLINE);
}

void Link::Reset() {
  filters_.Clear();
  events_.Queue().DropAll();
  cops_.CancelAll();  // its status items are news
}

T_PDU_ERROR Link::CheckStart(const Cop& cop, bool temporary) const {
  if (cop.SendsData() && site_.access.IsLockedFor(handle_, PDU_LOCK_TRANSMIT))
    return PDU_ERR_RSC_LOCKED;
  if (status_ == PDU_CLLST_OFFLINE) return PDU_ERR_CLL_NOT_CONNECTED;
  const bool started = status_ == PDU_CLLST_COMM_STARTED;
  if (cop.type == PDU_COPT_STOPCOMM && !started) return PDU_ERR_CLL_NOT_STARTED;
  if (temporary && (cop.type != PDU_COPT_SENDRECV || !SamePhysicalParams(working_, active_))) {
    return PDU_ERR_TEMPPARAM_NOT_ALLOWED;
  }
  if (!cop.SendsData()) return PDU_STATUS_NOERROR;
  // A link in raw mode leaves it to the application whether there is anything to start.
  if (cop.type == PDU_COPT_SENDRECV && !started && !options_.rawMode)
    return PDU_ERR_CLL_NOT_STARTED;
  return protocol_->Check(cop);
}

T_PDU_ERROR Link::StartCop(std::unique_ptr<Cop> cop, bool temporary) {
  const T_PDU_ERROR error = CheckStart(*cop, temporary);
  if (error == PDU_STATUS_NOERROR) {
    if (cop->type == PDU_COPT_UPDATEPARAM || temporary)
      cop->params = std::make_shared<const ComParamSet>(working_);
    if (cop->type == PDU_COPT_UPDATEPARAM)
      cop->responses = std::make_shared<const UniqueRespTable>(workingResponses_);
    if (temporary) working_ = active_;
    cops_.Start(std::move(cop));
  }
  site_.flood.Refill();
  return error;
}

T_PDU_ERROR Link::CancelCop(UNUM32 cop) {
  return cops_.Cancel(cop) ? PDU_STATUS_NOERROR : PDU_ERR_INVALID_HANDLE;
}

void Link::CommunicationStarted() {
  if (status_ == PDU_CLLST_ONLINE) SetStatus(PDU_CLLST_COMM_STARTED);
}

void Link::CommunicationStopped() {
  if (status_ == PDU_CLLST_COMM_STARTED) SetStatus(PDU_CLLST_ONLINE);
}

void Link::ActivateParams(const Cop& update) {
  const bool physical = !SamePhysicalParams(active_, *update.params);
  active_ = *update.params;
  activeResponses_ = *update.responses;
  protocol_->ParamsChanged(active_);
  if (physical) site_.access.TellOthers(handle_, PDU_INFO_PHYS_COMPARAM_CHG, Timestamp());
}

void Link::RestoreParams() {
  working_ = active_;
  workingResponses_ = activeResponses_;
}

void Link::ChangeParams(std::span<const ComParamDefault> values) {
  for (const ComParamDefault& each : values) {
    working_.SetNumber(each.id, each.value);
    active_.SetNumber(each.id, each.value);
  }
  protocol_->ParamsChanged(active_);
  site_.access.TellOthers(handle_, PDU_INFO_PHYS_COMPARAM_CHG, Timestamp());
}

void Link::NoteError(T_PDU_ERR_EVT code, UNUM32 extra, UNUM32 cop, UNUM32 timestamp) {
  lastError_ = {code, cop, timestamp, extra};
}

}  // namespace virtual_vci
