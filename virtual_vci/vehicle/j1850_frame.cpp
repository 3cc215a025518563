#include "virtual_vci/vehicle/j1850_frame.h"

namespace virtual_vci {

namespace {

constexpr std::uint64_t kShortLevel = 64;
constexpr std::uint64_t kLongLevel = 128;
constexpr std::uint64_t kVpwStart = 200;
constexpr std::uint64_t kVpwPause = 300;  // end of frame and separation of frames
constexpr std::uint64_t kVpwBreak = 768;

constexpr std::uint64_t kPwmStart = 2;
constexpr std::uint64_t kPwmPause = 4;
constexpr std::uint64_t kPwmEndOfData = 2;
constexpr std::uint64_t kBitsOfByte = 8;

/// Levels alternate, the first bit is a passive one. A passive 1 and an active 0 are long.
std::uint64_t VpwByte(std::uint8_t byte) {
  std::uint64_t time = 0;
  for (unsigned bit = 0; bit < kBitsOfByte; ++bit) {
    const bool isOne = (byte >> (7 - bit) & 1) != 0;
    const bool isPassive = bit % 2 == 0;
    time += isOne == isPassive ? kLongLevel : kShortLevel;
  }
  return time;
}

}  // namespace

std::uint8_t J1850Crc(std::span<const std::uint8_t> bytes) {
  constexpr unsigned kPolynomial = 0x1D;
  unsigned crc = 0xFF;
  for (const std::uint8_t byte : bytes) {
    crc ^= byte;
    for (unsigned bit = 0; bit < kBitsOfByte; ++bit)
      crc = (crc << 1 ^ ((crc & 0x80) != 0 ? kPolynomial : 0)) & 0xFF;
  }
  return static_cast<std::uint8_t>(~crc);
}

J1850Frame::Priority PriorityOf(const J1850Frame& frame) {
  J1850Frame::Priority priority = 0;
  for (std::size_t i = 0; i < sizeof priority; ++i)
    priority = priority << 8 | (i < frame.bytes.size() ? frame.bytes[i] : 0u);
  return priority;
}

std::uint64_t VpwMicroseconds(const J1850Frame& frame) {
  if (frame.isBreak) return kVpwBreak + kVpwPause;
  std::uint64_t time = kVpwStart + VpwByte(frame.crc) + kVpwPause;
  for (const std::uint8_t byte : frame.bytes) time += VpwByte(byte);
  return time;
}

std::uint64_t PwmBits(const J1850Frame& frame, bool withResponse) {
  const std::uint64_t response = withResponse ? kPwmEndOfData + kBitsOfByte : 0;
  return kPwmStart + kBitsOfByte * (frame.bytes.size() + 1) + response + kPwmPause;
}

}  // namespace virtual_vci
