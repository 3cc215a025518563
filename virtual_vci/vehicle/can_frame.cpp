#include "virtual_vci/vehicle/can_frame.h"

#include <algorithm>

namespace virtual_vci {

namespace {

constexpr std::uint32_t kStandardOverhead = 47;
constexpr std::uint32_t kExtendedOverhead = 67;
constexpr std::uint32_t kMaxStandardId = 0x7FF;
constexpr std::uint32_t kMaxExtendedId = 0x1FFFFFFF;

}  // namespace

CanFrame CanFrame::Make(std::uint32_t id, bool extended, std::span<const std::uint8_t> bytes) {
  CanFrame frame{
      id, extended, static_cast<std::uint8_t>(std::min<std::size_t>(bytes.size(), 8)), {}, false};
  std::copy_n(bytes.begin(), frame.size, frame.data.begin());
  return frame;
}

CanFrame::Priority PriorityOf(const CanFrame& frame) {
  return frame.extended ? (frame.id << 1 | 1u) : (frame.id << 19);
}

std::uint32_t BitsOf(const CanFrame& frame) {
  return (frame.extended ? kExtendedOverhead : kStandardOverhead) + 8u * frame.size;
}

FrameBytes::FrameBytes(const CanFrame& frame) : size(kIdentifierBytes + frame.size) {
  for (std::size_t i = 0; i < kIdentifierBytes; ++i)
    bytes[i] = static_cast<std::uint8_t>(frame.id >> (24 - 8 * i));
  std::copy_n(frame.data.begin(), frame.size, bytes.begin() + kIdentifierBytes);
}

std::optional<CanFrame> FrameOf(std::span<const std::uint8_t> message, bool extended) {
  if (message.size() < kIdentifierBytes || message.size() > kIdentifierBytes + 8)
    return std::nullopt;
  std::uint32_t id = 0;
  for (std::size_t i = 0; i < kIdentifierBytes; ++i) id = id << 8 | message[i];
  if (id > (extended ? kMaxExtendedId : kMaxStandardId)) return std::nullopt;
  return CanFrame::Make(id, extended, message.subspan(kIdentifierBytes));
}

}  // namespace virtual_vci
