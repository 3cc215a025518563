#include "channel/link.h"

#include <map>
#include <utility>

#include "pdu/result_map.h"
#include "platform/clock.h"
#include "platform/never_destroyed.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr pdu::ResultMap kCreateLinkResults{
    ERR_FAILED,
    {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
     {PDU_ERR_RESOURCE_BUSY, ERR_CHANNEL_IN_USE},
     {PDU_ERR_RESOURCE_ERROR, ERR_INVALID_PROTOCOL_ID},
     {PDU_ERR_INVALID_PARAMETERS, ERR_PIN_INVALID}}};

constexpr pdu::ResultMap kConnectLinkResults{
    ERR_FAILED,
    {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
     {PDU_ERR_INVALID_HANDLE, ERR_DEVICE_NOT_CONNECTED}}};

constexpr pdu::ResultMap kDisconnectLinkResults{
    ERR_FAILED,
    {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_CLL_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_INVALID_HANDLE, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID}}};

constexpr pdu::ResultMap kDestroyLinkResults{
    ERR_FAILED,
    {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
     {PDU_ERR_INVALID_HANDLE, ERR_INVALID_DEVICE_ID}}};

/// The links that a callback may speak of, by their tags.
struct LiveLinks {
  platform::Mutex lock;
  std::map<const void*, Link*> links GUARDED_BY(lock);
};

LiveLinks& TheLiveLinks() {
  static platform::NeverDestroyed<LiveLinks> live;
  return live.Get();
}

}  // namespace

Link::Link(EventSink& sink, void* tag) : sink_(sink), tag_(tag) {
  LiveLinks& live = TheLiveLinks();
  const platform::MutexLock lock(live.lock);
  live.links[tag] = this;
}

Link::~Link() {
  {
    LiveLinks& live = TheLiveLinks();
    const platform::MutexLock lock(live.lock);
    live.links.erase(tag_);
  }
  StopEvents();
}

Status Link::StartEventProcessor(const Exits& exit) {
  state_ = State::Connecting;
  auto processor = std::make_shared<CJ2534EventProcessor>();
  if (const Status status = processor->Initialize(&sink_)) {
    return exit.PassOn(9, status, "Error initializing Event Processor.");
  }
  platform::MutexLock lock(processorLock_);
  processor_ = std::move(processor);
  return STATUS_NOERROR;
}

Status Link::Create(const Exits& exit, PDU_RSC_DATA& resource, CllCreateFlags flags) {
  PDU_FLAG_DATA createFlags{static_cast<UNUM32>(flags.size()), flags.data()};
  UNUM32 cll = 0;
  const T_PDU_ERROR result = pdu::Api().PDUCreateComLogicalLink(module_, &resource, PDU_ID_UNDEF,
                                                                tag_, &cll, &createFlags);
  if (const Status status = kCreateLinkResults(result)) {
    return exit.Fail(5, status, "Error creating ComLogicalLink.", result);
  }
  cll_ = cll;
  hasLink_ = true;
  pdu::Api().PDURegisterEventCallback(module_, cll, PduEventCallback);
  if (const auto processor = Processor()) processor->Serve({module_, cll});
  return STATUS_NOERROR;
}

Status Link::Connect(const Exits& exit) {
  const T_PDU_ERROR result = pdu::Api().PDUConnect(module_, cll_);
  if (const Status status = kConnectLinkResults(result)) {
    return exit.Fail(7, status, "Error connecting to the vehicle.", result);
  }
  pduConnected_ = true;
  return STATUS_NOERROR;
}

bool Link::SetConnected() {
  State expected = State::Connecting;
  return state_.compare_exchange_strong(expected, State::Connected);
}

void Link::Abandon() {
  state_ = State::None;
  StopEvents();
  if (!hasLink_) return;
  if (pduConnected_) pdu::Api().PDUDisconnect(module_, cll_);
  pdu::Api().PDUDestroyComLogicalLink(module_, cll_);
  pduConnected_ = false;
  hasLink_ = false;
  cll_ = 0;
}

bool Link::BeginEnd() {
  State state = state_;
  while (state != State::Lost && !state_.compare_exchange_weak(state, State::Ending)) {
  }
  if (const auto processor = Processor()) processor->AbandonWaits();
  return state != State::Lost;
}

void Link::StopEvents() {
  StopProcessor();
  comParams_.Clear();
}

void Link::StopProcessor() {
  std::shared_ptr<CJ2534EventProcessor> processor;
  {
    platform::MutexLock lock(processorLock_);
    processor.swap(processor_);
  }
  if (processor != nullptr) processor->Stop();
}

Status Link::Destroy(const Exits& exit) {
  if (pduConnected_) {
    const T_PDU_ERROR result = pdu::Api().PDUDisconnect(module_, cll_);
    if (const Status status = kDisconnectLinkResults(result)) {
      return exit.Fail(3, status, "Error disconnecting from vehicle.", result);
    }
    pduConnected_ = false;
  }
  const T_PDU_ERROR result = pdu::Api().PDUDestroyComLogicalLink(module_, cll_);
  if (const Status status = kDestroyLinkResults(result)) {
    return exit.At(methods::channel::kDestroyLink).Fail(1, status, "Error destroying CLL.", result);
  }
  hasLink_ = false;
  cll_ = 0;
  return STATUS_NOERROR;
}

void Link::ReviveAfterFailedEnd() {
  State expected = State::Ending;
  state_.compare_exchange_strong(expected, State::Connected);
}

bool Link::Lose() {
  State state = state_;
  do {
    if (state != State::Connecting && state != State::Connected) return false;
  } while (!state_.compare_exchange_weak(state, State::Lost));
  comParams_.ClearUnlessInUse();
  if (const auto processor = Processor()) processor->AbandonWaits();
  return true;
}

