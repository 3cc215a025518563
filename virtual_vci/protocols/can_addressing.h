/// \file
/// CAN addresses in messages, ComParams and response tables.
#ifndef VIRTUAL_VCI_PROTOCOLS_CAN_ADDRESSING_H_
#define VIRTUAL_VCI_PROTOCOLS_CAN_ADDRESSING_H_

#include <span>

#include "virtual_vci/links/cop.h"
#include "virtual_vci/links/unique_resp.h"
#include "virtual_vci/scenario/can_port_config.h"
#include "virtual_vci/vehicle/can_frame.h"

namespace virtual_vci {

/// Bits of a CAN format ComParam (CP_CanPhysReqFormat and its like).
inline constexpr UNUM32 kFormat29Bit = 0x02;
inline constexpr UNUM32 kFormatExtended = 0x08;
inline constexpr UNUM32 kFormatPadded = 0x30;

CanAddress AddressOf(UNUM32 id, UNUM32 format, UNUM32 extension);
/// The ComParams of a row that say where it sends to, resp. receives from.
CanAddress RequestAddressOf(const UniqueRespEntry& entry);
CanAddress ResponseAddressOf(const UniqueRespEntry& entry);
/// Where a link that is not in raw mode sends to, as CP_RequestAddrMode says: the functional
/// address, or the physical one of the first row.
CanAddress RequestAddressOf(const ComParamSet& params, const UniqueRespTable& responses);

/// Identifier, and the address byte if there is one.
Bytes HeaderOf(const CanAddress& address);
/// Receive flags of a message with this address.
FlagBytes RxFlagsOf(const CanAddress& address);

/// What fills frames up to 8 bytes; none if they aren't filled up.
std::optional<std::uint8_t> FillerOf(const ComParamSet& params);

/// The messages of a ComPrimitive as they are in raw mode: address first, and transmit flags that
/// tell of it.
struct OutgoingMessages {
  FlagBytes flags{};
  std::vector<Bytes> messages;

  /// How many bytes the address of each has.
  std::size_t HeaderSize() const {
    return kIdentifierBytes + (Has(flags, kTxExtendedAddress) ? 1 : 0);
  }
};
OutgoingMessages Outgoing(const Cop& cop);
/// Of a ComPrimitive that holds payload only.
OutgoingMessages Outgoing(const Cop& cop, const CanAddress& to);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_CAN_ADDRESSING_H_
