#include "virtual_vci/vehicle/gm_uart_frame.h"

#include <numeric>

namespace virtual_vci {

namespace {

constexpr std::uint8_t kLengthBase = 0x52;

std::uint8_t Sum(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0u));
}

}  // namespace

std::optional<std::size_t> GmUartLength(std::span<const std::uint8_t> begin) {
  if (begin.size() < 2 || begin[1] < kLengthBase + kGmUartOverhead) return std::nullopt;
  return std::size_t{begin[1]} - kLengthBase;
}

bool IsGmUartFrame(std::span<const std::uint8_t> bytes) {
  return GmUartLength(bytes) == bytes.size() && Sum(bytes) == 0;
}

Bytes GmUartFrame(std::uint8_t device, std::span<const std::uint8_t> data) {
  Bytes frame{device, static_cast<std::uint8_t>(kLengthBase + kGmUartOverhead + data.size())};
  frame.insert(frame.end(), data.begin(), data.end());
  return WithGmUartChecksum(std::move(frame));
}

Bytes WithGmUartChecksum(Bytes bytes) {
  const auto length = GmUartLength(bytes);
  if (!length || *length > bytes.size()) bytes.push_back(static_cast<std::uint8_t>(-Sum(bytes)));
  return bytes;
}

}  // namespace virtual_vci
