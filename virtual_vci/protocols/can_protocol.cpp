#include "virtual_vci/protocols/can_protocol.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "virtual_vci/links/cop_engine.h"

namespace virtual_vci {

namespace {

constexpr std::uint64_t kAsideToken = 0;  // no ComPrimitive's frame has it

// CP_CanFuncReqFormat: the link receives identifiers of one length only.
constexpr UNUM32 kOneIdentifierLength = 0x20;

// CP_ChangeSpeedResCtrl, and the CP_TerminationType that each asks for.
constexpr UNUM32 kSwitchTerminationOn = 1;
constexpr UNUM32 kSwitchTerminationOff = 2;
constexpr UNUM32 kHighSpeedTermination = 4;

SpeedChange SpeedChangeOf(const ComParamSet& params) {
  return {params.Number(ComParam::CP_ChangeSpeedCtrl) != 0,
          params.Value(static_cast<UNUM32>(ComParam::CP_ChangeSpeedMessage)).bytes,
          params.Number(ComParam::CP_ChangeSpeedRate),
          params.Number(ComParam::CP_ChangeSpeedTxDelay),
          params.Number(ComParam::CP_ChangeSpeedResCtrl)};
}

}  // namespace

CanProtocol::~CanProtocol() {
  link_.scheduler.Cancel(pause_);
  if (online_) bus_.Detach(*this);
}

void CanProtocol::GoOnline(const ComParamSet& params) {
  sentExtended_.reset();
  mayTransmit_ = 0;
  ParamsChanged(params);
  bus_.Attach(*this);
  online_ = true;
}

void CanProtocol::GoOffline() {
  StopSending();
  if (std::exchange(online_, false)) bus_.Detach(*this);
}

CanProtocol::Settings CanProtocol::Read(const ComParamSet& params) const {
  return {params.Number(ComParam::CP_Baudrate),
          params.Number(ComParam::CP_Loopback) != 0,
          params.Number(ComParam::CP_TransmitIndEnable) != 0,
          params.Number(ComParam::CP_CanFuncReqFormat),
          params.Number(patienceParam_),
          params.Number(ComParam::CP_SwCan_HighVoltage) != 0,
          params.Number(ComParam::CP_RepeatReqCountApp),
          params.Number(ComParam::CP_TerminationType) != 0,
          SpeedChangeOf(params)};
}

void CanProtocol::ParamsChanged(const ComParamSet& params) { settings_ = Read(params); }

OutgoingMessages CanProtocol::OutgoingOf(const Cop& cop) const {
  if (link_.rawMode) return Outgoing(cop);
  const ComParamSet& params = link_.cops.ParamsOf(cop);
  return Outgoing(cop, RequestAddressOf(params, link_.responses));
}

T_PDU_ERROR CanProtocol::Check(const Cop& cop) const {
  const OutgoingMessages outgoing = OutgoingOf(cop);
  const bool good =
      !outgoing.messages.empty() &&
      std::all_of(outgoing.messages.begin(), outgoing.messages.end(),
                  [&](const Bytes& message) { return IsMessage(outgoing.flags, message); });
  return good ? PDU_STATUS_NOERROR : PDU_ERR_INVALID_PARAMETERS;
}

void CanProtocol::StartCommunication(const Cop& cop) { link_.cops.CommunicationDone(cop.handle); }

void CanProtocol::StopCommunication(const Cop& cop) { link_.cops.CommunicationDone(cop.handle); }

void CanProtocol::Send(const Cop& cop) {
  const ComParamSet& params = link_.cops.ParamsOf(cop);
  sending_ = cop.handle;
  sendSettings_ = Read(params);
  outgoing_ = OutgoingOf(cop);
  next_ = 0;
  repeated_ = 0;
  BeginSending(outgoing_.flags, params);
  SendNext();
}

void CanProtocol::SendNext() {
  const Micros now = link_.scheduler.Now();
  if (now < mayTransmit_) {
    pause_ = link_.scheduler.After(mayTransmit_ - now, Pace::kProgress, [this] { SendNext(); });
  } else {
    SendMessage(outgoing_.flags, outgoing_.messages[next_]);
  }
}

void CanProtocol::StopSending() {
  link_.scheduler.Cancel(pause_);
  if (online_ && sending_ != PDU_HANDLE_UNDEF) bus_.Cancel(*this, token_);
  sending_ = PDU_HANDLE_UNDEF;
}

void CanProtocol::TransmitFrame(const CanFrame& frame) {
  sentExtended_ = frame.extended;
  CanFrame sent = frame;
  sent.highVoltage = sendSettings_.highVoltage;
  bus_.Send(*this, sent, ++token_, sendSettings_.patience);
}

void CanProtocol::TransmitAside(const CanFrame& frame, Micros patience) {
  bus_.Send(*this, frame, kAsideToken, patience);
}

void CanProtocol::Sent(std::uint64_t token, const CanFrame& frame, bool acknowledged,
                       FrameTimes times) {
  if (token == kAsideToken) {
    if (!acknowledged) FrameAsideLost(frame);
  } else if (token == token_ && sending_ != PDU_HANDLE_UNDEF) {
    FrameSent(acknowledged, times);
  }
}

void CanProtocol::MessageFailed(UNUM32 reason) {
  const UNUM32 handle = std::exchange(sending_, PDU_HANDLE_UNDEF);
  link_.cops.SendFailed(handle, PDU_ERR_EVT_TX_ERROR, reason);
}

void CanProtocol::MessageSent(FrameTimes times) {
  const Cop* cop = link_.cops.Find(sending_);
  if (cop == nullptr) return;
  const Bytes& message = outgoing_.messages[next_];
  if (repeated_ == 0) Echo(*cop, message, times);
  const SpeedChange& change = sendSettings_.speedChange;
  if (change.enabled && change.bitRate != 0 && message == change.message) ChangeSpeed(times);
  if (++next_ < outgoing_.messages.size()) {
    SendNext();
  } else if (sendSettings_.highVoltage && repeated_ < sendSettings_.repeats) {
    // Whoever slept has missed what woke it.
    ++repeated_;
    next_ = 0;
    SendNext();
  } else {
    link_.cops.SendDone(std::exchange(sending_, PDU_HANDLE_UNDEF));
  }
}

void CanProtocol::ChangeSpeed(FrameTimes times) {
  const SpeedChange change = sendSettings_.speedChange;
  std::vector<ComParamDefault> values{{ComParam::CP_Baudrate, change.bitRate}};
  if (change.termination == kSwitchTerminationOn)
    values.push_back({ComParam::CP_TerminationType, kHighSpeedTermination});
  if (change.termination == kSwitchTerminationOff)
    values.push_back({ComParam::CP_TerminationType, 0});
  link_.cops.ChangeParams(values);
  mayTransmit_ = link_.scheduler.Now() + change.pause;
  const auto receiver = link_.cops.ReceiverFrom({}, PDU_ID_UNDEF);
  if (!receiver) return;
  ResultInfo info;
  Put(info.rxFlags, kRxSpeedChange);
  info.emptyHeader = true;
  info.acceptanceId = receiver->acceptanceId;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  link_.events.Push(MakeResultItem(HeadOf(*receiver->cop, times), info, {}));
}

EventHead CanProtocol::HeadOf(const Cop& cop, FrameTimes times) const {
  return {cop.handle, cop.tag, static_cast<UNUM32>(times.end)};
}

void CanProtocol::Echo(const Cop& cop, std::span<const UNUM8> message, FrameTimes times) {
  if (!sendSettings_.transmitIndication && !sendSettings_.loopback) return;
  const Form form = FormOf(outgoing_.flags);
  ResultInfo info;
  info.uniqueRespId = form.uniqueRespId;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  if (Has(outgoing_.flags, kTx29BitId)) Put(info.rxFlags, kRx29BitId);
  if (form.header > kIdentifierBytes) Put(info.rxFlags, kRxExtendedAddress);
  if (sendSettings_.transmitIndication) {
    ResultInfo done = info;
    Put(done.rxFlags, kRxTxDone);
    done.header = message.first(form.header);
    done.txDoneTimestamp = static_cast<UNUM32>(times.end);
    link_.events.Push(MakeResultItem(HeadOf(cop, times), done, {}));
  }
  if (sendSettings_.loopback) {
    Put(info.rxFlags, kRxLoopback);
    Push(HeadOf(cop, times), info, message, form);
  }
}

void CanProtocol::Push(const EventHead& head, ResultInfo& info, std::span<const UNUM8> message,
                       const Form& form) {
  if (link_.rawMode) {
    link_.events.PushFrame(head, info, message, form.packing);
  } else {
    info.header = message.first(form.header);
    link_.events.PushFrame(head, info, message.subspan(form.header), false);
  }
}

void CanProtocol::Deliver(const CopEngine::Receiver& receiver, ResultInfo& info, FrameTimes times,
                          std::span<const UNUM8> message, const Form& form) {
  info.uniqueRespId = form.uniqueRespId;
  info.acceptanceId = receiver.acceptanceId;
  Push(HeadOf(*receiver.cop, times), info, message, form);
}

bool CanProtocol::Receives(bool extended) const {
  // Which length the application goes by, it shows with what it sends.
  return settings_.identifiers != kOneIdentifierLength ||
         sentExtended_.value_or(extended) == extended;
}

void CanProtocol::DeliverFrame(const CanFrame& frame, FrameTimes times, const Form& form) {
  const FrameBytes bytes(frame);
  if (!Receives(frame.extended) || !link_.filters.Passes(bytes.All(), link_.passWithoutFilter))
    return;
  const auto receiver = link_.cops.ReceiverOf(Visible(bytes.All(), form), form.uniqueRespId);
  if (!receiver) return;
  ResultInfo info;
  if (frame.extended) Put(info.rxFlags, kRx29BitId);
  if (frame.highVoltage) Put(info.rxFlags, kRxHighVoltage);
  info.startTimestamp = static_cast<UNUM32>(times.start);
  const UNUM32 handle = receiver->cop->handle;
  Deliver(*receiver, info, times, bytes.All(), form);
  link_.cops.Received(handle);
}

}  // namespace virtual_vci
