#include "channel/message.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/scripted_pdu.h"
#include "trace/last_error.h"

namespace passbridge {
namespace {

using test::ResultSpec;
using test::ScriptedPdu;

pdu::SharedEventItem Share(PDU_EVENT_ITEM* item) {
  return pdu::SharedEventItem(pdu::Item<PDU_EVENT_ITEM>(item));
}

std::span<const std::uint8_t> DataOf(const pdu::SharedEventItem& item) {
  const auto* const result = static_cast<const PDU_RESULT_DATA*>(item->pData);
  return {result->pDataBytes, result->NumDataBytes};
}

struct MessageTest : testing::Test {
  CJ2534PassThruMsg Make(std::uint32_t protocolId, const ResultSpec& given,
                         Status expected = STATUS_NOERROR) {
    const pdu::SharedEventItem item = Share(pdu.Items().MakeResult(given));
    CJ2534PassThruMsg message;
    EXPECT_EQ(message.Initialize(protocolId, item, DataOf(item), given.timestamp), expected);
    return message;
  }

  ScriptedPdu pdu;
};

const std::vector<UNUM8> kFrame{0, 0, 7, 0xE8, 0x10, 1, 2, 3};

TEST_F(MessageTest, ReceiveFlagsBecomeRxStatusAsFarAsTheyArePresent) {
  struct Case {
    std::uint32_t protocolId;
    std::vector<UNUM8> flags;
    std::uint32_t rxStatus;
  };
  for (const Case& c : std::vector<Case>{
           {CAN, {}, 0},
           {CAN, {1, 5, 1}, FT_ERROR | SW_CAN_HV_RX | RX_SPD_CHG_EVENT | CAN_29BIT_ID},
           {CAN, {0xFE, 0xFA, 0xFE, 0x60}, 0},  // bits without a meaning
           {CAN, {0, 0, 0, 0x95}, ISO15765_ADDR_TYPE | ISO15765_PADDING_ERROR | RX_BREAK | 1},
           {CAN, {0, 0, 0, 9}, TX_MSG_TYPE},  // no TX_DONE on raw CAN
           {ISO15765, {0, 0, 0, 9}, TX_MSG_TYPE | TX_DONE},
       }) {
    const CJ2534PassThruMsg message = Make(c.protocolId, {.data = kFrame, .rxFlags = c.flags});
    EXPECT_EQ(message.GetRxStatus(), c.rxStatus) << c.protocolId << " " << c.flags.size();
  }
}

TEST_F(MessageTest, RawFrameOnAnIso15765ChannelGetsTheCanProtocolBesideIt) {
  struct Case {
    std::uint32_t channel, message;
  };
  for (const Case& c :
       {Case{ISO15765, CAN}, Case{ISO15765_PS, CAN_PS}, Case{0x9405, 0x9005}, Case{0x9560, 0x9480},
        Case{0x95DF, 0x94FF}, Case{FGA7274, CAN_PS}, Case{SW_ISO15765_PS, SW_CAN_PS},
        Case{FT_ISO15765_PS, FT_CAN_PS}, Case{FT_FGA7274, FT_CAN_PS}, Case{CAN, CAN}}) {
    EXPECT_EQ(Make(c.channel, {.data = kFrame, .uniqueRespId = 0x11898}).GetProtocolID(), c.message)
        << std::hex << c.channel;
    EXPECT_EQ(Make(c.channel, {.data = kFrame}).GetProtocolID(), c.channel);
  }
}

TEST_F(MessageTest, TxDoneTakesItsHeaderFromTheDataOrTheExtraInfo) {
  const auto header = [](const CJ2534PassThruMsg& message) {
    const auto bytes = message.TxDoneData().Bytes();
    return std::vector<UNUM8>(bytes.begin(), bytes.end());
  };
  EXPECT_EQ(header(Make(ISO15765, {.data = kFrame, .rxFlags = {0, 0, 0, 9}})),
            (std::vector<UNUM8>{0, 0, 7, 0xE8}));
  EXPECT_EQ(header(Make(ISO15765, {.data = kFrame, .rxFlags = {0, 0, 0, 0x89}})),
            (std::vector<UNUM8>{0, 0, 7, 0xE8, 0x10}));
  EXPECT_EQ(header(Make(ISO15765, {.rxFlags = {0, 0, 0, 8}, .header = {0, 0, 7, 0xE0}})),
            (std::vector<UNUM8>{0, 0, 7, 0xE0}));
}

TEST_F(MessageTest, RefusesWhatItCannotHold) {
  struct Case {
    ResultSpec given;
    Status status;
    Location location;
  };
  for (const Case& c : std::vector<Case>{
           {{.rxFlags = {0, 0, 0, 8}}, ERR_NULL_PARAMETER, 0x12020003},
           {{.rxFlags = {0, 0, 0, 2}}, ERR_NULL_PARAMETER, 0x12020003},
           {{.rxFlags = {0, 0, 0, 2}, .header = std::vector<UNUM8>(13)},
            ERR_INVALID_MSG,
            0x12020004},
           {{.data = std::vector<UNUM8>(kMaxMessageData + 1)}, ERR_INVALID_MSG, 0x12020005},
       }) {
    Make(ISO15765, c.given, c.status);
    EXPECT_EQ(LastErrorRecord::Instance().LastLocation(), c.location);
  }
  EXPECT_EQ(pdu.Items().Alive(), 0U) << "a refused message keeps no item";
}

TEST_F(MessageTest, ItemIsDestroyedOnceWhenTheLastMessageLetsGo) {
  CJ2534PassThruMsg first = Make(CAN, {.data = kFrame});
  CJ2534PassThruMsg second = first;
  EXPECT_EQ(first.ReleaseEventItem(), T_PDU_ERROR{PDU_STATUS_NOERROR});
  EXPECT_EQ(pdu.Items().Alive(), 1U);
  second.ReleaseEventItem();
  EXPECT_EQ(pdu.Items().Alive(), 0U);
  EXPECT_EQ(pdu.Items().WrongDestroys(), 0U);
}

TEST_F(MessageTest, IndicationOfADataMessageHoldsNoItem) {
  CJ2534PassThruMsg data = Make(ISO15765, {.data = kFrame, .rxFlags = {0, 0, 0, 9}});
  const CJ2534PassThruMsg indication = data.MakeIndication(TX_DONE);
  data.ReleaseEventItem();
  EXPECT_EQ(pdu.Items().Alive(), 0U);
}

TEST_F(MessageTest, CopiesOutInBothFieldWidths) {
  const CJ2534PassThruMsg message =
      Make(CAN, {.data = kFrame, .rxFlags = {0, 0, 1, 0}, .timestamp = 0x89ABCDEF});
  PassThruMsg narrow;
  message.GetPassThruMsg(AppMessage(narrow));
  EXPECT_EQ(narrow.timestamp, 0x89ABCDEFU);
  EXPECT_EQ(narrow.dataSize, 8U);
  EXPECT_EQ(narrow.extraDataIndex, 8U);
  EXPECT_EQ(narrow.data[3], 0xE8);

  std::vector<std::uint64_t> wide((6 * 8 + kMaxMessageData) / 8, ~std::uint64_t{0});
  message.GetPassThruMsg(AppMessage(wide.data(), FieldWidth::k64));
  EXPECT_EQ(wide[1], std::uint64_t{CAN_29BIT_ID}) << "the upper half is written, too";
  EXPECT_EQ(wide[3], std::uint64_t{0x89ABCDEF});
  EXPECT_EQ(reinterpret_cast<const std::uint8_t*>(&wide[6])[3], 0xE8);
}

}  // namespace
}  // namespace passbridge
