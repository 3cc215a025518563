// How the link of a channel comes into being, and goes again.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "channel_fixture.h"
#include "support/trace_observer.h"

namespace passbridge {
namespace {

using test::NamesOf;
using test::ScriptedPdu;

using ChannelConnectTest = test::ChannelFixture;

TEST_F(ChannelConnectTest, StartsReceptionThenCommunicationThenTheUpdate) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  EXPECT_EQ(
      NamesOf(pdu.Calls().All()),
      (std::vector<std::string>{
          "PDUCreateComLogicalLink", "PDURegisterEventCallback", "PDUGetComParam", "PDUSetComParam",
          "PDUGetComParam", "PDUConnect", "PDUIoCtl", "PDUStartComPrimitive", "PDUGetComParam",
          "PDUSetComParam", "PDUGetComParam", "PDUSetComParam", "PDUStartComPrimitive"}));
  EXPECT_EQ(pdu.ComParamValue("CP_Baudrate"), 500000U);
  const std::vector<test::StartedCop> cops = pdu.StartedCops();
  ASSERT_EQ(cops.size(), 3U);
  EXPECT_EQ(cops[0].control.NumReceiveCycles, -1);
  EXPECT_EQ(cops[0].txFlags, (std::vector<UNUM8>{0xA0, 1, 0, 0}));
  EXPECT_EQ(cops[1].type, T_PDU_COPT{PDU_COPT_STARTCOMM});
  EXPECT_EQ(cops[2].type, T_PDU_COPT{PDU_COPT_UPDATEPARAM});

  pdu.Calls().Clear();
  EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR);
  EXPECT_EQ(NamesOf(pdu.Calls().All()),
            (std::vector<std::string>{"PDUDisconnect", "PDUDestroyComLogicalLink"}));
  EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR) << "nothing to do any more";
}

TEST_F(ChannelConnectTest, KLinesDoNotStartCommunicationByThemselves) {
  for (const std::uint32_t protocolId : {ISO9141, ISO14230}) {
    const std::size_t before = pdu.StartedCops().size();
    ASSERT_EQ(Connect(protocolId, 0, 10400), STATUS_NOERROR);
    EXPECT_EQ(pdu.StartedCops().size(), before + 2);  // reception and update
  }
}

TEST_F(ChannelConnectTest, RefusesWhatTheProtocolDoesNotAdmit) {
  struct Case {
    std::uint32_t protocolId, flags, baudRate;
    Status status;
    Location location;
  };
  for (const Case& c :
       {Case{CAN_CH1, 0, 500000, ERR_NOT_SUPPORTED, 0x02230001},
        Case{CAN, 0, 4, ERR_INVALID_BAUDRATE, 0x02230002},
        Case{CAN, 0, 500001, ERR_INVALID_BAUDRATE, 0x02230002},
        Case{CAN, ISO9141_K_LINE_ONLY, 500000, ERR_INVALID_FLAGS, 0x02230003},
        Case{ISO15765, ISO9141_K_LINE_ONLY, 500000, ERR_INVALID_FLAGS, 0x02230004},
        Case{ISO14230, CAN_29BIT_ID, 10400, ERR_INVALID_FLAGS, 0x02230005},
        Case{ISO9141, CAN_29BIT_ID, 10400, ERR_INVALID_FLAGS, 0x02230006},
        Case{J1850VPW, ISO9141_K_LINE_ONLY, 10400, ERR_INVALID_FLAGS, 0x02230007}}) {
    EXPECT_EQ(Connect(c.protocolId, c.flags, c.baudRate), c.status);
    EXPECT_EQ(LastLocation(), c.location);
  }
  EXPECT_EQ(Connect(CAN, 0x01000000), STATUS_NOERROR) << "the manufacturer's byte is not checked";
}

