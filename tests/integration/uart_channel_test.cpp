// SCI and GM UART channels through the exported functions, with the ECUs of the virtual VCI.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "channels_fixture.h"

namespace passbridge::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

struct UartChannel : ChannelsFixture {
  using ChannelsFixture::ChannelsFixture;

  j2534_ulong ConnectUart(j2534_ulong protocol, j2534_ulong bitRate, j2534_ulong pins = 0) {
    protocol_ = protocol;
    const j2534_ulong id = Connect(protocol, 0, pins, bitRate);
    EXPECT_EQ(StartFilter(id, PASS_FILTER, Message(protocol, {0}), Message(protocol, {0}), nullptr),
              long{STATUS_NOERROR})
        << LastError();
    return id;
  }
  j2534_ulong ConnectGmUart() { return ConnectUart(GM_UART_PS, 8192, 0x0900); }
  long Write(j2534_ulong on, const Bytes& request, j2534_ulong txFlags = 0) {
    return Send(on, {Message(protocol_, request, txFlags)});
  }
  std::vector<Bytes> Ask(j2534_ulong on, const Bytes& request, j2534_ulong txFlags = 0) {
    EXPECT_EQ(Write(on, request, txFlags), long{STATUS_NOERROR}) << LastError();
    return All(on);
  }
  /// Everything that comes within a while.
  std::vector<Bytes> All(j2534_ulong on) {
    std::vector<Bytes> messages;
    while (const auto message = Next(on, 100)) {
      messages.emplace_back(message->Data, message->Data + message->DataSize);
    }
    return messages;
  }
  long BecomeMaster(j2534_ulong on, std::uint8_t poll) {
    return library.PassThruIoctl(on, BECOME_MASTER, &poll, nullptr);
  }
  long SetPollResponse(j2534_ulong on, Bytes bytes) {
    SBYTE_ARRAY array{static_cast<j2534_ulong>(bytes.size()), bytes.data()};
    return library.PassThruIoctl(on, SET_POLL_RESPONSE, &array, nullptr);
  }
  void Break(const char* ecu, UNUM32 fault) {
    EXPECT_EQ(vci.SetEcuFault(static_cast<UNUM32>(device), ecu, fault), PDU_STATUS_NOERROR);
  }
  bool LastErrorHas(const char* text) { return LastError().find(text) != std::string::npos; }

 private:
  j2534_ulong protocol_ = 0;
};

struct UartInRealtime : UartChannel {
  UartInRealtime() : UartChannel(VVCI_CLOCK_REALTIME) {}
};

TEST_F(UartChannel, SciAsksAnEcuInEachConfiguration) {
  struct Case {
    j2534_ulong protocol;
    j2534_ulong pins;
  };
  for (const Case& c : {Case{SCI_A_ENGINE, 0}, Case{SCI_A_TRANS, 0}, Case{SCI_B_ENGINE, 0},
                        Case{SCI_B_TRANS, 0}, Case{J2610_PS, 0x0607}}) {
    SCOPED_TRACE(c.protocol);
    const j2534_ulong id = ConnectUart(c.protocol, 7812, c.pins);
    EXPECT_THAT(Ask(id, {0x10}), ElementsAre(Bytes{0x0B, 0x27, 0xFE}));
    EXPECT_THAT(Ask(id, {0x14, 0x00, 0x42}, SCI_MODE), ElementsAre(Bytes{0x42}));
    EXPECT_THAT(Ask(id, {0x27, 0x00, 0x42, 0x01}, SCI_MODE), IsEmpty());
    EXPECT_THAT(Ask(id, {0x27, 0x00, 0x42, 0x01}, SCI_MODE | SCI_TX_VOLTAGE),
                ElementsAre(Bytes{0x01}));
    EXPECT_THAT(Ask(id, {0x14, 0x00, 0x42}), ElementsAre(Bytes{0x01}));
    EXPECT_EQ(library.PassThruDisconnect(id), long{STATUS_NOERROR});
    device = (Close(), Open());
  }
}

