#include "protocols/resource_names.h"

#include <gtest/gtest.h>

#include "passbridge/j2534.h"
#include "support/scripted_pdu.h"
#include "support/trace_observer.h"

namespace passbridge::test {

namespace {

constexpr Method kMethod{"CJ2534Channel_ISO15765::LookUp()", Module::ChannelIso15765, 0x42};

TEST(ResourceNamesTest, PutsEachIdentifierIntoItsPlace) {
  ScriptedPdu pdu;
  PDU_RSC_DATA resource{};
  EXPECT_EQ(LookUpBusType(kMethod, FT_ISO15765_PS, &resource), STATUS_NOERROR);
  EXPECT_EQ(resource.BusTypeId, pdu.IdOf(PDU_OBJT_BUSTYPE, "ISO_11898_3_DWFTCAN"));
  EXPECT_EQ(resource.ProtocolId, 0u);
  EXPECT_EQ(LookUpProtocol(kMethod, FT_ISO15765_PS, &resource), STATUS_NOERROR);
  EXPECT_EQ(resource.BusTypeId, pdu.IdOf(PDU_OBJT_BUSTYPE, "ISO_11898_3_DWFTCAN"));
  EXPECT_EQ(resource.ProtocolId, pdu.IdOf(PDU_OBJT_PROTOCOL, "SAE_J2190_on_ISO_15765_2"));
}

TEST(ResourceNamesTest, ReportsFailuresAsTheMethodThatLooksUp) {
  ScriptedPdu pdu;
  const struct {
    Status (*lookUp)(const Method&, std::uint32_t, PDU_RSC_DATA*);
    const char* failure;
  } rows[] = {{LookUpBusType, "07420002 Error getting BusTypeID."},
              {LookUpProtocol, "07420002 Error getting ProtocolID."}};
  const std::pair<T_PDU_ERROR, Status> results[] = {
      {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
      {PDU_ERR_INVALID_PARAMETERS, ERR_NOT_SUPPORTED},
      {PDU_ERR_VALUE_NOT_SUPPORTED, ERR_NOT_SUPPORTED},
      {PDU_ERR_FCT_FAILED, ERR_FAILED},
  };
  for (const auto& row : rows) {
    for (const auto& [result, status] : results) {
      pdu.PDUGetObjectId.Next({result});
      PDU_RSC_DATA resource{};
      const Outcome outcome = Observe([&] { return row.lookUp(kMethod, CAN, &resource); });
      ExpectReport(outcome, status, row.failure);
      EXPECT_EQ(outcome.recorded, 0x07420002u);
      EXPECT_EQ(resource.BusTypeId, 0u);
      EXPECT_EQ(resource.ProtocolId, 0u);
    }
    ExpectReport(Observe([&] { return row.lookUp(kMethod, CAN, nullptr); }), ERR_NULL_PARAMETER,
                 "07420001 NULL Resource Data Pointer.");
  }
}

}  // namespace

}  // namespace passbridge::test
