#include "protocols/resource_names.h"

#include "j2534/protocol.h"
#include "pdu/pdu_api.h"
#include "pdu/result_map.h"

namespace passbridge {

namespace {

constexpr pdu::ResultMap kLookUpResults{ERR_FAILED,
                                        {{PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
                                         {PDU_ERR_INVALID_PARAMETERS, ERR_NOT_SUPPORTED},
                                         {PDU_ERR_VALUE_NOT_SUPPORTED, ERR_NOT_SUPPORTED}}};

/// What is looked up, where its identifier goes, and how a failure is reported.
struct LookUp {
  T_PDU_OBJT objectType;
  const char* (*shortName)(std::uint32_t protocolId);
  UNUM32 PDU_RSC_DATA::*identifier;
  const char* failure;
};

Status Perform(const LookUp& lookUp, const Method& method, std::uint32_t protocolId,
               PDU_RSC_DATA* resource) {
  return Traced(method, [&](Exits& exit) -> Status {
    if (resource == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL Resource Data Pointer.");
    }
    UNUM32 identifier = PDU_ID_UNDEF;
    // The API's names are not const; it does not write to them.
    const T_PDU_ERROR result = pdu::Api().PDUGetObjectId(
        lookUp.objectType, const_cast<char*>(lookUp.shortName(protocolId)), &identifier);
    if (const Status status = kLookUpResults(result)) {
      return exit.Fail(2, status, lookUp.failure, result);
    }
    resource->*lookUp.identifier = identifier;
    return exit.Normal();
  });
}

}  // namespace

Status LookUpBusType(const Method& method, std::uint32_t protocolId, PDU_RSC_DATA* resource) {
  constexpr LookUp kLookUp{PDU_OBJT_BUSTYPE, PduBusTypeName, &PDU_RSC_DATA::BusTypeId,
                           "Error getting BusTypeID."};
  return Perform(kLookUp, method, protocolId, resource);
}

Status LookUpProtocol(const Method& method, std::uint32_t protocolId, PDU_RSC_DATA* resource) {
  constexpr LookUp kLookUp{PDU_OBJT_PROTOCOL, PduProtocolName, &PDU_RSC_DATA::ProtocolId,
                           "Error getting ProtocolID."};
  return Perform(kLookUp, method, protocolId, resource);
}

}  // namespace passbridge
