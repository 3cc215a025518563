/// \file
/// Messages on a K line.
#ifndef VIRTUAL_VCI_VEHICLE_KLINE_FRAME_H_
#define VIRTUAL_VCI_VEHICLE_KLINE_FRAME_H_

#include <cstdint>
#include <optional>
#include <span>

#include "virtual_vci/scenario/kline_port_config.h"

namespace virtual_vci {

/// A request as an ECU reads it.
struct KLineRequest {
  std::uint8_t target = 0;
  std::uint8_t source = 0;
  bool functional = false;
  Bytes data;
};

/// Sum of all bytes modulo 256.
std::uint8_t KLineChecksum(std::span<const std::uint8_t> bytes);

/// How many bytes an ISO 14230 message has, checksum included; none while too few are known.
std::optional<std::size_t> Iso14230Length(std::span<const std::uint8_t> begin);

/// None if the bytes are no whole message with a right checksum, or have no address.
std::optional<KLineRequest> ReadKLineRequest(KLineHeader header,
                                             std::span<const std::uint8_t> bytes);
/// With its checksum.
Bytes KLineResponse(KLineHeader header, std::uint8_t target, std::uint8_t source,
                    std::span<const std::uint8_t> data);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_KLINE_FRAME_H_
