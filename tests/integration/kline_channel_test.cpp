// K line channels through the exported functions, with the ECUs of the virtual VCI.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <numeric>
#include <vector>

#include "channels_fixture.h"

namespace passbridge::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

const Bytes kStartRequest{0xC1, 0x33, 0xF1, 0x81};
const Bytes kStartResponse{0x83, 0xF1, 0x10, 0xC1, 0xE9, 0x8F, 0xBD};

struct KLineChannel : ChannelsFixture {
  using ChannelsFixture::ChannelsFixture;

  j2534_ulong ConnectKLine(j2534_ulong protocol, j2534_ulong flags = 0, j2534_ulong pins = 0) {
    const j2534_ulong id = Connect(protocol, flags, pins, protocol == UBP_PS ? 9600 : 10400);
    EXPECT_EQ(StartFilter(id, PASS_FILTER, Message(protocol, {0}), Message(protocol, {0}), nullptr),
              long{STATUS_NOERROR})
        << LastError();
    return id;
  }
  long FastInit(j2534_ulong on, j2534_ulong protocol, Bytes request, PASSTHRU_MSG* response) {
    PASSTHRU_MSG message = Message(protocol, std::move(request));
    return library.PassThruIoctl(on, FAST_INIT, &message, response);
  }
  /// The key bytes that came.
  long FiveBaudInit(j2534_ulong on, std::uint8_t address, Bytes& keyBytes) {
    keyBytes.assign(2, 0);
    SBYTE_ARRAY in{1, &address};
    SBYTE_ARRAY out{2, keyBytes.data()};
    const long status = library.PassThruIoctl(on, FIVE_BAUD_INIT, &in, &out);
    EXPECT_EQ(out.NumOfBytes, 2U);
    return status;
  }
  /// With its checksum if the channel makes none.
  static Bytes Framed(Bytes bytes, j2534_ulong flags) {
    if ((flags & ISO9141_NO_CHECKSUM) == 0) return bytes;
    bytes.push_back(static_cast<std::uint8_t>(std::accumulate(bytes.begin(), bytes.end(), 0U)));
    return bytes;
  }
  /// What the ECU has heard since the last time.
  std::vector<VVCI_BYTE> Heard(const char* ecu) {
    std::vector<VVCI_BYTE> heard(1000);
    UNUM32 count = 1000;
    EXPECT_EQ(vci.TakeHeard(static_cast<UNUM32>(device), ecu, heard.data(), &count),
              PDU_STATUS_NOERROR);
    heard.resize(count);
    return heard;
  }
  void Break(const char* ecu, UNUM32 fault) {
    EXPECT_EQ(vci.SetEcuFault(static_cast<UNUM32>(device), ecu, fault), PDU_STATUS_NOERROR);
  }
};

struct KLineInRealtime : KLineChannel {
  KLineInRealtime() : KLineChannel(VVCI_CLOCK_REALTIME) {}
};

TEST_F(KLineChannel, InitialisesAndAsksWithAndWithoutChecksums) {
  struct Case {
    j2534_ulong protocol;
    j2534_ulong flags;
    j2534_ulong pins;
  };
  for (const Case& c : {Case{ISO14230, 0, 0}, Case{ISO14230, ISO9141_NO_CHECKSUM, 0},
                        Case{ISO14230, ISO9141_K_LINE_ONLY, 0}, Case{ISO14230_PS, 0, 0x070F},
                        Case{UBP_PS, 0, 0x0300}, Case{UBP_PS, ISO9141_NO_CHECKSUM, 0x0300}}) {
    SCOPED_TRACE(std::to_string(c.protocol) + " flags " + std::to_string(c.flags));
    const j2534_ulong id = ConnectKLine(c.protocol, c.flags, c.pins);
    PASSTHRU_MSG response{};
    ASSERT_EQ(FastInit(id, c.protocol, Framed(kStartRequest, c.flags), &response),
              long{STATUS_NOERROR})
        << LastError();
    EXPECT_EQ(Bytes(response.Data, response.Data + response.DataSize), kStartResponse);
    EXPECT_EQ(response.ProtocolID, c.protocol);
    Bytes keyBytes;
    ASSERT_EQ(FiveBaudInit(id, 0x10, keyBytes), long{STATUS_NOERROR}) << LastError();
    EXPECT_EQ(keyBytes, (Bytes{0xE9, 0x8F}));
    ASSERT_EQ(Send(id, {Message(c.protocol, Framed({0xC1, 0x33, 0xF1, 0x03}, c.flags))}),
              long{STATUS_NOERROR})
        << LastError();
    const Bytes faults{0x87, 0xF1, 0x10, 0x43, 0x03, 0x01, 0x04, 0x20, 0, 0};
    EXPECT_THAT(See(id, 2),
                ElementsAre(Pair(START_OF_MESSAGE, Bytes{}), Pair(0U, Framed(faults, c.flags))));
    EXPECT_EQ(library.PassThruDisconnect(id), long{STATUS_NOERROR});
  }
}

