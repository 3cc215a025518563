#include "virtual_vci/protocols/raw_can.h"

namespace virtual_vci {

RawCan::RawCan(const LinkContext& link, CanBus& bus)
    : CanProtocol(link, bus, ComParam::CP_CanTransmissionTime) {}

bool RawCan::IsMessage(const Cop& cop, std::span<const UNUM8> bytes) const {
  return FrameOf(bytes, Has(cop.txFlags, kTx29BitId)).has_value();
}

CanProtocol::Form RawCan::FormOf(const Cop&) const { return {.packing = link_.packing}; }

void RawCan::SendMessage(const Cop& cop, std::span<const UNUM8> bytes) {
  TransmitFrame(*FrameOf(bytes, Has(cop.txFlags, kTx29BitId)));
}

void RawCan::FrameSent(bool acknowledged, FrameTimes times) {
  if (acknowledged) {
    MessageSent(times);
  } else {
    MessageFailed(0);
  }
}

void RawCan::Heard(const CanFrame& frame, FrameTimes times) {
  DeliverFrame(frame, times, {.packing = link_.packing});
}

}  // namespace virtual_vci
