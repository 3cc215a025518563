// What is special about ISO 15765 channels.

#include "protocols/channel_iso15765.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "channel_fixture.h"
#include "protocols/channel_factory.h"

namespace passbridge {
namespace {

using test::CanMessage;

struct ChannelIso15765Test : test::ChannelFixture {
  OwnedChannel Make() override { return CreateChannel(type); }

  ProtocolType type = ISO15765;
};

PassThruMsg IsoMessage(std::vector<std::uint8_t> bytes, std::uint32_t txFlags = 0) {
  return CanMessage(std::move(bytes), ISO15765, txFlags);
}

/// A message of `size` bytes to 7E0.
PassThruMsg RequestOf(std::size_t size) {
  std::vector<std::uint8_t> bytes{0, 0, 7, 0xE0};
  bytes.resize(size);
  return IsoMessage(std::move(bytes));
}

TEST_F(ChannelIso15765Test, NamesItsResourceByTheProtocol) {
  struct Case {
    std::uint32_t protocolId;
    ProtocolType type;
    const char* busType;
  };
  for (const Case& c : {Case{ISO15765, ISO15765, "ISO_11898_2_DWCAN"},
                        Case{FT_ISO15765_PS, ISO15765, "ISO_11898_3_DWFTCAN"},
                        Case{FGA7274, FGA7274, "ISO_11898_2_DWCAN"},
                        Case{FT_FGA7274, FGA7274, "ISO_11898_3_DWFTCAN"}}) {
    type = c.type;
    ASSERT_EQ(Connect(c.protocolId), STATUS_NOERROR);
    PDU_RSC_DATA resource{};
    EXPECT_EQ(channel->GetPduResourceBusTypeId(&resource), STATUS_NOERROR);
    EXPECT_EQ(resource.BusTypeId, pdu.IdOf(PDU_OBJT_BUSTYPE, c.busType)) << c.protocolId;
    EXPECT_EQ(channel->GetPduResourceProtocolId(&resource), STATUS_NOERROR);
    EXPECT_EQ(resource.ProtocolId, pdu.IdOf(PDU_OBJT_PROTOCOL, "SAE_J2190_on_ISO_15765_2"));
  }
}

TEST_F(ChannelIso15765Test, SetsItsComParams) {
  struct Case {
    const char* name;
    UNUM32 before;
    UNUM32 after;
    UNUM32 ofTheMakersVariant;
  };
  const std::vector<Case> cases{{"CP_TransmitIndEnable", 0, 1, 1},
                                {"CP_CanFillerByteHandling", 1, 0, 0},
                                {"CP_CanFillerByte", 0x55, 0, 0},
                                {"CP_CanFuncReqFormat", 5, 0x80, 0x80},
                                {"CP_StartMsgIndEnable", 0, 1, 1},
                                {"CP_P3Func", 5, 0, 0},
                                {"CP_P3Phys", 5, 0, 0},
                                {"CP_Br", 5, 1, 1},
                                {"CP_Cs", 5, 0, 0},
                                {"CP_Bs", 5, 5, 250000},
                                {"CP_Cr", 5, 5, 30000},
                                {"CP_CanFirstConsecutiveFrameValue", 1, 1, 0}};
  for (const bool variant : {false, true}) {
    type = variant ? FGA7274 : ISO15765;
    for (const Case& c : cases) pdu.SetComParam(c.name, test::ParamSpec::Number(c.before));
    ASSERT_EQ(Connect(type, CAN_ID_BOTH), STATUS_NOERROR);
    if (variant) {
      ASSERT_EQ(Configure({{J1962_PINS, 0x060E}}), STATUS_NOERROR);
    }
    for (const Case& c : cases) {
      EXPECT_EQ(pdu.ComParamValue(c.name), variant ? c.ofTheMakersVariant : c.after)
          << c.name << " of " << type;
    }
  }
}

TEST_F(ChannelIso15765Test, PassesTheFlagsOfAFrameOn) {
  struct Case {
    std::uint32_t txFlags;
    std::vector<UNUM8> inTheCop;
  };
  ASSERT_EQ(Connect(ISO15765), STATUS_NOERROR);
  std::uint32_t sent = 0;
  for (const Case& c : {Case{0, {0x20, 0, 0, 0}}, Case{ISO15765_FRAME_PAD, {0x20, 0, 0, 0x40}},
                        Case{CAN_29BIT_ID | ISO15765_ADDR_TYPE | WAIT_P3_MIN_ONLY | 0x80000000,
                             {0x20, 0, 1, 0x80}}}) {
    EXPECT_EQ(Write({IsoMessage({0, 0, 7, 0xE0, 1}, c.txFlags)}, 0, &sent), STATUS_NOERROR);
    EXPECT_EQ(pdu.StartedCops().back().txFlags, c.inTheCop) << c.txFlags;
  }
}

TEST_F(ChannelIso15765Test, AcceptsMessagesOfTheSizesThatTheIdentifiersLeave) {
  struct Case {
    std::uint32_t flags;
    std::uint32_t size;
    std::uint32_t rxStatus;
    Status status;
  };
  for (const Case& c :
       {Case{0, 3, 0, ERR_INVALID_MSG}, Case{0, 4, 0, STATUS_NOERROR},
        Case{0, 4099, 0, STATUS_NOERROR}, Case{0, 4100, 0, ERR_INVALID_MSG},
        Case{CAN_ID_BOTH, 4, 0, ERR_INVALID_MSG}, Case{CAN_ID_BOTH, 4100, 0, STATUS_NOERROR},
        Case{CAN_ID_BOTH, 4101, 0, ERR_INVALID_MSG},
        Case{CAN_ID_BOTH, 4, START_OF_MESSAGE, STATUS_NOERROR},
        Case{CAN_ID_BOTH, 4, TX_DONE | TX_MSG_TYPE, STATUS_NOERROR},
        Case{CAN_ID_BOTH, 4, TX_MSG_TYPE, ERR_INVALID_MSG}}) {
    ASSERT_EQ(Connect(ISO15765, c.flags), STATUS_NOERROR);
    EXPECT_EQ(channel->ValidateMessage(c.size, nullptr, c.rxStatus), c.status)
        << c.size << " bytes, flags " << c.flags << ", status " << c.rxStatus;
  }
}

TEST_F(ChannelIso15765Test, DemandsAFlowControlFilterForMoreThanAFrame) {
  ASSERT_EQ(Connect(ISO15765), STATUS_NOERROR);
  std::uint32_t sent = 0;
  EXPECT_EQ(Write({RequestOf(12)}, 0, &sent), STATUS_NOERROR);
  EXPECT_EQ(Write({RequestOf(13)}, 0, &sent), ERR_NO_FLOW_CONTROL);
  EXPECT_EQ(sent, 0U);

  PassThruMsg mask = IsoMessage({0xFF, 0xFF, 0xFF, 0xFF});
  PassThruMsg response = IsoMessage({0, 0, 7, 0xE8});
  PassThruMsg request = RequestOf(4);
  std::uint32_t id = 0;
  ASSERT_EQ(
      channel->PassThruStartMsgFilter(FLOW_CONTROL_FILTER, AppMessage(mask), AppMessage(response),
                                      AppMessage(request), AppValue(id)),
      STATUS_NOERROR);
  EXPECT_EQ(Write({RequestOf(13)}, 0, &sent), STATUS_NOERROR);
  PassThruMsg toAnother = RequestOf(13);
  toAnother.data[3] = 0xE1;
  EXPECT_EQ(Write({RequestOf(13), toAnother}, 0, &sent), ERR_NO_FLOW_CONTROL);
  EXPECT_EQ(sent, 1U);
  PassThruMsg endless = RequestOf(13);
  endless.dataSize = 0xFFFFFFFF;
  EXPECT_EQ(Write({endless}, 0, &sent), ERR_INVALID_MSG);
}

TEST_F(ChannelIso15765Test, PeriodicMessagesOfTheMakersVariantRunOnAnOrdinaryLink) {
  type = FGA7274;
  ASSERT_EQ(Connect(FGA7274), STATUS_NOERROR);
  ASSERT_EQ(Configure({{LOOPBACK, 1}, {J1962_PINS, 0x060E}}), STATUS_NOERROR);
  pdu.SetComParam("CP_Loopback", {});
  pdu.SetComParam("CP_Bs", {});
  std::uint32_t id = 0;
  ASSERT_EQ(StartPeriodic(5, &id, FGA7274), STATUS_NOERROR);
  const std::vector<std::string> created = pdu.Calls().Of("PDUCreateComLogicalLink");
  ASSERT_EQ(created.size(), 2U);
  EXPECT_EQ(created[0], created[1]) << "on the same pins";
  EXPECT_EQ(pdu.ComParamValue("CP_Loopback"), 1U) << "and heard as the channel is";
  EXPECT_EQ(pdu.ComParamValue("CP_Bs"), 0U) << "without the variant's time-outs";
}

}  // namespace
}  // namespace passbridge
