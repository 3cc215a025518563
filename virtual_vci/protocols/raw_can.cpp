#include "virtual_vci/protocols/raw_can.h"

namespace virtual_vci {

RawCan::RawCan(const LinkContext& link, CanBus& bus)
    : CanProtocol(link, bus, ComParam::CP_CanTransmissionTime) {}

bool RawCan::IsMessage(const FlagBytes& flags, std::span<const UNUM8> bytes) const {
  return FrameOf(bytes, Has(flags, kTx29BitId)).has_value();
}

CanProtocol::Form RawCan::FormOf(const FlagBytes&) const { return {.packing = link_.packing}; }

void RawCan::BeginSending(const FlagBytes&, const ComParamSet& params) {
  filler_ = FillerOf(params);
}

void RawCan::SendMessage(const FlagBytes& flags, std::span<const UNUM8> bytes) {
  CanFrame frame = *FrameOf(bytes, Has(flags, kTx29BitId));
  while (filler_ && frame.size < frame.data.size()) frame.data[frame.size++] = *filler_;
  TransmitFrame(frame);
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
