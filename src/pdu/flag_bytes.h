#ifndef PASSBRIDGE_PDU_FLAG_BYTES_H_
#define PASSBRIDGE_PDU_FLAG_BYTES_H_

#include <array>
#include <cstddef>
#include <cstdint>

#include "passbridge/d_pdu_api.h"

/// The flag bytes of ComPrimitives and of results: the J2534 TxFlags or RxStatus, most significant
/// byte first, and among them flags that only the D-PDU API has.
namespace passbridge::pdu {

using FlagBytes = std::array<UNUM8, 4>;

struct Flag {
  std::size_t byte;
  UNUM8 bit;
};

/// A ComPrimitive that sends raw CAN frames on an ISO 15765 link.
inline constexpr Flag kRawFrame{0, 0x04};
/// Several messages: in a ComPrimitive behind their number, in a result as records.
inline constexpr Flag kPacked{3, 0x20};

constexpr void SetFlag(FlagBytes& bytes, Flag flag) { bytes[flag.byte] |= flag.bit; }

/// Adds J2534 flags.
constexpr void SetFlags(FlagBytes& bytes, std::uint32_t j2534Flags) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] |= static_cast<UNUM8>(j2534Flags >> (24 - 8 * i));
  }
}

/// Whether received flags have one; they may be fewer than four bytes, or none.
inline bool HasFlag(const PDU_FLAG_DATA& flags, Flag flag) {
  return flags.pFlagData != nullptr && flag.byte < flags.NumFlagBytes &&
         (flags.pFlagData[flag.byte] & flag.bit) != 0;
}

}  // namespace passbridge::pdu

#endif  // PASSBRIDGE_PDU_FLAG_BYTES_H_
