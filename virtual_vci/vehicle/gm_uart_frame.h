/// \file
/// Frames of GM UART (SAE J2740): device identifier, length, mode and data, checksum.
#ifndef VIRTUAL_VCI_VEHICLE_GM_UART_FRAME_H_
#define VIRTUAL_VCI_VEHICLE_GM_UART_FRAME_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "virtual_vci/scenario/patterns.h"

namespace virtual_vci {

/// Bytes beside mode and data.
inline constexpr std::size_t kGmUartOverhead = 3;

inline constexpr std::size_t kLongestGmUartData = 0xFF - 0x52 - kGmUartOverhead;

/// How many bytes a frame that begins so has, its checksum included; none while too few are known,
/// or if the length byte is none.
std::optional<std::size_t> GmUartLength(std::span<const std::uint8_t> begin);
/// Whether the bytes are a whole frame with a right checksum, which makes the sum of all 0.
bool IsGmUartFrame(std::span<const std::uint8_t> bytes);
/// Whether a frame is a master's question whether a device has something to say.
inline bool IsGmUartPoll(std::span<const std::uint8_t> frame) {
  return frame.size() == kGmUartOverhead;
}
/// `data`: mode and data; none for a poll, or for a device that has nothing to say.
Bytes GmUartFrame(std::uint8_t device, std::span<const std::uint8_t> data);
/// With the checksum, if the frame is without.
Bytes WithGmUartChecksum(Bytes bytes);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_GM_UART_FRAME_H_
