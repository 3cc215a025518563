#include "virtual_vci/links/cop_engine.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace virtual_vci {

namespace {

bool IsWithProtocol(const Cop& cop) {
  return cop.phase == Cop::Phase::kInitialising || cop.phase == Cop::Phase::kSending;
}

/// Whether a ComPrimitive belongs to what the application has to send, and comes to an end.
bool IsTransmission(const Cop& cop) {
  return cop.type == PDU_COPT_SENDRECV && cop.sendCycles != PDU_CYCLES_INFINITE;
}

}  // namespace

CopEngine::CopEngine(Scheduler& scheduler, EventPort& events, CopTarget& target)
    : scheduler_(scheduler), events_(events), target_(target) {}

CopEngine::~CopEngine() {
  for (auto& [handle, cop] : cops_) scheduler_.Cancel(cop->timer);
}

const Cop* CopEngine::Find(UNUM32 handle) const {
  const auto found = cops_.find(handle);
  return found == cops_.end() ? nullptr : found->second.get();
}

Cop* CopEngine::FindCop(UNUM32 handle) {
  return const_cast<Cop*>(std::as_const(*this).Find(handle));
}

EventHead CopEngine::HeadOf(const Cop& cop) const {
  return {cop.handle, cop.tag, static_cast<UNUM32>(scheduler_.Now())};
}

const ComParamSet& CopEngine::ParamsOf(const Cop& cop) const {
  return cop.params ? *cop.params : target_.ActiveParams();
}

void CopEngine::SayStatus(const Cop& cop, T_PDU_STATUS status) {
  events_.Push(MakeStatusItem(HeadOf(cop), status));
}

void CopEngine::Start(std::unique_ptr<Cop> cop) {
  Cop& started = *cop;
  cops_.emplace(started.handle, std::move(cop));
  if (started.ReceivesOnly()) {
    started.executing = true;
    SayStatus(started, PDU_COPST_EXECUTING);
    BeginReceiving(started);
    return;
  }
  waiting_.push_back(started.handle);
  Pump();
}

void CopEngine::Pump() {
  // What is executed here may end at once and call this again.
  if (std::exchange(pumping_, true)) return;
  while (turn_ == PDU_HANDLE_UNDEF && !waiting_.empty() && !suspended_) {
    turn_ = waiting_.front();
    waiting_.pop_front();
    BeginTurn(*FindCop(turn_));
  }
  pumping_ = false;
}

void CopEngine::BeginTurn(Cop& cop) {
  if (!std::exchange(cop.executing, true)) SayStatus(cop, PDU_COPST_EXECUTING);
  cop.repeats = ParamsOf(cop).Number(ComParam::CP_RepeatReqCountApp);
  if (cop.due == 0) cop.due = scheduler_.Now();
  Execute(cop);
}

void CopEngine::Execute(Cop& cop) {
  switch (cop.type) {
    case PDU_COPT_STARTCOMM:
      cop.phase = Cop::Phase::kInitialising;
      protocol_->StartCommunication(cop);
      return;
    case PDU_COPT_STOPCOMM:
      cop.phase = Cop::Phase::kInitialising;
      protocol_->StopCommunication(cop);
      return;
    case PDU_COPT_UPDATEPARAM:
      target_.ActivateParams(cop);
      break;
    case PDU_COPT_RESTORE_PARAM:
      target_.RestoreParams();
      break;
    case PDU_COPT_DELAY:
      cop.timer = scheduler_.After(cop.time, Pace::kProgress, [this, handle = cop.handle] {
        End(handle, PDU_COPST_FINISHED);
      });
      return;
    default:
      break;
  }
  SendData(cop);
}

void CopEngine::CommunicationDone(UNUM32 handle, bool dataSent) {
  Cop* cop = FindCop(handle);
  if (cop == nullptr || cop->phase != Cop::Phase::kInitialising) return;
  if (cop->type == PDU_COPT_STARTCOMM) {
    target_.CommunicationStarted();
  } else {
    target_.CommunicationStopped();
  }
  if (dataSent) {
    End(handle, PDU_COPST_FINISHED);
  } else {
    SendData(*cop);
  }
}

void CopEngine::SendData(Cop& cop) {
  if (cop.SendsData()) {
    cop.phase = Cop::Phase::kSending;
    protocol_->Send(cop);
  } else {
    End(cop.handle, PDU_COPST_FINISHED);
  }
}

void CopEngine::SendDone(UNUM32 handle) {
  Cop* cop = FindCop(handle);
  if (cop == nullptr || cop->phase != Cop::Phase::kSending) return;
  if (cop->Receives()) {
    BeginReceiving(*cop);
  } else {
    EndOfCycle(*cop);
  }
}

