#include "virtual_vci/protocols/message_protocol.h"

#include <algorithm>
#include <utility>

namespace virtual_vci {

T_PDU_ERROR MessageProtocol::Check(const Cop& cop) const {
  const auto messages = MessagesOf(cop);
  const bool good =
      !messages.empty() && std::all_of(messages.begin(), messages.end(),
                                       [&](const auto& message) { return IsMessage(message); });
  return good ? PDU_STATUS_NOERROR : PDU_ERR_INVALID_PARAMETERS;
}

void MessageProtocol::Begin(const Cop& cop) {
  const ComParamSet& params = link_.cops.ParamsOf(cop);
  working_ = cop.handle;
  loopback_ = params.Number(ComParam::CP_Loopback) != 0;
  transmitIndication_ = params.Number(ComParam::CP_TransmitIndEnable) != 0;
  flags_ = cop.txFlags;
  BeginSending(params);
}

UNUM32 MessageProtocol::Release() { return std::exchange(working_, PDU_HANDLE_UNDEF); }

void MessageProtocol::Send(const Cop& cop) {
  Begin(cop);
  messages_.clear();
  for (const auto& message : MessagesOf(cop))
    messages_.emplace_back(message.begin(), message.end());
  next_ = 0;
  SendMessage(messages_[next_]);
}

void MessageProtocol::StopSending() {
  AbortMessage();
  Release();
}

void MessageProtocol::MessageSent(FrameTimes times) {
  const Cop* cop = Working();
  if (cop == nullptr) return;
  Echo(*cop, times);
  if (++next_ < messages_.size()) {
    SendMessage(messages_[next_]);
  } else {
    link_.cops.SendDone(Release());
  }
}

void MessageProtocol::MessageFailed(UNUM32 reason) {
  link_.cops.SendFailed(Release(), PDU_ERR_EVT_TX_ERROR, reason);
}

void MessageProtocol::Echo(const Cop& cop, FrameTimes times) {
  ResultInfo info;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  if (transmitIndication_) {
    ResultInfo done = info;
    Put(done.rxFlags, kRxTxDone);
    done.emptyHeader = true;
    done.txDoneTimestamp = static_cast<UNUM32>(times.end);
    link_.events.Push(MakeResultItem(HeadOf(cop, times.end), done, {}));
  }
  if (loopback_) {
    Put(info.rxFlags, kRxLoopback);
    link_.events.Push(MakeResultItem(HeadOf(cop, times.end), info, messages_[next_]));
  }
}

void MessageProtocol::Deliver(std::span<const UNUM8> bytes, FrameTimes times) {
  if (!link_.filters.Passes(bytes, link_.passWithoutFilter)) return;
  const auto receiver = link_.cops.ReceiverOf(bytes, PDU_ID_UNDEF);
  if (!receiver) return;
  ResultInfo info;
  info.acceptanceId = receiver->acceptanceId;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  const UNUM32 handle = receiver->cop->handle;
  link_.events.Push(MakeResultItem(HeadOf(*receiver->cop, times.end), info, bytes));
  link_.cops.Received(handle);
}

void MessageProtocol::Indicate(TxFlagBit what, FrameTimes times) {
  const auto receiver = link_.cops.ReceiverFrom({}, PDU_ID_UNDEF);
  if (!receiver) return;
  ResultInfo info;
  Put(info.rxFlags, what);
  info.emptyHeader = true;
  info.acceptanceId = receiver->acceptanceId;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  link_.events.Push(MakeResultItem(HeadOf(*receiver->cop, times.end), info, {}));
}

}  // namespace virtual_vci
