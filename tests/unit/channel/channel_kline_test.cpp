// What is special about channels on the K line: initialisation, checksums, pins.

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "channel_fixture.h"
#include "protocols/channel_factory.h"
#include "protocols/channel_iso14230.h"

namespace passbridge {
namespace {

using test::ByteArray;
using test::CanMessage;
using Bytes = std::vector<std::uint8_t>;

struct ChannelKLineTest : test::ChannelFixture {
  OwnedChannel Make() override { return CreateChannel(type); }

  Status ConnectTo(std::uint32_t protocolId, std::uint32_t flags = 0) {
    type = protocolId;
    const Status status = Connect(protocolId, flags, 10400);
    if (status != STATUS_NOERROR || protocolId != UBP_PS) return status;
    return Configure({{J1962_PINS, 0x0900}});
  }

  /// Starts of communication are answered with the bytes, or only finish.
  void AnswerStarts(std::optional<Bytes> answer) {
    pdu.FinishComPrimitives(false);
    pdu.PDUStartComPrimitive.Does([this, answer](auto mod, auto cll, auto copType, auto... rest) {
      const T_PDU_ERROR result = pdu.PDUStartComPrimitive.BuiltIn(mod, cll, copType, rest...);
      const UNUM32 cop = pdu.StartedCops().back().hCoP;
      if (copType == PDU_COPT_STARTCOMM && answer) {
        pdu.Queue(mod, cll,
                  pdu.Items().MakeResult({.data = *answer, .timestamp = 77, .hCop = cop}));
      }
      pdu.Queue(mod, cll, pdu.Items().MakeStatus(PDU_COPST_FINISHED, cop));
      pdu.Signal(mod, cll);
      return result;
    });
  }

  Status FiveBaud(Bytes address, Bytes& room, std::uint32_t& numBytes) {
    ByteArray in{static_cast<std::uint32_t>(address.size()), address.data()};
    ByteArray out{numBytes, room.data()};
    const Status status =
        channel->PassThruIoctl(FIVE_BAUD_INIT, {&in, FieldWidth::k32}, {&out, FieldWidth::k32});
    numBytes = out.count;
    return status;
  }

