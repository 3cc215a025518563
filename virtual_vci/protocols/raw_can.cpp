#include "virtual_vci/protocols/raw_can.h"

#include <algorithm>

#include "virtual_vci/links/cop_engine.h"

namespace virtual_vci {

namespace {

constexpr std::uint32_t kMaxStandardId = 0x7FF;
constexpr std::uint32_t kMaxExtendedId = 0x1FFFFFFF;

}  // namespace

FrameBytes::FrameBytes(const CanFrame& frame) : size(kIdentifierBytes + frame.size) {
  for (std::size_t i = 0; i < kIdentifierBytes; ++i)
    bytes[i] = static_cast<UNUM8>(frame.id >> (24 - 8 * i));
  std::copy_n(frame.data.begin(), frame.size, bytes.begin() + kIdentifierBytes);
}

std::optional<CanFrame> FrameOf(std::span<const UNUM8> message, bool extended) {
  if (message.size() < kIdentifierBytes || message.size() > kIdentifierBytes + 8)
    return std::nullopt;
  std::uint32_t id = 0;
  for (std::size_t i = 0; i < kIdentifierBytes; ++i) id = id << 8 | message[i];
  if (id > (extended ? kMaxExtendedId : kMaxStandardId)) return std::nullopt;
  return CanFrame::Make(id, extended, message.subspan(kIdentifierBytes));
}

void RawCan::GoOnline(CanBus& bus, const ComParamSet& params) {
  ParamsChanged(params);
  bus_ = &bus;
  bus_->Attach(*this);
}

void RawCan::GoOffline() {
  StopSending();
  if (bus_ != nullptr) bus_->Detach(*this);
  bus_ = nullptr;
}

RawCan::Settings RawCan::Read(const ComParamSet& params) {
  return {params.Number(ComParam::CP_Baudrate), params.Number(ComParam::CP_Loopback) != 0,
          params.Number(ComParam::CP_TransmitIndEnable) != 0,
          params.Number(ComParam::CP_CanTransmissionTime)};
}

void RawCan::ParamsChanged(const ComParamSet& params) { settings_ = Read(params); }

T_PDU_ERROR RawCan::Check(const Cop& cop) const {
  const auto messages = MessagesOf(cop);
  const bool extended = Has(cop.txFlags, kTx29BitId);
  const bool good = !messages.empty() && std::all_of(messages.begin(), messages.end(),
                                                     [&](std::span<const UNUM8> message) {
    return FrameOf(message, extended).has_value();
  });
  return good ? PDU_STATUS_NOERROR : PDU_ERR_INVALID_PARAMETERS;
}

void RawCan::Send(const Cop& cop) {
  sending_ = cop.handle;
  sendSettings_ = cop.params ? Read(*cop.params) : settings_;
  frames_.clear();
  next_ = 0;
  for (const auto& message : MessagesOf(cop)) {
    frames_.push_back(FrameOf(message, Has(cop.txFlags, kTx29BitId)).value());
  }
  SendNext();
}

void RawCan::SendNext() { bus_->Send(*this, frames_[next_], ++token_, sendSettings_.patience); }

void RawCan::StopSending() {
  if (bus_ != nullptr && sending_ != PDU_HANDLE_UNDEF) bus_->Cancel(*this, token_);
  sending_ = PDU_HANDLE_UNDEF;
}

void RawCan::Sent(std::uint64_t token, const CanFrame& frame, bool acknowledged, FrameTimes times) {
  const Cop* cop = token == token_ ? link_.cops.Find(sending_) : nullptr;
  if (cop == nullptr) return;
  const UNUM32 handle = sending_;
  if (!acknowledged) {
    sending_ = PDU_HANDLE_UNDEF;
    link_.cops.SendFailed(handle, PDU_ERR_EVT_TX_ERROR, 0);
    return;
  }
  Echo(*cop, frame, times);
  if (++next_ < frames_.size()) {
    SendNext();
    return;
  }
  sending_ = PDU_HANDLE_UNDEF;
  link_.cops.SendDone(handle);
}

void RawCan::Echo(const Cop& cop, const CanFrame& frame, FrameTimes times) {
  const FrameBytes bytes(frame);
  EventHead head = link_.cops.HeadOf(cop);
  head.timestamp = static_cast<UNUM32>(times.end);
  ResultInfo info;
  if (frame.extended) Put(info.rxFlags, kRx29BitId);
  info.startTimestamp = static_cast<UNUM32>(times.start);
  if (sendSettings_.transmitIndication) {
    ResultInfo done = info;
    Put(done.rxFlags, kRxTxDone);
    done.txDoneTimestamp = head.timestamp;
    done.header = bytes.Identifier();
    link_.events.Push(MakeResultItem(head, done, {}));
  }
  if (sendSettings_.loopback) {
    Put(info.rxFlags, kRxLoopback);
    link_.events.PushFrame(head, info, bytes.All(), link_.packing);
  }
}

void RawCan::Heard(const CanFrame& frame, FrameTimes times) {
  const FrameBytes bytes(frame);
  if (!link_.filters.Passes(bytes.All(), link_.passWithoutFilter)) return;
  const auto receiver = link_.cops.ReceiverOf(bytes.All(), PDU_ID_UNDEF);
  if (!receiver) return;
  EventHead head = link_.cops.HeadOf(*receiver->cop);
  head.timestamp = static_cast<UNUM32>(times.end);
  ResultInfo info;
  if (frame.extended) Put(info.rxFlags, kRx29BitId);
  info.acceptanceId = receiver->acceptanceId;
  info.startTimestamp = static_cast<UNUM32>(times.start);
  const UNUM32 handle = receiver->cop->handle;
  link_.events.PushFrame(head, info, bytes.All(), link_.packing);
  link_.cops.Received(handle);
}

}  // namespace virtual_vci