Link::Sleeper Link::SignalEvents() {
  auto processor = Processor();
  platform::WakeUp* const wakeUp = processor != nullptr ? processor->Signal() : nullptr;
  return {std::move(processor), wakeUp};
}

std::shared_ptr<CJ2534EventProcessor> Link::Processor() const {
  platform::MutexLock lock(processorLock_);
  return processor_;
}

std::size_t Link::PendingTransmitCops() const {
  const auto processor = Processor();
  return processor != nullptr ? processor->GetPendingTxCopCount() : 0;
}

CopOutcome Link::StartCop(CopStart& start, UNUM32* hCop) {
  if (start.type == PDU_COPT_UPDATEPARAM) return StartUpdate(start, hCop);
  return start.control.temporary.empty() ? StartAsItIs(start, hCop)
                                         : StartWithTemporary(start, hCop);
}

CopOutcome Link::StartUpdate(CopStart& start, UNUM32* hCop) {
  const auto waiter = std::make_shared<CopWaiter>();
  start.waiter = waiter.get();
  {
    platform::MutexLock lock(updateLock_);
    updates_.push_back(waiter);  // which keeps it until it was told
  }
  const CopOutcome outcome = StartAsItIs(start, hCop);
  if (!outcome.isPending) waiter->event.End();
  return outcome;
}

std::shared_ptr<CopWaiter> Link::PendingUpdate() {
  platform::MutexLock lock(updateLock_);
  while (!updates_.empty() && updates_.front()->event.TimedWait(0)) updates_.pop_front();
  return updates_.empty() ? nullptr : updates_.back();
}

bool Link::WaitForUpdates(std::uint32_t milliseconds) {
  const auto pending = PendingUpdate();
  return pending == nullptr || !IsAlive() || Await(pending->event, milliseconds);
}

bool Link::Await(CJ2534Event& event, std::uint32_t milliseconds) {
  const auto processor = Processor();
  return processor != nullptr ? processor->Await(event, milliseconds)
                              : event.TimedWait(milliseconds);
}

void Link::ServeQueued() {
  if (const auto processor = Processor()) processor->ServeQueued();
}

CopOutcome Link::StartWithTemporary(CopStart& start, UNUM32* hCop) {
  const platform::Countdown patience(start.patience);
  platform::RecursiveMutexLock lock(comParams_.Lock());
  while (PendingUpdate() != nullptr) {
    lock.Unlock();
    const bool ended = WaitForUpdates(patience.Remaining());
    lock.Lock();
    if (!ended) break;
  }
  TemporaryComParams temporary(comParams_, Handles());
  for (const TemporaryComParam& param : start.control.temporary) {
    const Status status = temporary.Set(param.id, param.value);
    if (status != STATUS_NOERROR && param.failure != nullptr) {
      return {.prepared = status, .preparation = param.failure};
    }
  }
  const CopOutcome outcome = StartAsItIs(start, hCop);
  if (outcome.started == PDU_STATUS_NOERROR) temporary.SetBackByTheLink();
  return outcome;
}

CopOutcome Link::StartAsItIs(CopStart& start, UNUM32* hCop) {
  platform::RecursiveMutexLock lock(pdu::PduApiLock());
  if (start.type != PDU_COPT_STARTCOMM) return StartAndRegister(start, hCop);
  // The event thread compares results with the handle: it must not see one before it is known.
  platform::MutexLock startCommLock(startCommLock_);
  const CopOutcome outcome = StartAndRegister(start, hCop);
  startCommCop_ = *hCop;
  return outcome;
}

CopOutcome Link::StartAndRegister(CopStart& start, UNUM32* hCop) {
  *hCop = PDU_HANDLE_UNDEF;
  if (!hasLink_) return {.started = PDU_ERR_INVALID_HANDLE};
  const T_PDU_ERROR result = pdu::Api().PDUStartComPrimitive(
      module_, cll_, start.type, static_cast<UNUM32>(start.data.size()),
      start.data.empty() ? nullptr : start.data.data(), &start.control.data, nullptr, hCop);
  const auto processor = Processor();
  if (result != PDU_STATUS_NOERROR || processor == nullptr) return {.started = result};
  const Status registered = processor->AddCopCondition(*hCop, start.waiter, start.isTransmit);
  return {.started = result, .registered = registered, .isPending = registered == STATUS_NOERROR};
}

T_PDU_ERROR Link::CancelCop(UNUM32 hCop) {
  // Without a lock: the D-PDU library may wait for its callback. The coming end finds the condition
  // that exists since the start.
  return pdu::Api().PDUCancelComPrimitive(module_, cll_, hCop);
}

T_PDU_ERROR Link::IoCtl(pdu::IoControl control) {
  return pdu::Api().PDUIoCtl(module_, cll_, pdu::IoControlId(control), nullptr, nullptr);
}

void PDUAPI PduEventCallback(T_PDU_EVT_DATA /*eventType*/, UNUM32 /*hMod*/, UNUM32 /*hCll*/,
                             void* pCllTag, void* /*pApiTag*/) {
  Link::Sleeper sleeper;
  {
    LiveLinks& live = TheLiveLinks();
    const platform::MutexLock lock(live.lock);
    const auto found = live.links.find(pCllTag);
    if (found != live.links.end()) sleeper = found->second->SignalEvents();
  }
  // Without a lock, which might be the first thing that the other thread needs.
  if (sleeper.wakeUp != nullptr) sleeper.wakeUp->Wake();
}

}  // namespace passbridge