  ProtocolType type = ISO14230;
};

TEST_F(ChannelKLineTest, NamesItsResourceAndSetsItsComParams) {
  struct Case {
    std::uint32_t protocolId;
    std::uint32_t flags;
    const char* protocol;
    const char* busType;
    UNUM32 lineInit;
  };
  for (const Case& c :
       {Case{ISO9141, 0, "SAE_J2190_on_ISO_9141", "ISO_9141_2_UART", 0},
        Case{ISO14230, ISO9141_K_LINE_ONLY, "SAE_J2190_on_ISO_14230_2", "ISO_14230_1_UART", 1},
        Case{UBP_PS, ISO9141_K_LINE_ONLY, "UBP_on_UBP_UART", "UBP_UART", 9}}) {
    pdu.SetComParam("CP_K_L_LineInit", test::ParamSpec::Number(9));
    pdu.SetComParam("CP_TesterPresentHandling", test::ParamSpec::Number(9));
    pdu.SetComParam("CP_StartMsgIndEnable", {});
    pdu.SetComParam("CP_RequestAddrMode", {});
    ASSERT_EQ(ConnectTo(c.protocolId, c.flags), STATUS_NOERROR);
    EXPECT_EQ(pdu.ComParamValue("CP_K_L_LineInit"), c.lineInit) << c.protocol;
    EXPECT_EQ(pdu.ComParamValue("CP_TesterPresentHandling"), 0U);
    EXPECT_EQ(pdu.ComParamValue("CP_StartMsgIndEnable"), 1U);
    EXPECT_EQ(pdu.ComParamValue("CP_RequestAddrMode"), 1U);
    PDU_RSC_DATA resource{};
    EXPECT_EQ(channel->GetPduResourceBusTypeId(&resource), STATUS_NOERROR);
    EXPECT_EQ(resource.BusTypeId, pdu.IdOf(PDU_OBJT_BUSTYPE, c.busType));
    EXPECT_EQ(channel->GetPduResourceProtocolId(&resource), STATUS_NOERROR);
    EXPECT_EQ(resource.ProtocolId, pdu.IdOf(PDU_OBJT_PROTOCOL, c.protocol));
  }
}

TEST_F(ChannelKLineTest, NeedsALinkThatTellsItsResponseTime) {
  struct Case {
    T_PDU_ERROR result;
    bool gives;
    Status status;
  };
  const UNUM32 p2Max = pdu.IdOf(PDU_OBJT_COMPARAM, "CP_P2Max");
  for (const Case& c : {Case{PDU_ERR_PDUAPI_NOT_CONSTRUCTED, false, ERR_DEVICE_NOT_CONNECTED},
                        Case{PDU_ERR_CLL_NOT_CONNECTED, false, ERR_INVALID_CHANNEL_ID},
                        Case{PDU_ERR_COMPARAM_NOT_SUPPORTED, false, ERR_FAILED},
                        Case{PDU_STATUS_NOERROR, false, ERR_NOT_SUPPORTED},
                        Case{PDU_STATUS_NOERROR, true, STATUS_NOERROR}}) {
    pdu.PDUGetComParam.Does([&](UNUM32 mod, UNUM32 cll, UNUM32 id, PDU_PARAM_ITEM** item) {
      if (id == p2Max && !c.gives) return c.result;
      return pdu.PDUGetComParam.BuiltIn(mod, cll, id, item);
    });
    EXPECT_EQ(ConnectTo(ISO14230), c.status) << c.result;
  }
  pdu.PDUGetComParam.Does({});
}

TEST_F(ChannelKLineTest, KLineOnlyNeedsNoOtherPin) {
  ASSERT_EQ(ConnectTo(ISO14230), STATUS_NOERROR);
  EXPECT_EQ(ConfigValue(J1962_PINS), 0x070FU);
  ASSERT_EQ(ConnectTo(ISO14230, ISO9141_K_LINE_ONLY), STATUS_NOERROR);
  EXPECT_EQ(ConfigValue(J1962_PINS), 0x0700U);
  const std::vector<std::string> created = pdu.Calls().Of("PDUCreateComLogicalLink");
  EXPECT_NE(created.at(0), created.at(1));
}

TEST_F(ChannelKLineTest, MakesAndChecksTheChecksum) {
  struct Case {
    std::uint32_t flags;
    Bytes onTheWire;
    Bytes corrupted;
  };
  for (const Case& c :
       {Case{0, {0x81, 0x10, 0xF1, 0x82}, {0x83, 0xF1, 0x10, 0xC1, 0xE9, 0x8F, 0xBC}},
        Case{ISO9141_NO_CHECKSUM, {0x81, 0x10, 0xF1}, {}}}) {
    ASSERT_EQ(ConnectTo(ISO14230, c.flags), STATUS_NOERROR);
    std::uint32_t sent = 0;
    EXPECT_EQ(Write({CanMessage({0x81, 0x10, 0xF1}, ISO14230, WAIT_P3_MIN_ONLY | CAN_29BIT_ID)}, 0,
                    &sent),
              STATUS_NOERROR);
    EXPECT_EQ(pdu.StartedCops().back().data, c.onTheWire);
    EXPECT_EQ(pdu.StartedCops().back().txFlags, (Bytes{0, 0, 2, 0}));

    PDU_EVENT_ITEM* const nowhere = pdu.Items().MakeResult({.data = c.onTheWire});
    static_cast<PDU_RESULT_DATA*>(nowhere->pData)->pDataBytes = nullptr;
    pdu.Deliver(kModule, pdu.LastLink(), nowhere);
    Deliver({.data = c.corrupted});
    Deliver({.data = {0x83, 0xF1, 0x10, 0xC1, 0xE9, 0x8F, 0xBD}});
    ASSERT_EQ(Read(1, test::kLongTimeout), STATUS_NOERROR);
    EXPECT_EQ(received[0].dataSize, c.flags == 0 ? 6U : 7U);
    Deliver({.rxFlags = {0, 0, 0, START_OF_MESSAGE}, .extraInfo = true});
    ASSERT_EQ(Read(1, test::kLongTimeout), STATUS_NOERROR);
    EXPECT_EQ(received[0].dataSize, 0U) << "an indication has no checksum";
  }
}

TEST_F(ChannelKLineTest, AcceptsMessagesOfTheSizesOfTheProtocol) {
  struct Case {
    std::uint32_t protocolId;
    std::uint32_t flags;
    std::uint32_t largest;
  };
  for (const Case& c : {Case{ISO14230, 0, 259}, Case{ISO14230, ISO9141_NO_CHECKSUM, 260},
                        Case{ISO9141, 0, 4128}, Case{UBP_PS, 0, 4128}}) {
    ASSERT_EQ(ConnectTo(c.protocolId, c.flags), STATUS_NOERROR);
    EXPECT_EQ(channel->ValidateMessage(0, nullptr, 0), ERR_INVALID_MSG);
    EXPECT_EQ(channel->ValidateMessage(0, nullptr, START_OF_MESSAGE), STATUS_NOERROR);
    EXPECT_EQ(channel->ValidateMessage(1, nullptr, 0), STATUS_NOERROR);
    EXPECT_EQ(channel->ValidateMessage(c.largest, nullptr, 0), STATUS_NOERROR);
    EXPECT_EQ(channel->ValidateMessage(c.largest + 1, nullptr, 0), ERR_INVALID_MSG);
  }
}

TEST_F(ChannelKLineTest, FiveBaudInitGivesTheKeyBytes) {
  struct Case {
    std::optional<Bytes> answer;
    std::uint32_t room;
    Status status;
    std::uint32_t count;
    Bytes given;
  };
  ASSERT_EQ(ConnectTo(ISO9141), STATUS_NOERROR);
  for (const Case& c :
       {Case{Bytes{8, 8}, 2, STATUS_NOERROR, 2, {8, 8, 0x55, 0x55}},
        Case{Bytes{0xE9, 0x8F, 0xCC}, 0, STATUS_NOERROR, 3, {0xE9, 0x8F, 0x55, 0x55}},
        Case{Bytes{0xE9, 0x8F, 0xCC}, 4, STATUS_NOERROR, 3, {0xE9, 0x8F, 0xCC, 0x55}},
        Case{Bytes(300, 1), 4, STATUS_NOERROR, 260, {1, 1, 1, 1}},
        Case{std::nullopt, 2, ERR_FAILED, 2, {0x55, 0x55, 0x55, 0x55}}}) {
    AnswerStarts(c.answer);
    Bytes room(4, 0x55);
    std::uint32_t count = c.room;
    EXPECT_EQ(FiveBaud({0x33}, room, count), c.status);
    EXPECT_EQ(count, c.count);
    EXPECT_EQ(room, c.given);
    EXPECT_EQ(pdu.ComParamValue("CP_InitializationSettings"), 1U);
    EXPECT_EQ(pdu.ComParamValue("CP_5BaudAddressPhys"), 0x33U);
  }
  EXPECT_EQ(LastLocation(), 0x06070009U) << "the last one had no answer";
  EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY) << "key bytes are no messages";
}

TEST_F(ChannelKLineTest, FastInitGivesTheResponse) {
  ASSERT_EQ(ConnectTo(ISO14230), STATUS_NOERROR);
  PassThruMsg request = CanMessage({0xC1, 0x33, 0xF1, 0x81}, ISO14230, CAN_29BIT_ID);
  PassThruMsg response = CanMessage(Bytes(9), CAN, 1);
  const auto init = [&](PassThruMsg* to) {
    return channel->PassThruIoctl(FAST_INIT, {&request, FieldWidth::k32}, {to, FieldWidth::k32});
  };
  AnswerStarts(Bytes{0x83, 0xF1, 0x10, 0xC1, 0xE9, 0x8F, 0xBD});
  EXPECT_EQ(init(&response), STATUS_NOERROR);
  EXPECT_EQ(pdu.ComParamValue("CP_InitializationSettings"), 2U);
  EXPECT_EQ(pdu.StartedCops().back().data, (Bytes{0xC1, 0x33, 0xF1, 0x81, 0x66}));
  EXPECT_EQ(pdu.StartedCops().back().txFlags, Bytes(4)) << "identifiers are not of this bus";
  EXPECT_EQ(pdu.StartedCops().back().control.NumReceiveCycles, 1);
  EXPECT_EQ(response.protocolId, ISO14230);
  EXPECT_EQ(response.txFlags, 0U);
  EXPECT_EQ(response.timestamp, 77U);
  EXPECT_EQ(response.dataSize, 7U);
  EXPECT_EQ(response.extraDataIndex, 7U);
  EXPECT_EQ(response.data[6], 0xBD);

  AnswerStarts(std::nullopt);
  EXPECT_EQ(init(&response), ERR_FAILED) << "what came before is no answer to this";
  EXPECT_EQ(init(nullptr), ERR_FAILED);
  EXPECT_EQ(pdu.StartedCops().back().control.NumReceiveCycles, 0) << "none is asked for";
}

TEST_F(ChannelKLineTest, InitialisationsRefuseWhatTheyCannotUse) {
  type = ISO14230;
  ASSERT_EQ(Connect(ISO14230_PS, 0, 10400), STATUS_NOERROR);
  Bytes room(2);
  std::uint32_t count = 2;
  EXPECT_EQ(FiveBaud({0x33}, room, count), ERR_PIN_INVALID);
  EXPECT_EQ(channel->PassThruIoctl(FAST_INIT, {}, {}), ERR_PIN_INVALID);

  ASSERT_EQ(ConnectTo(ISO14230), STATUS_NOERROR);
  EXPECT_EQ(FiveBaud({0x33, 0x34}, room, count), ERR_NOT_SUPPORTED);
  EXPECT_EQ(pdu.ComParamValue("CP_InitializationSettings"), 1U) << "set before";
  ByteArray one{1, room.data()};
  ByteArray nowhere{1, nullptr};
  const AppPointer given{&one, FieldWidth::k32};
  EXPECT_EQ(channel->PassThruIoctl(FIVE_BAUD_INIT, {}, given), ERR_NULL_PARAMETER);
  EXPECT_EQ(channel->PassThruIoctl(FIVE_BAUD_INIT, given, {}), ERR_NULL_PARAMETER);
  EXPECT_EQ(channel->PassThruIoctl(FIVE_BAUD_INIT, {&nowhere, FieldWidth::k32}, given),
            ERR_NULL_PARAMETER);
  AnswerStarts(Bytes{8, 8});
  EXPECT_EQ(channel->PassThruIoctl(FIVE_BAUD_INIT, given, {&nowhere, FieldWidth::k32}),
            ERR_NULL_PARAMETER);
}

}  // namespace
}  // namespace passbridge
