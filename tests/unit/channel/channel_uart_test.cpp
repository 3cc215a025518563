// What is special about channels on GM UART and on SCI.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "channel_fixture.h"
#include "protocols/channel_factory.h"
#include "support/trace_observer.h"

namespace passbridge {
namespace {

using test::ByteArray;
using test::CanMessage;
using test::NamesOf;
using test::Observe;
using test::Outcome;
using Bytes = std::vector<std::uint8_t>;
using Names = std::vector<std::string>;

struct ChannelUartTest : test::ChannelFixture {
  OwnedChannel Make() override { return CreateChannel(type); }

  Status ConnectToSci(std::uint32_t protocolId) {
    type = protocolId == J2610_PS ? ProtocolType{SCI_A_ENGINE} : protocolId;
    return Connect(protocolId, 0, 7812);
  }

  void ConnectToGmUart(std::uint32_t pins = 0x0900) {
    type = GM_UART_PS;
    ASSERT_EQ(Connect(GM_UART_PS, 0, 8192), STATUS_NOERROR);
    if (pins != 0) {
      ASSERT_EQ(Configure({{J1962_PINS, pins}}), STATUS_NOERROR);
    }
  }

  Status WriteTo(PassThruMsg& message) {
    std::uint32_t count = 1;
    return channel->PassThruWriteMsgs(AppMessage(message), AppValue(count), 0);
  }

  void ExpectResource(const char* protocol, const char* busType) {
    PDU_RSC_DATA resource{};
    EXPECT_EQ(channel->GetPduResourceBusTypeId(&resource), STATUS_NOERROR);
    EXPECT_EQ(resource.BusTypeId, pdu.IdOf(PDU_OBJT_BUSTYPE, busType));
    EXPECT_EQ(channel->GetPduResourceProtocolId(&resource), STATUS_NOERROR);
    EXPECT_EQ(resource.ProtocolId, pdu.IdOf(PDU_OBJT_PROTOCOL, protocol));
  }

  /// How the poll response was set since the log was cleared.
  Names PollResponses() {
    const std::string param =
        "{" + test::Render(pdu.IdOf(PDU_OBJT_COMPARAM, "CP_SetPollResponse")) + " = ";
    Names values;
    for (const std::string& call : pdu.Calls().Of("PDUSetComParam")) {
      const std::size_t at = call.find(param);
      if (at == std::string::npos) continue;
      const std::size_t begin = at + param.size();
      values.push_back(call.substr(begin, call.find('}') - begin));
    }
    return values;
  }

