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

Link::Link(UNUM32 handle, Resource resource, const LinkOptions& options, Scheduler& scheduler,
           EventPort events, LinkObserver& observer)
    : handle_(handle),
      resource_(std::move(resource)),
      options_(options),
      scheduler_(scheduler),
      events_(std::move(events)),
      observer_(observer),
      cops_(scheduler_, events_, *this) {
  for (const ComParamDefault& each : resource_.kind->defaults)
    working_.SetNumber(each.id, each.value);
  active_ = working_;
  protocol_ = resource_.kind->make({scheduler_, cops_, events_, filters_, activeResponses_,
                                    options_.packing, options_.passWithoutFilter});
  cops_.SetProtocol(protocol_.get());
}

Link::~Link() = default;

void Link::SetStatus(T_PDU_STATUS status) {
  status_ = status;
  events_.Push(
      MakeStatusItem({PDU_HANDLE_UNDEF, nullptr, static_cast<UNUM32>(scheduler_.Now())}, status));
}

void Link::Connect(CanBus& bus) {
  active_ = working_;
  activeResponses_ = workingResponses_;
  protocol_->GoOnline(bus, active_);
  SetStatus(PDU_CLLST_ONLINE);
}

void Link::Disconnect() {
  if (status_ == PDU_CLLST_OFFLINE) return;
  cops_.CancelAll();
  protocol_->GoOffline();
  SetStatus(PDU_CLLST_OFFLINE);
}

void Link::Reset() {
  cops_.CancelAll();
  filters_.Clear();
  events_.Queue().DropAll();
}

T_PDU_ERROR Link::CheckStart(const Cop& cop, bool temporary) const {
  if (status_ == PDU_CLLST_OFFLINE) return PDU_ERR_CLL_NOT_CONNECTED;
  const bool started = status_ == PDU_CLLST_COMM_STARTED;
  if (cop.type == PDU_COPT_STOPCOMM && !started) return PDU_ERR_CLL_NOT_STARTED;
  if (temporary && (cop.type != PDU_COPT_SENDRECV || !SamePhysicalParams(working_, active_))) {
    return PDU_ERR_TEMPPARAM_NOT_ALLOWED;
  }
  if (!cop.Sends() || cop.data.empty()) return PDU_STATUS_NOERROR;
  // A link in raw mode leaves it to the application whether there is anything to start.
  if (cop.type == PDU_COPT_SENDRECV && !started && !options_.rawMode)
    return PDU_ERR_CLL_NOT_STARTED;
  return protocol_->Check(cop);
}

T_PDU_ERROR Link::StartCop(std::unique_ptr<Cop> cop, bool temporary) {
  if (const T_PDU_ERROR error = CheckStart(*cop, temporary)) return error;
  if (cop->type == PDU_COPT_UPDATEPARAM || temporary)
    cop->params = std::make_shared<const ComParamSet>(working_);
  if (temporary) working_ = active_;
  cops_.Start(std::move(cop));
  return PDU_STATUS_NOERROR;
}

void Link::StartCommunication() {
  if (status_ == PDU_CLLST_ONLINE) SetStatus(PDU_CLLST_COMM_STARTED);
}

void Link::StopCommunication() {
  if (status_ == PDU_CLLST_COMM_STARTED) SetStatus(PDU_CLLST_ONLINE);
}

void Link::ActivateParams(const ComParamSet& params) {
  const bool physical = !SamePhysicalParams(active_, params);
  active_ = params;
  activeResponses_ = workingResponses_;
  protocol_->ParamsChanged(active_);
  if (physical) observer_.PhysicalParamsChanged(handle_);
}

void Link::RestoreParams() {
  working_ = active_;
  workingResponses_ = activeResponses_;
}

void Link::NoteError(T_PDU_ERR_EVT code, UNUM32 extra, UNUM32 cop, UNUM32 timestamp) {
  lastError_ = {code, cop, timestamp, extra};
}

}  // namespace virtual_vci
