#include "virtual_vci/vehicle/uds_download.h"

#include <array>

namespace virtual_vci {

namespace {

constexpr std::array<std::uint32_t, 256> MakeTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    std::uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320u : 0u);
    table[i] = value;
  }
  return table;
}

constexpr auto kCrcTable = MakeTable();

}  // namespace

std::uint32_t Crc32(std::span<const std::uint8_t> bytes, std::uint32_t crc) {
  crc = ~crc;
  for (const std::uint8_t byte : bytes) crc = (crc >> 8) ^ kCrcTable[(crc ^ byte) & 0xFF];
  return ~crc;
}

Refusal Download::Begin(std::uint32_t size, std::uint32_t limit) {
  if (size == 0 || size > limit) return Refusal::kDownloadNotAccepted;
  *this = Download{};
  active_ = true;
  size_ = size;
  return Refusal::kNone;
}

Refusal Download::Block(std::uint8_t number, std::span<const std::uint8_t> data) {
  if (!active_) return Refusal::kSequenceError;
  if (data.empty()) return Refusal::kWrongLength;
  if (received_ != 0 && number == lastBlock_) return Refusal::kNone;
  if (number != static_cast<std::uint8_t>(lastBlock_ + 1)) return Refusal::kWrongBlock;
  if (data.size() > size_ - received_) return Refusal::kTransferSuspended;
  lastBlock_ = number;
  received_ += static_cast<std::uint32_t>(data.size());
  crc_ = Crc32(data, crc_);
  return Refusal::kNone;
}

Refusal Download::End() {
  if (!active_ || received_ != size_) return Refusal::kSequenceError;
  active_ = false;
  completed_ = size_;
  return Refusal::kNone;
}

}  // namespace virtual_vci