void CopEngine::BeginReceiving(Cop& cop) {
  cop.phase = Cop::Phase::kReceiving;
  cop.received = 0;
  if (cop.receiveCycles == PDU_CYCLES_INFINITE) {
    LeaveTurn(cop);
    return;
  }
  if (HasTimeout(cop)) StartTimeout(cop, protocol_->ResponseTime(true));
}

bool CopEngine::HasTimeout(const Cop& cop) {
  return cop.receiveCycles != PDU_CYCLES_INFINITE &&
         (!cop.ReceivesOnly() || cop.receiveCycles == PDU_CYCLES_MULTIPLE);
}

void CopEngine::StartTimeout(Cop& cop, ComParam comParam) {
  const Micros time = ParamsOf(cop).Number(comParam);
  scheduler_.Cancel(cop.timer);
  cop.patience = comParam;
  if (cop.holds != 0) return;
  cop.timer =
      scheduler_.After(time, Pace::kProgress, [this, handle = cop.handle] { Timeout(handle); });
}

void CopEngine::Timeout(UNUM32 handle) {
  Cop* cop = FindCop(handle);
  if (cop == nullptr) return;
  if (cop->receiveCycles == PDU_CYCLES_MULTIPLE && cop->received > 0) {
    EndOfCycle(*cop);
  } else if (cop->Sends() && cop->repeats > 0) {
    --cop->repeats;
    Execute(*cop);
  } else {
    Fail(*cop, PDU_ERR_EVT_RX_TIMEOUT, 0);
  }
}

void CopEngine::EndOfCycle(Cop& cop) {
  scheduler_.Cancel(cop.timer);
  if (cop.sendCycles > 0) --cop.sendCycles;
  if (cop.sendCycles == 0) {
    End(cop.handle, PDU_COPST_FINISHED);
  } else {
    Rest(cop);
  }
}

void CopEngine::Rest(Cop& cop) {
  cop.phase = Cop::Phase::kResting;
  // A cycle time of 0 repeats as fast as possible; it still must not jump ahead of everything else.
  const Micros now = scheduler_.Now();
  // From start to start; cycles that are late are not made up for.
  cop.due = std::max(cop.due + std::max<Micros>(cop.time, 1000), now);
  const Pace pace = cop.sendCycles == PDU_CYCLES_INFINITE ? Pace::kPeriodic : Pace::kProgress;
  cop.timer = scheduler_.After(cop.due - now, pace, [this, handle = cop.handle] {
    if (Cop* resting = FindCop(handle)) {
      resting->phase = Cop::Phase::kWaiting;
      waiting_.push_front(handle);
      Pump();
    }
  });
  LeaveTurn(cop);
}

void CopEngine::LeaveTurn(const Cop& cop) {
  if (turn_ != cop.handle) return;
  turn_ = PDU_HANDLE_UNDEF;
  Pump();
}

void CopEngine::SendFailed(UNUM32 handle, T_PDU_ERR_EVT code, UNUM32 extra) {
  Cop* cop = FindCop(handle);
  if (cop == nullptr || !IsWithProtocol(*cop)) return;
  if (cop->phase == Cop::Phase::kSending && cop->repeats > 0) {
    --cop->repeats;
    SendData(*cop);
  } else if (cop->phase == Cop::Phase::kSending && cop->sendCycles == PDU_CYCLES_INFINITE) {
    // A repeated message that finds nobody goes on: somebody may turn up.
    events_.Push(MakeErrorItem(HeadOf(*cop), code, extra));
    target_.NoteError(code, extra, handle, HeadOf(*cop).timestamp);
    Rest(*cop);
  } else {
    Fail(*cop, code, extra);
  }
}

void CopEngine::ReceiveFailed(std::span<const UNUM8> begin, UNUM32 uniqueRespId, T_PDU_ERR_EVT code,
                              UNUM32 extra) {
  const auto receiver = ReceiverFrom(begin, uniqueRespId);
  if (receiver && HasTimeout(*receiver->cop)) {
    Fail(*receiver->cop, code, extra);
    return;
  }
  EventHead head{PDU_HANDLE_UNDEF, nullptr, static_cast<UNUM32>(scheduler_.Now())};
  if (receiver) head = HeadOf(*receiver->cop);
  events_.Push(MakeErrorItem(head, code, extra));
  target_.NoteError(code, extra, head.cop, head.timestamp);
}

std::optional<CopEngine::Receiver> CopEngine::ReceiverOf(std::span<const UNUM8> bytes,
                                                         UNUM32 uniqueRespId) {
  return FindReceiver(
      [&](const ExpectedResponse& expected) { return expected.Matches(bytes, uniqueRespId); });
}

