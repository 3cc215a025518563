#include "virtual_vci/vehicle/kline_frame.h"

#include <numeric>

namespace virtual_vci {

namespace {

constexpr std::uint8_t kAddressMode = 0xC0;
constexpr std::uint8_t kPhysical = 0x80;
constexpr std::uint8_t kFunctional = 0xC0;
constexpr std::uint8_t kLengthBits = 0x3F;
constexpr std::size_t kIso9141Header = 3;

struct Layout {
  std::size_t header;
  std::size_t data;
};

std::optional<Layout> LayoutOf(std::span<const std::uint8_t> begin) {
  if (begin.empty()) return std::nullopt;
  const std::size_t header = (begin[0] & kAddressMode) != 0 ? 3 : 1;
  const std::size_t inFormat = begin[0] & kLengthBits;
  if (inFormat != 0) return Layout{header, inFormat};
  if (begin.size() <= header) return std::nullopt;
  return Layout{header + 1, begin[header]};
}

std::optional<KLineRequest> ReadIso14230(std::span<const std::uint8_t> bytes) {
  const auto layout = LayoutOf(bytes);
  if (!layout || bytes.size() != layout->header + layout->data + 1) return std::nullopt;
  const std::uint8_t mode = bytes[0] & kAddressMode;
  if ((mode != kPhysical && mode != kFunctional) || layout->data == 0) return std::nullopt;
  const auto data = bytes.subspan(layout->header, layout->data);
  return KLineRequest{bytes[1], bytes[2], mode == kFunctional, Bytes(data.begin(), data.end())};
}

std::optional<KLineRequest> ReadIso9141(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kIso9141Header + 2 || bytes[0] != 0x68) return std::nullopt;
  const auto data = bytes.subspan(kIso9141Header, bytes.size() - kIso9141Header - 1);
  return KLineRequest{bytes[1], bytes[2], true, Bytes(data.begin(), data.end())};
}

}  // namespace

std::uint8_t KLineChecksum(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0u));
}

std::optional<std::size_t> Iso14230Length(std::span<const std::uint8_t> begin) {
  const auto layout = LayoutOf(begin);
  return layout ? std::optional(layout->header + layout->data + 1) : std::nullopt;
}

std::optional<KLineRequest> ReadKLineRequest(KLineHeader header,
                                             std::span<const std::uint8_t> bytes) {
  if (bytes.empty() || KLineChecksum(bytes.first(bytes.size() - 1)) != bytes.back())
    return std::nullopt;
  return header == KLineHeader::kIso9141 ? ReadIso9141(bytes) : ReadIso14230(bytes);
}

Bytes KLineResponse(KLineHeader header, std::uint8_t target, std::uint8_t source,
                    std::span<const std::uint8_t> data) {
  Bytes message;
  const bool fits = header == KLineHeader::kIso14230 && data.size() <= kLengthBits;
  if (header == KLineHeader::kIso9141) {
    message = {0x48, 0x6B, source};
  } else if (fits) {
    message = {static_cast<std::uint8_t>(kPhysical | data.size()), target, source};
  } else {
    message = {kPhysical, target, source, static_cast<std::uint8_t>(data.size())};
  }
  message.insert(message.end(), data.begin(), data.end());
  message.push_back(KLineChecksum(message));
  return message;
}

}  // namespace virtual_vci
