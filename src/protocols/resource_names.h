#ifndef PASSBRIDGE_PROTOCOLS_RESOURCE_NAMES_H_
#define PASSBRIDGE_PROTOCOLS_RESOURCE_NAMES_H_

#include <cstdint>

#include "passbridge/d_pdu_api.h"
#include "trace/method.h"

namespace passbridge {

/// Looks up the identifiers that the D-PDU library has for the bus type and for the protocol of a
/// ProtocolID, and puts them into the resource.
/// @param method  how the calling method names itself
Status LookUpBusType(const Method& method, std::uint32_t protocolId, PDU_RSC_DATA* resource);
Status LookUpProtocol(const Method& method, std::uint32_t protocolId, PDU_RSC_DATA* resource);

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_RESOURCE_NAMES_H_