TEST_F(KLineChannel, Iso9141AnswersAtItsAddress) {
  const j2534_ulong id = ConnectKLine(ISO9141);
  Bytes keyBytes;
  ASSERT_EQ(FiveBaudInit(id, 0x33, keyBytes), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(keyBytes, (Bytes{0x08, 0x08}));
  ASSERT_EQ(SetConfig(id, LOOPBACK, 1), long{STATUS_NOERROR});
  const Bytes request{0x68, 0x6A, 0xF1, 0x09, 0x02};
  ASSERT_EQ(Send(id, {Message(ISO9141, request)}), long{STATUS_NOERROR});
  EXPECT_THAT(See(id, 1), ElementsAre(Pair(TX_MSG_TYPE, request)));
  std::vector<Bytes> vin;
  while (const auto message = Next(id, 200)) {
    if (message->RxStatus == 0) vin.emplace_back(message->Data, message->Data + message->DataSize);
  }
  ASSERT_EQ(vin.size(), 5U);
  EXPECT_EQ(vin[4], (Bytes{0x48, 0x6B, 0x11, 0x49, 0x02, 5, '0', '0', '0', '1'}));
}

TEST_F(KLineChannel, FailedInitialisationsAreReported) {
  const std::string noAnswer = "Error receiving STARTCOM Message.";
  const j2534_ulong id = ConnectKLine(ISO9141);
  Bytes keyBytes;
  const auto init = [&] { return FiveBaudInit(id, 0x33, keyBytes); };
  for (const UNUM32 fault :
       {VVCI_FAULT_NO_ANSWER, VVCI_FAULT_WRONG_KEY_BYTE, VVCI_FAULT_LATE_BYTES}) {
    Break("iso9141", fault);
    EXPECT_EQ(init(), long{ERR_FAILED}) << fault;
    EXPECT_NE(LastError().find(noAnswer), std::string::npos) << LastError();
  }
  Break("iso9141", VVCI_FAULT_NONE);
  for (const j2534_ulong mode : {1U, 2U, 3U}) {
    EXPECT_EQ(SetConfig(id, FIVE_BAUD_MOD, mode), long{STATUS_NOERROR}) << LastError();
    // The ECU does all of it: without the inverted key byte it goes no further.
    EXPECT_EQ(init(), mode == 2 ? long{ERR_FAILED} : long{STATUS_NOERROR}) << mode;
  }
  EXPECT_EQ(SetConfig(id, FIVE_BAUD_MOD, 0), long{STATUS_NOERROR});
  EXPECT_EQ(SetConfig(id, PARITY, 1), long{STATUS_NOERROR});
  EXPECT_EQ(init(), long{ERR_FAILED}) << "bytes of another format are noise";
  EXPECT_EQ(SetConfig(id, PARITY, 0), long{STATUS_NOERROR});
  EXPECT_EQ(SetConfig(id, W1, 50), long{STATUS_NOERROR});
  EXPECT_EQ(init(), long{ERR_FAILED}) << "the ECU waits longer";
  EXPECT_EQ(SetConfig(id, W1, 300), long{STATUS_NOERROR});
  EXPECT_EQ(init(), long{STATUS_NOERROR}) << LastError();

  PASSTHRU_MSG response{};
  EXPECT_EQ(FastInit(id, ISO9141, kStartRequest, &response), long{STATUS_NOERROR}) << LastError();
  Break("keyword", VVCI_FAULT_NO_ANSWER);
  EXPECT_EQ(FastInit(id, ISO9141, kStartRequest, &response), long{ERR_FAILED});
  EXPECT_NE(LastError().find(noAnswer), std::string::npos) << LastError();
}

TEST_F(KLineChannel, TesterKeepsTheTimesThatTheApplicationSets) {
  const j2534_ulong id = ConnectKLine(ISO14230);
  PASSTHRU_MSG response{};
  ASSERT_EQ(FastInit(id, ISO14230, kStartRequest, &response), long{STATUS_NOERROR});
  const Bytes request{0xC2, 0x33, 0xF1, 0x01, 0x0D};
  // In half milliseconds.
  for (const auto& [p3, p4] : {std::pair{160U, 14U}, std::pair{400U, 30U}}) {
    ASSERT_EQ(SetConfig(id, P3_MIN, p3), long{STATUS_NOERROR}) << LastError();
    ASSERT_EQ(SetConfig(id, P4_MIN, p4), long{STATUS_NOERROR}) << LastError();
    const auto ask = [&] {
      EXPECT_EQ(Send(id, {Message(ISO14230, request, WAIT_P3_MIN_ONLY)}), long{STATUS_NOERROR});
      auto message = Next(id);
      while (message && message->RxStatus != 0) message = Next(id);
      EXPECT_TRUE(message);
      return message ? static_cast<std::uint32_t>(message->Timestamp) : 0;
    };
    const std::uint32_t answered = ask();
    Heard("keyword");
    ask();
    const std::vector<VVCI_BYTE> heard = Heard("keyword");
    ASSERT_EQ(heard.size(), request.size() + 1);
    // The clock runs on between the request and the wait.
    EXPECT_NEAR(heard[0].Start - answered, p3 * 500, 1000);
    for (std::size_t i = 1; i < heard.size(); ++i) {
      EXPECT_NEAR(heard[i].Start - heard[i - 1].End, p4 * 500, 2) << i;
    }
  }
}

TEST_F(KLineChannel, WrongChecksumsAreDroppedAndReceptionGoesOn) {
  const j2534_ulong id = ConnectKLine(ISO14230);
  PASSTHRU_MSG response{};
  ASSERT_EQ(FastInit(id, ISO14230, kStartRequest, &response), long{STATUS_NOERROR});
  const auto ask = [&] {
    EXPECT_EQ(Send(id, {Message(ISO14230, {0xC1, 0x33, 0xF1, 0x3E})}), long{STATUS_NOERROR});
    std::vector<Bytes> data;
    while (const auto message = Next(id, 200)) {
      if (message->RxStatus == 0) {
        data.emplace_back(message->Data, message->Data + message->DataSize);
      }
    }
    return data;
  };
  Break("keyword", VVCI_FAULT_WRONG_CHECKSUM);
  EXPECT_TRUE(ask().empty());
  Break("keyword", VVCI_FAULT_NONE);
  EXPECT_THAT(ask(), ElementsAre(Bytes{0x81, 0xF1, 0x10, 0x7E}));
}

TEST_F(KLineChannel, OneChannelAtATimeHasTheLine) {
  ConnectKLine(ISO14230);
  j2534_ulong second = 0;
  EXPECT_EQ(library.PassThruConnect(device, ISO9141, 0, 10400, &second), long{ERR_CHANNEL_IN_USE});
}

TEST_F(KLineInRealtime, TesterPresentKeepsTheSessionBesideOtherRequests) {
  const j2534_ulong id = ConnectKLine(ISO14230);
  PASSTHRU_MSG response{};
  ASSERT_EQ(FastInit(id, ISO14230, kStartRequest, &response), long{STATUS_NOERROR});
  PASSTHRU_MSG present = Message(ISO14230, {0xC1, 0x33, 0xF1, 0x3E});
  j2534_ulong cyclic = 0;
  ASSERT_EQ(library.PassThruStartPeriodicMsg(id, &present, &cyclic, 300), long{STATUS_NOERROR})
      << LastError();
  int alive = 0;
  int speeds = 0;
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(Send(id, {Message(ISO14230, {0xC2, 0x33, 0xF1, 0x01, 0x0D})}), long{STATUS_NOERROR});
    while (const auto message = Next(id, 2000)) {
      alive += message->RxStatus == 0 && message->Data[3] == 0x7E ? 1 : 0;
      const bool speed = message->RxStatus == 0 && message->Data[3] == 0x41;
      speeds += speed ? 1 : 0;
      if (alive > i + 1) break;
    }
  }
  EXPECT_EQ(speeds, 3);
  EXPECT_GE(alive, 3);
}

}  // namespace
}  // namespace passbridge::test
