/// \file
/// CAN frames, and how applications write them.
#ifndef VIRTUAL_VCI_VEHICLE_CAN_FRAME_H_
#define VIRTUAL_VCI_VEHICLE_CAN_FRAME_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace virtual_vci {

struct CanFrame {
  using Priority = std::uint32_t;

  std::uint32_t id = 0;
  bool extended = false;  ///< 29-bit identifier
  std::uint8_t size = 0;
  std::array<std::uint8_t, 8> data{};
  bool highVoltage = false;  ///< of single-wire CAN: it wakes nodes that sleep

  static CanFrame Make(std::uint32_t id, bool extended, std::span<const std::uint8_t> bytes);
  std::span<const std::uint8_t> Bytes() const { return {data.data(), size}; }
};

/// The lowest identifier goes first.
CanFrame::Priority PriorityOf(const CanFrame& frame);

/// How long a frame and the pause behind it take on the wire, without stuff bits, in bits.
std::uint32_t BitsOf(const CanFrame& frame);

inline constexpr std::size_t kIdentifierBytes = 4;

/// A frame as applications see it, in a small buffer of its own.
struct FrameBytes {
  explicit FrameBytes(const CanFrame& frame);
  std::span<const std::uint8_t> All() const { return {bytes.data(), size}; }
  std::span<const std::uint8_t> Identifier() const { return {bytes.data(), 4}; }

  std::array<std::uint8_t, 12> bytes{};
  std::size_t size = 0;
};

/// The frame that message bytes stand for; none if they are none (fewer than 4 or more than 12
/// bytes, identifier too large for its format).
std::optional<CanFrame> FrameOf(std::span<const std::uint8_t> message, bool extended);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_CAN_FRAME_H_