  ProtocolType type = GM_UART_PS;
};

PassThruMsg GmUartMessage(Bytes bytes) { return CanMessage(std::move(bytes), GM_UART_PS); }

TEST_F(ChannelUartTest, GmUartConnectsAsASlaveThatAnswersNoPoll) {
  pdu.SetComParam("CP_BecomeMaster", test::ParamSpec::Number(9));
  pdu.SetComParam("CP_SetPollResponse", test::ParamSpec::ByteField({1, 2}));
  ConnectToGmUart();
  EXPECT_EQ(pdu.ComParamValue("CP_BecomeMaster"), 0U);
  EXPECT_EQ(PollResponses(), Names{"[]"});
  ExpectResource("XDE_5024_on_XDE_5024_UART", "SAE_J2740_UART");
  EXPECT_EQ(pdu.StartedCops().size(), 2U) << "reception and update, no communication yet";
}

TEST_F(ChannelUartTest, PinsAreThoseOfTheWires) {
  struct GmCase {
    std::uint32_t set;
    UNUM32 pin;
  };
  for (const GmCase& c : {GmCase{0, 0}, GmCase{0x0009, 9}, GmCase{0x0300, 3}, GmCase{0x0901, 9}}) {
    ConnectToGmUart(c.set);
    EXPECT_EQ(Pins(), std::vector<UNUM32>{c.pin}) << c.set;
  }
  struct SciCase {
    std::uint32_t protocolId;
    std::vector<UNUM32> pins;
  };
  for (const SciCase& c :
       {SciCase{SCI_A_ENGINE, {6, 7}}, SciCase{SCI_A_TRANS, {14, 7}},
        SciCase{SCI_B_ENGINE, {12, 7}}, SciCase{SCI_B_TRANS, {9, 15}}, SciCase{J2610_PS, {0}}}) {
    const std::size_t before = pdu.StartedCops().size();
    ASSERT_EQ(ConnectToSci(c.protocolId), STATUS_NOERROR);
    EXPECT_EQ(Pins(), c.pins) << c.protocolId;
    ExpectResource("SAE_J2610_on_SAE_J2610_SCI", "SAE_J2610_UART");
    EXPECT_EQ(pdu.StartedCops().size() - before, c.protocolId == J2610_PS ? 0U : 3U)
        << "reception, communication and update";
  }
  ASSERT_EQ(Configure({{J1962_PINS, 0x0600}}), STATUS_NOERROR);
  EXPECT_EQ(Pins(), std::vector<UNUM32>{6});
}

TEST_F(ChannelUartTest, AcceptsMessagesOfTheSizesOfTheProtocol) {
  struct Case {
    std::uint32_t protocolId;
    std::uint32_t size;
    std::uint32_t rxStatus;
    Status status;
  };
  for (const Case& c :
       {Case{GM_UART_PS, 2, 0, ERR_INVALID_MSG}, Case{GM_UART_PS, 3, 0, STATUS_NOERROR},
        Case{GM_UART_PS, 170, 0, STATUS_NOERROR}, Case{GM_UART_PS, 171, 0, ERR_INVALID_MSG},
        Case{GM_UART_PS, 0, RX_BREAK, ERR_INVALID_MSG}, Case{SCI_B_TRANS, 0, 0, ERR_INVALID_MSG},
        Case{SCI_B_TRANS, 0, RX_BREAK, STATUS_NOERROR}, Case{SCI_B_TRANS, 1, 0, STATUS_NOERROR},
        Case{SCI_B_TRANS, 4128, 0, STATUS_NOERROR}, Case{SCI_B_TRANS, 4129, 0, ERR_INVALID_MSG}}) {
    type = c.protocolId;
    channel = Make();
    EXPECT_EQ(channel->ValidateMessage(c.size, nullptr, c.rxStatus), c.status)
        << c.protocolId << ", " << c.size << " bytes, status " << c.rxStatus;
  }
}

TEST_F(ChannelUartTest, GmUartAppendsTheChecksumThatIsMissing) {
  struct Case {
    Bytes given;
    Bytes sent;
  };
  Bytes longest(170);
  longest[1] = 0xFD;  // with the checksum 171
  Bytes longestSent = longest;
  longestSent.push_back(0x03);
  ConnectToGmUart();
  for (const Case& c :
       {Case{{0xF1, 0x56, 0x01}, {0xF1, 0x56, 0x01, 0xB8}},
        Case{{0xF1, 0x56, 0x01, 0xB8}, {0xF1, 0x56, 0x01, 0xB8}},
        Case{{0xF1, 0x56, 0x01, 0x00}, {0xF1, 0x56, 0x01, 0x00}},
        Case{{0xF1, 0x50, 0x01}, {0xF1, 0x50, 0x01, 0xBE}},
        Case{{0x00, 0x56, 0xAA}, {0x00, 0x56, 0xAA, 0x00}}, Case{longest, longestSent}}) {
    PassThruMsg message = GmUartMessage(c.given);
    message.extraDataIndex = 77;
    ASSERT_EQ(WriteTo(message), STATUS_NOERROR);
    EXPECT_EQ(pdu.StartedCops().back().data, c.sent);
    EXPECT_EQ(message.dataSize, c.sent.size());
    EXPECT_EQ(message.extraDataIndex, c.sent == c.given ? 77 : c.sent.size());
  }
  PassThruMsg again = GmUartMessage({0xF1, 0x56, 0x01});
  EXPECT_EQ(WriteTo(again), STATUS_NOERROR);
  EXPECT_EQ(WriteTo(again), STATUS_NOERROR);
  EXPECT_EQ(pdu.StartedCops().back().data, (Bytes{0xF1, 0x56, 0x01, 0xB8})) << "one is enough";
}

TEST_F(ChannelUartTest, GmUartNeedsRoomForTheChecksumOnly) {
  static constexpr PassThruMsg kReadOnly{GM_UART_PS, 0, 0, 0, 3, 3, {0xF1, 0x56, 0x01}};
  static constexpr PassThruMsg kComplete{GM_UART_PS, 0, 0, 0, 4, 4, {0xF1, 0x56, 0x01, 0xB8}};
  ConnectToGmUart();
  EXPECT_EQ(WriteTo(const_cast<PassThruMsg&>(kReadOnly)), ERR_NULL_PARAMETER);
  EXPECT_EQ(WriteTo(const_cast<PassThruMsg&>(kComplete)), STATUS_NOERROR);
  PassThruMsg endless = GmUartMessage({0xF1, 0x50, 0x01});
  endless.dataSize = 0xFFFFFFFF;
  EXPECT_EQ(channel->PerformProtocolAdjustments(AppMessage(endless)), STATUS_NOERROR)
      << "changed since it was checked";
  EXPECT_EQ(endless.dataSize, 0xFFFFFFFF);
}

TEST_F(ChannelUartTest, GmUartTakesTheChecksumOffWhatItReceives) {
  ConnectToGmUart();
  Deliver({.data = {0xF1, 0x57, 0x01, 0x02, 0xFF}});
  ASSERT_EQ(Read(1, test::kLongTimeout), STATUS_NOERROR);
  EXPECT_EQ(received[0].dataSize, 4U);
  EXPECT_EQ(received[0].extraDataIndex, 4U);
  EXPECT_EQ(received[0].data[3], 0x02);
}

TEST_F(ChannelUartTest, BecomingTheMasterStartsCommunication) {
  ConnectToGmUart();
  EndComPrimitivesLate();
  std::uint8_t master = 0xF0;
  const Names commitAndStart{"PDUStartComPrimitive", "update ended", "PDUStartComPrimitive"};
  pdu.Calls().Clear();
  EXPECT_EQ(IoctlWith(BECOME_MASTER, &master), STATUS_NOERROR);
  EXPECT_EQ(pdu.ComParamValue("CP_BecomeMaster"), 0xF0U);
  Names expected{"PDUSetComParam"};
  expected.insert(expected.end(), commitAndStart.begin(), commitAndStart.end());
  EXPECT_EQ(NamesOf(pdu.Calls().All()), expected);
  const test::StartedCop start = pdu.StartedCops().back();
  EXPECT_EQ(start.type, T_PDU_COPT{PDU_COPT_STARTCOMM});
  EXPECT_EQ(start.data, Bytes{});
  EXPECT_EQ(start.control.NumReceiveCycles, 0);

  pdu.Calls().Clear();
  EXPECT_EQ(IoctlWith(BECOME_MASTER, &master), STATUS_NOERROR);
  EXPECT_EQ(NamesOf(pdu.Calls().All()), commitAndStart) << "again, though it is the master";
}

TEST_F(ChannelUartTest, FailuresOnTheWayToTheMasterAreReported) {
  struct Case {
    std::function<void()> fail;
    Status status;
    const char* report;
  };
  ConnectToGmUart();
  std::uint8_t master = 0;
  for (const Case& c :
       std::vector<Case>{
           {[this] { pdu.PDUSetComParam.Next({PDU_ERR_CLL_NOT_CONNECTED}); },
            ERR_INVALID_CHANNEL_ID, "04090003 Error setting CP_BECOME_MASTER."},
           {[this] { pdu.PDUStartComPrimitive.Next({PDU_ERR_TX_QUEUE_FULL}); }, ERR_NOT_SUPPORTED,
            "04090004 Error updating ComParameters."},
           {[this] {
    pdu.PDUStartComPrimitive.Next({PDU_STATUS_NOERROR, PDU_ERR_CLL_NOT_STARTED});
            },
            ERR_INVALID_CHANNEL_ID, "04090005 Error starting communication."},
       }) {
    ++master;
    c.fail();
    const Outcome outcome = Observe([&] { return IoctlWith(BECOME_MASTER, &master); });
    test::ExpectReported(outcome, c.status, c.report);
    EXPECT_NE(outcome.recorded >> 24U, 0x04U) << "the first cause is another's";
  }
}

TEST_F(ChannelUartTest, ThePollResponseWaitsForTheNextUpdate) {
  pdu.SetComParam("CP_SetPollResponse", test::ParamSpec::ByteField({}));
  ConnectToGmUart();
  pdu.Calls().Clear();
  EXPECT_EQ(IoctlWithBytes(SET_POLL_RESPONSE, {0x10, 0x20, 0x30}), STATUS_NOERROR);
  EXPECT_EQ(IoctlWithBytes(SET_POLL_RESPONSE, Bytes(65)), ERR_NOT_SUPPORTED) << "more than fits";
  std::uint8_t byte = 0;
  ByteArray empty{0, &byte};
  EXPECT_EQ(IoctlWith(SET_POLL_RESPONSE, &empty), STATUS_NOERROR);
  EXPECT_EQ(PollResponses(), (Names{"[10 20 30]", "[]"}));
  EXPECT_EQ(NamesOf(pdu.Calls().All()), Names{"PDUSetComParam"});
}

TEST_F(ChannelUartTest, GmUartRefusesWhatItCannotUse) {
  std::uint8_t byte = 1;
  ByteArray good{1, &byte};
  ByteArray null{0, nullptr};
  ByteArray nowhere{1, reinterpret_cast<void*>(8)};
  ByteArray huge{0xFFFFFFFF, &byte};
  struct Case {
    bool connected;
    std::uint32_t ioctlId;
    void* input;
    Status status;
    const char* report;
  };
  constexpr const char* kNoValue = "10060003 Invalid PDUValue pointer.";
  void* const wrong = reinterpret_cast<void*>(8);
  for (const Case& c :
       {Case{false, SET_POLL_RESPONSE, &good, ERR_PIN_INVALID,
             "04080001 Error getting J1962 Pins value to use."},
        Case{false, BECOME_MASTER, &byte, ERR_PIN_INVALID,
             "04090001 Error getting J1962 Pins value to use."},
        Case{true, SET_POLL_RESPONSE, nullptr, ERR_NULL_PARAMETER, "04080002 NULL Input pointer."},
        Case{true, SET_POLL_RESPONSE, wrong, ERR_NULL_PARAMETER, "04080002 NULL Input pointer."},
        Case{true, SET_POLL_RESPONSE, &null, ERR_NULL_PARAMETER, kNoValue},
        Case{true, SET_POLL_RESPONSE, &nowhere, ERR_NULL_PARAMETER, kNoValue},
        Case{true, SET_POLL_RESPONSE, &huge, ERR_NULL_PARAMETER, kNoValue},
        Case{true, BECOME_MASTER, nullptr, ERR_NULL_PARAMETER, "04090002 NULL Input pointer."},
        Case{true, BECOME_MASTER, wrong, ERR_NULL_PARAMETER, "04090002 NULL Input pointer."}}) {
    ConnectToGmUart(c.connected ? 0x0900 : 0);
    pdu.Calls().Clear();
    test::ExpectFirstCause(Observe([&] { return IoctlWith(c.ioctlId, c.input); }), c.status,
                           c.report);
    EXPECT_EQ(NamesOf(pdu.Calls().All()), Names{}) << c.report;
  }
}

TEST_F(ChannelUartTest, SciPassesItsTransmitFlagsOn) {
  struct Case {
    std::uint32_t txFlags;
    Bytes inTheCop;
  };
  ASSERT_EQ(ConnectToSci(SCI_A_ENGINE), STATUS_NOERROR);
  for (const Case& c :
       {Case{0, {0, 0, 0, 0}}, Case{SCI_TX_VOLTAGE, {0, 0x80, 0, 0}},
        Case{SCI_MODE, {0, 0x40, 0, 0}},
        Case{SCI_TX_VOLTAGE | SCI_MODE | WAIT_P3_MIN_ONLY | CAN_29BIT_ID, {0, 0xC0, 0, 0}}}) {
    PassThruMsg message = CanMessage({0x10, 0x01}, SCI_A_ENGINE, c.txFlags);
    EXPECT_EQ(WriteTo(message), STATUS_NOERROR);
    EXPECT_EQ(pdu.StartedCops().back().txFlags, c.inTheCop);
  }
}

}  // namespace
}  // namespace passbridge
