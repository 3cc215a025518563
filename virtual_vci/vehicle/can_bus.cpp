#include "virtual_vci/vehicle/can_bus.h"

namespace virtual_vci {

namespace {

constexpr std::uint32_t kDefaultBitRate = 500000;

}  // namespace

CanBus::CanBus(Scheduler& scheduler, std::uint32_t bitRate)
    : FrameBus(scheduler, bitRate, kDefaultBitRate) {}

std::uint64_t CanBus::Duration(const CanNode&, const CanFrame& frame, std::uint32_t bitRate) const {
  return BitsOf(frame) * kPicosecondsPerSecond / bitRate;
}

bool CanBus::SendBytes(std::span<const std::uint8_t> message, std::uint32_t flags) {
  auto frame = FrameOf(message, (flags & kBytesOf29BitId) != 0);
  if (!frame) return false;
  frame->highVoltage = (flags & kBytesAtHighVoltage) != 0;
  SendAsStranger(*frame);
  return true;
}

}  // namespace virtual_vci
