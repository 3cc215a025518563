#include "virtual_vci/protocols/can_protocol.h"

#include <algorithm>
#include <utility>

#include "virtual_vci/links/cop_engine.h"

namespace virtual_vci {

namespace {

constexpr std::uint64_t kAsideToken = 0;  // no ComPrimitive's frame has it

}  // namespace

CanProtocol::~CanProtocol() {
  if (online_) bus_.Detach(*this);
}

void CanProtocol::GoOnline(const ComParamSet& params) {
  ParamsChanged(params);
  bus_.Attach(*this);
  online_ = true;
}

void CanProtocol::GoOffline() {
  StopSending();
  if (std::exchange(online_, false)) bus_.Detach(*this);
}

CanProtocol::Settings CanProtocol::Read(const ComParamSet& params) const {
  return {params.Number(ComParam::CP_Baudrate), params.Number(ComParam::CP_Loopback) != 0,
          params.Number(ComParam::CP_TransmitIndEnable) != 0, params.Number(patienceParam_)};
}

void CanProtocol::ParamsChanged(const ComParamSet& params) { settings_ = Read(params); }

T_PDU_ERROR CanProtocol::Check(const Cop& cop) const {
  const auto messages = MessagesOf(cop);
  const bool good = !messages.empty() &&
                    std::all_of(messages.begin(), messages.end(),
                                [&](const auto& message) { return IsMessage(cop, message); });
  return good ? PDU_STATUS_NOERROR : PDU_ERR_INVALID_PARAMETERS;
}

void CanProtocol::StartCommunication(const Cop& cop) { link_.cops.CommunicationDone(cop.handle); }

void CanProtocol::StopCommunication(const Cop& cop) { link_.cops.CommunicationDone(cop.handle); }

void CanProtocol::Send(const Cop& cop) {
  sending_ = cop.handle;
  sendSettings_ = cop.params ? Read(*cop.params) : settings_;
  messages_ = MessagesOf(cop);
  next_ = 0;
  BeginSending(cop);
  SendNext();
}

void CanProtocol::SendNext() {
  if (const Cop* cop = link_.cops.Find(sending_)) SendMessage(*cop, messages_[next_]);
}

void CanProtocol::StopSending() {
  if (online_ && sending_ != PDU_HANDLE_UNDEF) bus_.Cancel(*this, token_);
  sending_ = PDU_HANDLE_UNDEF;
}

void CanProtocol::TransmitFrame(const CanFrame& frame) {
  bus_.Send(*this, frame, ++token_, sendSettings_.patience);
}

void CanProtocol::TransmitAside(const CanFrame& frame) {
  bus_.Send(*this, frame, kAsideToken, settings_.patience);
}

void CanProtocol::Sent(std::uint64_t token, const CanFrame&, bool acknowledged, FrameTimes times) {
  if (token == token_ && sending_ != PDU_HANDLE_UNDEF) FrameSent(acknowledged, times);
}

void CanProtocol::MessageFailed(UNUM32 reason) {
  const UNUM32 handle = std::exchange(sending_, PDU_HANDLE_UNDEF);
  link_.cops.SendFailed(handle, PDU_ERR_EVT_TX_ERROR, reason);
}

void CanProtocol::MessageSent(FrameTimes times) {
  const Cop* cop = link_.cops.Find(sending_);
  if (cop == nullptr) return;
  Echo(*cop, messages_[next_], times);
  if (++next_ < messages_.size()) {
    SendNext();
  } else {
    link_.cops.SendDone(std::exchange(sending_, PDU_HANDLE_UNDEF));
  }
}

EventHead CanProtocol::HeadOf(const Cop& cop, FrameTimes times) const {
  return {cop.handle, cop.tag, static_cast<UNUM32>(times.end)};
}

void CanProtocol::Echo(const Cop& cop, std::span<const UNUM8> message, FrameTimes times) {
  if (!sendSettings_.transmitIndication && !sendSettings_.loopback) return;
  const Form form = FormOf(cop);
  ResultInfo info;
  info.uniqueRespId = form.uniqueRespId;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  if (Has(cop.txFlags, kTx29BitId)) Put(info.rxFlags, kRx29BitId);
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
    link_.events.PushFrame(HeadOf(cop, times), info, message, form.packing);
  }
}

void CanProtocol::DeliverFrame(const CanFrame& frame, FrameTimes times, const Form& form) {
  const FrameBytes bytes(frame);
  if (!link_.filters.Passes(bytes.All(), link_.passWithoutFilter)) return;
  const auto receiver = link_.cops.ReceiverOf(bytes.All(), form.uniqueRespId);
  if (!receiver) return;
  ResultInfo info;
  if (frame.extended) Put(info.rxFlags, kRx29BitId);
  info.uniqueRespId = form.uniqueRespId;
  info.acceptanceId = receiver->acceptanceId;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  const UNUM32 handle = receiver->cop->handle;
  link_.events.PushFrame(HeadOf(*receiver->cop, times), info, bytes.All(), form.packing);
  link_.cops.Received(handle);
}

}  // namespace virtual_vci
