#ifndef PASSBRIDGE_PROTOCOLS_RESOURCE_NAMES_H_
#define PASSBRIDGE_PROTOCOLS_RESOURCE_NAMES_H_

#include "passbridge/d_pdu_api.h"
#include "trace/method.h"

namespace passbridge {

/// Looks up the identifier of a bus type or protocol of the D-PDU library by its short name.
/// @param method  how the calling method names itself
/// @param objectType  PDU_OBJT_BUSTYPE or PDU_OBJT_PROTOCOL; the cell of `resource` follows from it
Status LookUpResource(const Method& method, T_PDU_OBJT objectType, const char* shortName,
                      PDU_RSC_DATA* resource);

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_RESOURCE_NAMES_H_