TEST_F(UartChannel, SciKeepsTheTimesThatTheApplicationSets) {
  const j2534_ulong id = ConnectUart(SCI_A_ENGINE, 7812);
  Break("sci-a-engine", VVCI_FAULT_LATE_BYTES);
  EXPECT_EQ(Write(id, {0x10}, SCI_MODE), long{ERR_FAILED}) << "an echo takes 60 ms";
  EXPECT_TRUE(LastErrorHas("Code (00000101), Extra Info (00000001)")) << LastError();
  All(id);  // what comes too late
  EXPECT_EQ(SetConfig(id, T1_MAX, 100), long{STATUS_NOERROR}) << LastError();
  EXPECT_THAT(Ask(id, {0x10}, SCI_MODE), ElementsAre(Bytes{0x0B, 0x27, 0xFE}));
  EXPECT_EQ(SetConfig(id, T2_MAX, 20), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(Write(id, {0x10}, SCI_MODE), long{ERR_FAILED});
}

TEST_F(UartChannel, SciFollowsItsEcuToHighSpeedAndHearsBreaks) {
  const j2534_ulong id = ConnectUart(SCI_A_ENGINE, 7812);
  EXPECT_THAT(Ask(id, {0x12}), IsEmpty());
  ASSERT_EQ(SetConfig(id, DATA_RATE, 62500), long{STATUS_NOERROR}) << LastError();
  EXPECT_THAT(Ask(id, {0x10}), ElementsAre(Bytes{0x0B, 0x27, 0xFE}));
  EXPECT_EQ(vci.SendBytes(static_cast<UNUM32>(device), 6, 7, VVCI_SEND_BREAK, nullptr, 0),
            PDU_STATUS_NOERROR);
  EXPECT_THAT(See(id, 1), ElementsAre(Pair(RX_BREAK, Bytes{})));
}

TEST_F(UartChannel, GmUartMakesAndTakesChecksums) {
  const j2534_ulong id = ConnectGmUart();
  ASSERT_EQ(BecomeMaster(id, 0xF0), long{STATUS_NOERROR}) << LastError();
  const Bytes faults{0xF4, 0x58, 0x01, 0x13, 0x42};
  EXPECT_THAT(Ask(id, {0xF4, 0x57, 0x01, 0x00}), ElementsAre(faults));
  EXPECT_THAT(Ask(id, {0xF4, 0x57, 0x01, 0x00, 0xB4}), ElementsAre(faults));
  EXPECT_THAT(Ask(id, {0xF4, 0x57, 0x01, 0x00, 0xB5}), IsEmpty()) << "sent as it is";
  EXPECT_EQ(Write(id, {0xF4, 0x57}), long{ERR_INVALID_MSG});
  // The application's own message gets it, once.
  PASSTHRU_MSG message = Message(GM_UART_PS, {0xF4, 0x56, 0x0A});
  for (int i = 0; i < 2; ++i) {
    j2534_ulong count = 1;
    EXPECT_EQ(library.PassThruWriteMsgs(id, &message, &count, 1000), long{STATUS_NOERROR});
    EXPECT_EQ(message.DataSize, 4U);
    EXPECT_EQ(message.ExtraDataIndex, 4U);
    EXPECT_EQ(message.Data[3], 0xAC);
    const auto answer = Next(id, 1000);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->DataSize, 3U);
    EXPECT_EQ(answer->ExtraDataIndex, 3U);
  }
}

TEST_F(UartChannel, GmUartNeedsPinsAndMastership) {
  j2534_ulong id = 0;
  ASSERT_EQ(library.PassThruConnect(device, GM_UART_PS, 0, 8192, &id), long{STATUS_NOERROR});
  EXPECT_EQ(BecomeMaster(id, 0xF0), long{ERR_PIN_INVALID});
  EXPECT_EQ(SetPollResponse(id, {0xF0}), long{ERR_PIN_INVALID});
  EXPECT_EQ(library.PassThruDisconnect(id), long{STATUS_NOERROR});
  for (const j2534_ulong pins : {0x0900U, 0x0009U}) {
    id = ConnectUart(GM_UART_PS, 8192, pins);
    EXPECT_EQ(Write(id, {0xF4, 0x56, 0x0A}), long{ERR_FAILED}) << "a slave doesn't send";
    EXPECT_TRUE(LastErrorHas("Code (00000101), Extra Info (00000001)")) << LastError();
    EXPECT_EQ(library.PassThruDisconnect(id), long{STATUS_NOERROR});
  }
}

TEST_F(UartInRealtime, GmUartAnswersItsPollAndTakesOver) {
  vci.SetCyclic(static_cast<UNUM32>(device), 1);
  const j2534_ulong id = ConnectGmUart();
  EXPECT_THAT(See(id, 2), ElementsAre(Pair(0U, Bytes{0xF0, 0x55}), Pair(0U, Bytes{0xF1, 0x55})));
  ASSERT_EQ(SetPollResponse(id, {0xF0, 0x57, 0x01, 0x02}), long{STATUS_NOERROR}) << LastError();
  std::vector<VVCI_BYTE> heard(100);
  UNUM32 count = 100;
  ASSERT_EQ(vci.TakeHeard(static_cast<UNUM32>(device), "gmuart", heard.data(), &count),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(count, 0U) << "not in force yet";
  ASSERT_EQ(BecomeMaster(id, 0xF0), long{STATUS_NOERROR}) << LastError();
  count = 100;
  ASSERT_EQ(vci.TakeHeard(static_cast<UNUM32>(device), "gmuart", heard.data(), &count),
            PDU_STATUS_NOERROR);
  ASSERT_EQ(count, 5U);
  EXPECT_EQ(heard[2].Byte, 0x01U);
  Bytes polls(1);
  while (const auto message = Next(id, 300)) polls.push_back(message->Data[0]);
  EXPECT_LE(polls.size(), 4U) << "the master is silent now";
  EXPECT_THAT(Ask(id, {0xF4, 0x57, 0x01, 0x00}), ElementsAre(Bytes{0xF4, 0x58, 0x01, 0x13, 0x42}));
}

}  // namespace
}  // namespace passbridge::test
