/// \file
/// A download into an ECU: the blocks that come, their order and their checksum.
#ifndef VIRTUAL_VCI_VEHICLE_UDS_DOWNLOAD_H_
#define VIRTUAL_VCI_VEHICLE_UDS_DOWNLOAD_H_

#include <cstdint>
#include <span>

#include "virtual_vci/vehicle/ecu_services.h"

namespace virtual_vci {

/// CRC-32 (polynomial 0x04C11DB7, reflected), as it is known from archives; `crc` of what came
/// before.
std::uint32_t Crc32(std::span<const std::uint8_t> bytes, std::uint32_t crc = 0);

/// Guarded by the module's lock. The data itself isn't kept, only its checksum.
class Download {
 public:
  /// Longest block, with service and block number.
  static constexpr std::uint16_t kMaxBlock = 4095;

  bool Active() const { return active_; }
  std::uint32_t Checksum() const { return crc_; }
  /// Bytes of the last complete download.
  std::uint32_t Completed() const { return completed_; }

  Refusal Begin(std::uint32_t size, std::uint32_t limit);
  /// A block with its number; the same one again is accepted and counts once.
  Refusal Block(std::uint8_t number, std::span<const std::uint8_t> data);
  Refusal End();
  void Abort() { active_ = false; }

 private:
  bool active_ = false;
  std::uint32_t size_ = 0;
  std::uint32_t received_ = 0;
  std::uint32_t completed_ = 0;
  std::uint32_t crc_ = 0;
  std::uint8_t lastBlock_ = 0;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_UDS_DOWNLOAD_H_