std::optional<CopEngine::Receiver> CopEngine::ReceiverFrom(std::span<const UNUM8> begin,
                                                           UNUM32 uniqueRespId) {
  return FindReceiver(
      [&](const ExpectedResponse& expected) { return expected.MayMatch(begin, uniqueRespId); });
}

template <typename Fits>
std::optional<CopEngine::Receiver> CopEngine::FindReceiver(Fits fits) {
  std::optional<Receiver> listener;
  for (const auto& [handle, cop] : cops_) {
    if (cop->phase != Cop::Phase::kReceiving) continue;
    const bool waits = !cop->ReceivesOnly();
    if (!waits && listener) continue;
    for (const ExpectedResponse& expected : cop->expected) {
      if (!fits(expected)) continue;
      if (waits) return Receiver{cop.get(), expected.acceptanceId};
      if (!listener) listener = Receiver{cop.get(), expected.acceptanceId};
    }
  }
  return listener;
}

void CopEngine::Received(UNUM32 handle) {
  Cop* cop = FindCop(handle);
  if (cop == nullptr || cop->phase != Cop::Phase::kReceiving ||
      cop->receiveCycles == PDU_CYCLES_INFINITE)
    return;
  ++cop->received;
  if (cop->receiveCycles != PDU_CYCLES_MULTIPLE && cop->received >= cop->receiveCycles) {
    EndOfCycle(*cop);
  } else if (HasTimeout(*cop)) {
    StartTimeout(*cop, protocol_->ResponseTime(false));
  }
}

UNUM32 CopEngine::HoldTimeout(std::span<const UNUM8> begin, UNUM32 uniqueRespId) {
  const auto receiver = ReceiverFrom(begin, uniqueRespId);
  if (!receiver || !HasTimeout(*receiver->cop)) return PDU_HANDLE_UNDEF;
  ++receiver->cop->holds;
  scheduler_.Cancel(receiver->cop->timer);
  return receiver->cop->handle;
}

void CopEngine::ReleaseTimeout(UNUM32 handle) {
  Cop* cop = FindCop(handle);
  if (cop == nullptr || cop->holds == 0) return;
  if (--cop->holds == 0 && cop->phase == Cop::Phase::kReceiving) StartTimeout(*cop, cop->patience);
}

bool CopEngine::Pending(UNUM32 handle) {
  Cop* cop = FindCop(handle);
  if (cop == nullptr || cop->phase != Cop::Phase::kReceiving || !HasTimeout(*cop)) return false;
  if (ParamsOf(*cop).Number(ComParam::CP_RC78Handling) == 0) return false;
  StartTimeout(*cop, ComParam::CP_P2Star);
  return true;
}

void CopEngine::Fail(Cop& cop, T_PDU_ERR_EVT code, UNUM32 extra) {
  const EventHead head = HeadOf(cop);
  events_.Push(MakeErrorItem(head, code, extra));
  target_.NoteError(code, extra, head.cop, head.timestamp);
  End(cop.handle, PDU_COPST_FINISHED);
}

void CopEngine::End(UNUM32 handle, T_PDU_STATUS status) {
  auto node = cops_.extract(handle);
  if (node.empty()) return;
  Cop& cop = *node.mapped();
  scheduler_.Cancel(cop.timer);
  std::erase(waiting_, handle);
  SayStatus(cop, status);
  LeaveTurn(cop);
}

bool CopEngine::Cancel(UNUM32 handle) {
  Cop* cop = FindCop(handle);
  if (cop == nullptr) return false;
  if (IsWithProtocol(*cop)) protocol_->StopSending();
  End(handle, PDU_COPST_CANCELLED);
  return true;
}

void CopEngine::CancelAll() {
  const bool suspended = std::exchange(suspended_, true);
  while (!cops_.empty()) Cancel(cops_.begin()->first);
  suspended_ = suspended;
}

void CopEngine::CancelSending(bool executing) {
  std::vector<UNUM32> ended;
  for (const UNUM32 handle : waiting_) {
    const Cop& cop = *FindCop(handle);
    if (IsTransmission(cop) && !cop.executing) ended.push_back(handle);
  }
  const Cop* current = Find(turn_);
  if (executing && current != nullptr && IsTransmission(*current) &&
      current->phase == Cop::Phase::kSending) {
    ended.push_back(turn_);
  }
  for (const UNUM32 handle : ended) Cancel(handle);
}

void CopEngine::Suspend(bool suspended) {
  suspended_ = suspended;
  Pump();
}

std::optional<T_PDU_STATUS> CopEngine::Status(UNUM32 handle) const {
  const Cop* cop = Find(handle);
  if (cop == nullptr) return std::nullopt;
  if (!cop->executing) return PDU_COPST_IDLE;
  return cop->phase == Cop::Phase::kResting ? PDU_COPST_WAITING : PDU_COPST_EXECUTING;
}

}  // namespace virtual_vci