TEST_F(ChannelConnectTest, FailureOfAnyStepIsReportedAndLeavesNoLink) {
  using F = std::function<void(ScriptedPdu&)>;
  const auto start = [](std::size_t cop, T_PDU_ERROR result) -> F {
    return [=](ScriptedPdu& p) {
      for (std::size_t i = 0; i < cop; ++i) p.PDUStartComPrimitive.Next({PDU_STATUS_NOERROR});
      p.PDUStartComPrimitive.Next({result});
    };
  };
  const auto create = [](T_PDU_ERROR result) -> F {
    return [=](ScriptedPdu& p) { p.PDUCreateComLogicalLink.Next({result}); };
  };
  const auto connect = [](T_PDU_ERROR result) -> F {
    return [=](ScriptedPdu& p) { p.PDUConnect.Next({result}); };
  };
  struct Case {
    F fail;
    Status status;
    std::size_t links;  // created, and so to be destroyed
    std::string report;
    std::string ofConnect = "0223000E Error connecting to vehicle.";
  };
  const std::string noLink = "020D0005 Error creating ComLogicalLink.";
  const std::string noVehicle = "020D0007 Error connecting to the vehicle.";
  const std::string noStart = "020D000C Error starting communication.";
  const std::string noCommit = "02230010 Error committing Parameter Value.";
  for (const Case& c : std::vector<Case>{
           {create(PDU_ERR_COMM_PC_TO_VCI_FAILED), ERR_DEVICE_NOT_CONNECTED, 0, noLink},
           {create(PDU_ERR_PDUAPI_NOT_CONSTRUCTED), ERR_INVALID_DEVICE_ID, 0, noLink},
           {create(PDU_ERR_RESOURCE_BUSY), ERR_CHANNEL_IN_USE, 0, noLink},
           {create(PDU_ERR_RESOURCE_ERROR), ERR_INVALID_PROTOCOL_ID, 0, noLink},
           {create(PDU_ERR_INVALID_PARAMETERS), ERR_PIN_INVALID, 0, noLink},
           {create(PDU_ERR_FCT_FAILED), ERR_FAILED, 0, noLink},
           {[](auto& p) { p.PDUSetComParam.Next({PDU_ERR_FCT_FAILED}); }, ERR_FAILED, 1,
            "020D0006 Error setting connection ComParameters."},
           {connect(PDU_ERR_COMM_PC_TO_VCI_FAILED), ERR_DEVICE_NOT_CONNECTED, 1, noVehicle},
           {connect(PDU_ERR_PDUAPI_NOT_CONSTRUCTED), ERR_INVALID_DEVICE_ID, 1, noVehicle},
           {connect(PDU_ERR_INVALID_HANDLE), ERR_DEVICE_NOT_CONNECTED, 1, noVehicle},
           {connect(PDU_ERR_FCT_FAILED), ERR_FAILED, 1, noVehicle},
           {[](auto& p) { p.PDUIoCtl.Next({PDU_ERR_ID_NOT_SUPPORTED}); }, ERR_NOT_SUPPORTED, 1,
            "020D000D Could not download filters into PDU API."},
           {start(0, PDU_ERR_CLL_NOT_STARTED), ERR_INVALID_CHANNEL_ID, 1,
            "020D000A Creating RecvOnly CoP."},
           {start(1, PDU_ERR_TX_QUEUE_FULL), ERR_NOT_SUPPORTED, 1, noStart},
           {start(1, PDU_ERR_PDUAPI_NOT_CONSTRUCTED), ERR_DEVICE_NOT_CONNECTED, 1, noStart},
           {start(2, PDU_ERR_CLL_NOT_STARTED), ERR_INVALID_CHANNEL_ID, 1, noCommit, noCommit}}) {
    pdu.Calls().Clear();
    c.fail(pdu);
    const test::Outcome outcome = test::Observe([this] { return Connect(); });
    test::ExpectReported(outcome, c.status, c.report);
    test::ExpectReported(outcome, c.status, c.ofConnect);
    EXPECT_FALSE(channel->HasLink()) << c.report;
    // The filters are downloaded, by an I/O control, as soon as the link is connected.
    const std::size_t connected = pdu.Calls().Count("PDUIoCtl") != 0 ? 1 : 0;
    EXPECT_EQ(pdu.Calls().Count("PDUDisconnect"), connected) << c.report;
    EXPECT_EQ(pdu.Calls().Count("PDUDestroyComLogicalLink"), c.links) << c.report;
    EXPECT_EQ(pdu.Items().Alive(), 0U) << c.report;
  }
}

TEST_F(ChannelConnectTest, FirstCauseIsTheOneThatIsRecorded) {
  pdu.PDUConnect.Next({PDU_ERR_FCT_FAILED});
  EXPECT_EQ(Connect(), ERR_FAILED);
  EXPECT_EQ(LastLocation(), 0x020D0007U);
  EXPECT_EQ(record.LastPduCode(), PDU_ERR_FCT_FAILED);
}

TEST_F(ChannelConnectTest, FailureToGoIsReportedAndKeepsTheLink) {
  struct Case {
    bool destroys;
    T_PDU_ERROR result;
    Status status;
  };
  for (const Case& c : {Case{false, PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
                        Case{false, PDU_ERR_CLL_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED},
                        Case{false, PDU_ERR_INVALID_HANDLE, ERR_DEVICE_NOT_CONNECTED},
                        Case{false, PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
                        Case{false, PDU_ERR_FCT_FAILED, ERR_FAILED},
                        Case{true, PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
                        Case{true, PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
                        Case{true, PDU_ERR_INVALID_HANDLE, ERR_INVALID_DEVICE_ID},
                        Case{true, PDU_ERR_FCT_FAILED, ERR_FAILED}}) {
    ASSERT_EQ(Connect(), STATUS_NOERROR);
    if (c.destroys) {
      pdu.PDUDestroyComLogicalLink.Next({c.result});
    } else {
      pdu.PDUDisconnect.Next({c.result});
    }
    const test::Outcome outcome = test::Observe([this] { return channel->PassThruDisconnect(); });
    test::ExpectReport(outcome, c.status, "02240004 Error destroying ComLogicalLink.");
    EXPECT_EQ(outcome.recorded, c.destroys ? 0x02220001U : 0x02240003U);
    EXPECT_TRUE(channel->HasLink());
    EXPECT_TRUE(channel->IsVehicleConnected());
  }
}

}  // namespace
}  // namespace passbridge
