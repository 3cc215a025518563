/// \file
/// Frames of SAE J1850 and how long they take.
#ifndef VIRTUAL_VCI_VEHICLE_J1850_FRAME_H_
#define VIRTUAL_VCI_VEHICLE_J1850_FRAME_H_

#include <cstdint>
#include <span>
#include <utility>

#include "virtual_vci/scenario/patterns.h"

namespace virtual_vci {

/// CRC-8 with polynomial 0x1D, begun with 0xFF and inverted at the end.
std::uint8_t J1850Crc(std::span<const std::uint8_t> bytes);

struct J1850Frame {
  using Priority = std::uint64_t;

  static J1850Frame Make(Bytes bytes) {
    const std::uint8_t crc = J1850Crc(bytes);
    return {std::move(bytes), crc, false};
  }
  /// A level that lasts longer than any symbol: everybody notices, at whatever speed.
  static J1850Frame Break() { return {{}, 0, true}; }

  bool IsIntact() const { return !isBreak && crc == J1850Crc(bytes); }

  Bytes bytes;  ///< header and data
  std::uint8_t crc = 0;
  bool isBreak = false;
};

/// The wires decide bit by bit, and 0 wins: the first eight bytes here. A break, which has none,
/// goes before everything.
J1850Frame::Priority PriorityOf(const J1850Frame& frame);

/// Variable pulse width: a bit is a level of either length, so what a frame takes depends on its
/// bits. With the pause behind it, in microseconds at 10,400 bit/s.
std::uint64_t VpwMicroseconds(const J1850Frame& frame);

/// Pulse width modulation: every bit takes the same. With the in-frame response of one byte, if
/// there is one, and the pause behind it, in bits.
std::uint64_t PwmBits(const J1850Frame& frame, bool withResponse);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_J1850_FRAME_H_
