// What is special about a CAN channel.

#include "protocols/channel_can.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "channel_fixture.h"

namespace passbridge {
namespace {

using test::CanMessage;
using test::NamesOf;

struct ChannelCanTest : test::ChannelFixture {
  OwnedChannel Make() override { return OwnedChannel(new CJ2534Channel_CAN); }
};

TEST_F(ChannelCanTest, SetsItsComParamsBeforeItConnects) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  EXPECT_EQ(
      NamesOf(pdu.Calls().All()),
      (std::vector<std::string>{
          "PDUGetObjectId", "PDUCreateComLogicalLink", "PDURegisterEventCallback", "PDUGetComParam",
          "PDUSetComParam", "PDUGetComParam", "PDUSetComParam", "PDUGetComParam", "PDUConnect",
          "PDUIoCtl", "PDUStartComPrimitive", "PDUGetComParam", "PDUSetComParam", "PDUGetComParam",
          "PDUSetComParam", "PDUStartComPrimitive"}));
}

TEST_F(ChannelCanTest, NamesItsResourceByTheProtocol) {
  struct Case {
    std::uint32_t protocolId;
    const char* busType;
  };
  for (const Case& c : {Case{CAN, "ISO_11898_2_DWCAN"}, Case{CAN_PS, "ISO_11898_2_DWCAN"},
                        Case{FT_CAN_PS, "ISO_11898_3_DWFTCAN"}}) {
    ASSERT_EQ(Connect(c.protocolId), STATUS_NOERROR);
    PDU_RSC_DATA resource{};
    EXPECT_EQ(channel->GetPduResourceBusTypeId(&resource), STATUS_NOERROR);
    EXPECT_EQ(resource.BusTypeId, pdu.IdOf(PDU_OBJT_BUSTYPE, c.busType)) << c.protocolId;
    EXPECT_EQ(channel->GetPduResourceProtocolId(&resource), STATUS_NOERROR);
    EXPECT_EQ(resource.ProtocolId, pdu.IdOf(PDU_OBJT_PROTOCOL, "ISO_11898_RAW"));
  }
  pdu.PDUGetObjectId.Next({PDU_ERR_INVALID_PARAMETERS});
  EXPECT_EQ(Connect(), ERR_NOT_SUPPORTED) << "the library has no such bus";
  EXPECT_EQ(pdu.Calls().Count("PDUCreateComLogicalLink"), 1U) << "no other than the first";
}

TEST_F(ChannelCanTest, ReceivesTheIdentifiersThatTheFlagsAskFor) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  EXPECT_EQ(pdu.ComParamValue("CP_CanFuncReqFormat"), 0x20U);
  ASSERT_EQ(Connect(CAN, CAN_ID_BOTH), STATUS_NOERROR);
  EXPECT_EQ(pdu.ComParamValue("CP_CanFuncReqFormat"), 0x80U);
}

TEST_F(ChannelCanTest, WritesSeveralMessagesInOneCop) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  std::uint32_t sent = 0;
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0, 1}), CanMessage({0, 0, 7, 0xDF}),
                   CanMessage({0, 0, 1, 2, 3, 4})},
                  1000, &sent),
            STATUS_NOERROR);
  EXPECT_EQ(sent, 3U);
  const test::StartedCop packed = pdu.StartedCops().back();
  EXPECT_EQ(packed.data, (std::vector<UNUM8>{3, 0, 0, 0,    5, 0, 0, 7, 0xE0, 1, 4,
                                             0, 0, 7, 0xDF, 6, 0, 0, 1, 2,    3, 4}));
  EXPECT_EQ(packed.txFlags, (std::vector<UNUM8>{0, 0, 0, 0x20}));

  EXPECT_EQ(Write({CanMessage({0x18, 0xDA, 0, 1}, CAN, CAN_29BIT_ID)}, 0, &sent), STATUS_NOERROR);
  EXPECT_EQ(pdu.StartedCops().back().data, (std::vector<UNUM8>{0x18, 0xDA, 0, 1}));
  EXPECT_EQ(pdu.StartedCops().back().txFlags, (std::vector<UNUM8>{0, 0, 1, 0}));
}

TEST_F(ChannelCanTest, AcceptsFrames) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  std::uint32_t sent = 0;
  for (const std::size_t size : {4U, 12U}) {
    EXPECT_EQ(Write({CanMessage(std::vector<UNUM8>(size))}, 0, &sent), STATUS_NOERROR);
  }
  for (const std::size_t size : {3U, 13U}) {
    EXPECT_EQ(Write({CanMessage(std::vector<UNUM8>(size))}, 0, &sent), ERR_INVALID_MSG);
    Deliver({.data = std::vector<UNUM8>(size)});
  }
  Deliver({.data = {0, 0, 7, 0xE8}});
  ASSERT_EQ(Read(1, 10000), STATUS_NOERROR);
  EXPECT_EQ(received[0].dataSize, 4U) << "the others are refused";
}

TEST_F(ChannelCanTest, PeriodicMessagesRunOnALinkOfTheirOwn) {
  ASSERT_EQ(Connect(CAN_PS), STATUS_NOERROR);
  ASSERT_EQ(Configure({{LOOPBACK, 1}, {J1962_PINS, 0x060E}}), STATUS_NOERROR);
  pdu.SetComParam("CP_Loopback", {});
  std::uint32_t id = 0;
  ASSERT_EQ(StartPeriodic(5, &id, CAN_PS), STATUS_NOERROR);
  const std::vector<std::string> created = pdu.Calls().Of("PDUCreateComLogicalLink");
  ASSERT_EQ(created.size(), 2U);
  EXPECT_EQ(created[0], created[1]) << "on the same pins";
  EXPECT_EQ(pdu.ComParamValue("CP_Loopback"), 1U) << "and heard as the channel is";
  EXPECT_EQ(pdu.StartedCops().back().hCLL, pdu.LastLink());
}

}  // namespace
}  // namespace passbridge
