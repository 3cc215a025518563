#include "virtual_vci/protocols/sci_protocol.h"

#include <algorithm>
#include <utility>

namespace virtual_vci {

namespace {

constexpr TxFlagBit kTxSciHalfDuplex{1, 0x40};
constexpr TxFlagBit kTxSciVoltage{1, 0x80};

}  // namespace

SciProtocol::Settings SciProtocol::Read(const ComParamSet& params) {
  return {SerialFormatOf(params), params.Number(ComParam::CP_T1Max),
          params.Number(ComParam::CP_T2Max), params.Number(ComParam::CP_T3Max),
          params.Number(ComParam::CP_T5Max)};
}

void SciProtocol::SendMessage(const Bytes& message) {
  message_ = message;
  next_ = 0;
  // What was sent before may be answered first: within T3, but the ECU expects more after T5.
  WhenIdle(std::min(sendSettings_.t3Max, sendSettings_.t5Max), [this] { BeginMessage(); });
}

void SciProtocol::BeginMessage() {
  const bool halfDuplex = Has(Flags(), kTxSciHalfDuplex);
  line_.SetTransmission({halfDuplex, Has(Flags(), kTxSciVoltage)});
  begun_ = link_.scheduler.Now();
  if (halfDuplex) {
    SendByte();
  } else {
    sender_.Start(message_, sendSettings_.format, 0,
                  [this](FrameTimes times) { MessageSent(times); });
  }
}

void SciProtocol::SendByte() {
  sender_.Start({message_[next_]}, sendSettings_.format, 0,
                [this](FrameTimes times) { AwaitEcho(times); });
}

void SciProtocol::AwaitEcho(FrameTimes) {
  awaitsEcho_ = true;
  // The next byte has to begin within T2. An echo is heard when it is over.
  const Micros patience = std::min(sendSettings_.t1Max, sendSettings_.t2Max);
  AfterPause(patience + sendSettings_.format.ByteTime() + 1,
             [this] { Fail(SciSendError::kNoEcho); });
}

bool SciProtocol::TakeByte(std::uint8_t byte) {
  if (!std::exchange(awaitsEcho_, false)) return false;
  CancelPause();
  if (byte != message_[next_]) {
    Fail(SciSendError::kWrongEcho);
  } else if (++next_ < message_.size()) {
    SendByte();
  } else {
    MessageSent({begun_, link_.scheduler.Now()});
  }
  return true;
}

void SciProtocol::Fail(SciSendError error) {
  awaitsEcho_ = false;
  MessageFailed(static_cast<UNUM32>(error));
}

void SciProtocol::AbortMessage() {
  SerialProtocol::AbortMessage();
  awaitsEcho_ = false;
}

}  // namespace virtual_vci
