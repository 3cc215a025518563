#include "protocols/resource_names.h"

#include "pdu/pdu_api.h"
#include "pdu/result_map.h"

namespace passbridge {

namespace {

constexpr pdu::ResultMap kLookUpResults{ERR_FAILED,
                                        {{PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
                                         {PDU_ERR_INVALID_PARAMETERS, ERR_NOT_SUPPORTED},
                                         {PDU_ERR_VALUE_NOT_SUPPORTED, ERR_NOT_SUPPORTED}}};

}  // namespace

Status LookUpResource(const Method& method, T_PDU_OBJT objectType, const char* shortName,
                      PDU_RSC_DATA* resource) {
  return Traced(method, [&](Exits& exit) -> Status {
    if (resource == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL Resource Data Pointer.");
    }
    const bool isBusType = objectType == PDU_OBJT_BUSTYPE;
    UNUM32 identifier = PDU_ID_UNDEF;
    // The API's names are not const; it does not write to them.
    const T_PDU_ERROR result =
        pdu::Api().PDUGetObjectId(objectType, const_cast<char*>(shortName), &identifier);
    if (const Status status = kLookUpResults(result)) {
      return exit.Fail(
          2, status, isBusType ? "Error getting BusTypeID." : "Error getting ProtocolID.", result);
    }
    (isBusType ? resource->BusTypeId : resource->ProtocolId) = identifier;
    return exit.Normal();
  });
}

}  // namespace passbridge
