#include "virtual_vci/vehicle/j1850_bus.h"

namespace virtual_vci {

namespace {

constexpr std::uint32_t kVpwBitRate = 10400;
constexpr std::uint32_t kPwmBitRate = 41600;
constexpr std::size_t kHeader = 3;
constexpr std::size_t kLongestPwmMessage = kHeader + 8;
constexpr std::size_t kLongestVpwMessage = 4128;  // in a block transfer

}  // namespace

bool J1850Bus::Reaches(const J1850Node& from, const J1850Node& to, const J1850Frame& frame) const {
  return frame.isBreak || FrameBus::Reaches(from, to, frame);
}

bool J1850Bus::SendBytes(std::span<const std::uint8_t> message, std::uint32_t flags) {
  if ((flags & kBreakInsteadOfBytes) != 0) {
    if (HasBreaks()) SendAsStranger(J1850Frame::Break());
    return HasBreaks();
  }
  if (!Carries(message.size())) return false;
  J1850Frame frame = J1850Frame::Make(Bytes(message.begin(), message.end()));
  if ((flags & kBytesWithWrongChecksum) != 0) frame.crc ^= 0x01;
  SendAsStranger(frame);
  return true;
}

J1850VpwBus::J1850VpwBus(Scheduler& scheduler, std::uint32_t bitRate)
    : J1850Bus(scheduler, bitRate, kVpwBitRate) {}

bool J1850VpwBus::Carries(std::size_t bytes) const {
  return bytes > 0 && bytes <= kLongestVpwMessage;
}

std::uint64_t J1850VpwBus::Duration(const J1850Node&, const J1850Frame& frame,
                                    std::uint32_t bitRate) const {
  constexpr std::uint64_t kPicosecondsPerMicrosecond = 1000000;
  return VpwMicroseconds(frame) * kPicosecondsPerMicrosecond * kVpwBitRate / bitRate;
}

J1850PwmBus::J1850PwmBus(Scheduler& scheduler, std::uint32_t bitRate)
    : J1850Bus(scheduler, bitRate, kPwmBitRate) {}

bool J1850PwmBus::Carries(std::size_t bytes) const {
  return bytes >= kHeader && bytes <= kLongestPwmMessage;
}

std::uint64_t J1850PwmBus::Duration(const J1850Node& sender, const J1850Frame& frame,
                                    std::uint32_t bitRate) const {
  return PwmBits(frame, IsAcknowledged(sender, frame)) * kPicosecondsPerSecond / bitRate;
}

}  // namespace virtual_vci
