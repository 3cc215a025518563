// ISO 15765 channels through the exported functions, with the ECUs of the virtual VCI, or with each
// other.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

#include "channels_fixture.h"

namespace passbridge::test {
namespace {

using testing::ElementsAre;
using testing::Pair;

constexpr j2534_ulong kCanPins = 0x060E;

Bytes Payload(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
  return bytes;
}

struct Iso15765Channel : ChannelsFixture {
  using ChannelsFixture::ChannelsFixture;

  /// A raw CAN channel on the same pins, which sees every frame.
  j2534_ulong ConnectObserver() {
    const j2534_ulong id = Connect(CAN);
    StartFilter(id, PASS_FILTER, Message(CAN, {0, 0, 0, 0}), Message(CAN, {0, 0, 0, 0}), nullptr);
    return id;
  }
  /// A conversation: where messages come from, and where they go to.
  void StartFlow(j2534_ulong on, j2534_ulong protocol, const Bytes& from, const Bytes& to,
                 j2534_ulong txFlags = 0) {
    // Applications leave junk in what means nothing there.
    PASSTHRU_MSG flow = Message(protocol, to, txFlags);
    flow.RxStatus = 0xDEADBEEF;
    flow.ExtraDataIndex = 0xDEADBEEF;
    EXPECT_EQ(
        StartFilter(on, FLOW_CONTROL_FILTER, Message(protocol, Bytes(to.size(), 0xFF), txFlags),
                    Message(protocol, from, txFlags), &flow),
        long{STATUS_NOERROR})
        << LastError();
  }
};

struct Iso15765InRealtime : Iso15765Channel {
  Iso15765InRealtime() : Iso15765Channel(VVCI_CLOCK_REALTIME) {}
};

TEST_F(Iso15765Channel, VinComesInSeveralFramesWithItsIndications) {
  const j2534_ulong iso = Connect(ISO15765);
  const j2534_ulong observer = ConnectObserver();
  StartFlow(iso, ISO15765, {0, 0, 7, 0xE8}, {0, 0, 7, 0xE0});
  ASSERT_EQ(SetConfig(iso, LOOPBACK, 1), long{STATUS_NOERROR});
  const Bytes request{0, 0, 7, 0xE0, 9, 2};
  ASSERT_EQ(Send(iso, {Message(ISO15765, request, ISO15765_FRAME_PAD)}), long{STATUS_NOERROR})
      << LastError();
  const Bytes vin{'V', 'V', 'C', '1', '2', '3', '4', '5', '6',
                  '7', 'N', '0', '0', '0', '0', '0', '1'};
  EXPECT_THAT(See(iso, 4),
              ElementsAre(Pair(TX_MSG_TYPE | TX_DONE, Bytes{0, 0, 7, 0xE0}),
                          Pair(TX_MSG_TYPE, request), Pair(START_OF_MESSAGE, Bytes{0, 0, 7, 0xE8}),
                          Pair(0U, Join({0, 0, 7, 0xE8, 0x49, 2, 1}, vin))));
  EXPECT_THAT(See(observer, 3),
              ElementsAre(Pair(0U, Bytes{0, 0, 7, 0xE0, 2, 9, 2, 0, 0, 0, 0, 0}),
                          Pair(0U, Bytes{0, 0, 7, 0xE8, 0x10, 20, 0x49, 2, 1, 'V', 'V', 'C'}),
                          Pair(0U, Bytes{0, 0, 7, 0xE0, 0x30, 0, 0})));
  ASSERT_EQ(Send(iso, {Message(ISO15765, {0, 0, 7, 0xE0, 0x3E, 0})}), long{STATUS_NOERROR});
  See(observer, 2);  // the rest of the VIN
  EXPECT_THAT(See(observer, 1), ElementsAre(Pair(0U, Bytes{0, 0, 7, 0xE0, 2, 0x3E, 0})))
      << "padding is for one message";
}

TEST_F(Iso15765Channel, EveryKindOfAddressCarriesMessagesOfEveryLength) {
  struct Case {
    const char* what;
    j2534_ulong connectFlags;
    j2534_ulong txFlags;
    Bytes one;
    Bytes other;
    j2534_ulong rxStatus;
  };
  for (const Case& c : {
           Case{"11 bits", 0, 0, {0, 0, 6, 1}, {0, 0, 6, 2}, 0},
           Case{"29 bits",
                CAN_29BIT_ID,
                CAN_29BIT_ID,
                {0x18, 0xDA, 1, 0xF1},
                {0x18, 0xDA, 0xF1, 1},
                CAN_29BIT_ID},
           Case{"both, 11 bits", CAN_ID_BOTH, 0, {0, 0, 6, 1}, {0, 0, 6, 2}, 0},
           Case{"both, 29 bits",
                CAN_ID_BOTH,
                CAN_29BIT_ID,
                {0x18, 0xDA, 1, 0xF1},
                {0x18, 0xDA, 0xF1, 1},
                CAN_29BIT_ID},
           Case{"extended",
                0,
                ISO15765_ADDR_TYPE,
                {0, 0, 6, 1, 0x11},
                {0, 0, 6, 2, 0x22},
                ISO15765_ADDR_TYPE},
           Case{"extended, 29 bits",
                CAN_29BIT_ID,
                CAN_29BIT_ID | ISO15765_ADDR_TYPE,
                {0x18, 0xDA, 1, 0xF1, 0x11},
                {0x18, 0xDA, 0xF1, 1, 0x22},
                CAN_29BIT_ID | ISO15765_ADDR_TYPE},
       }) {
    SCOPED_TRACE(c.what);
    const j2534_ulong left = Connect(ISO15765, c.connectFlags);
    const j2534_ulong right = Connect(ISO15765_PS, c.connectFlags, kCanPins);
    StartFlow(left, ISO15765, c.other, c.one, c.txFlags);
    StartFlow(right, ISO15765_PS, c.one, c.other, c.txFlags);
    for (const std::size_t size :
         {std::size_t{1}, std::size_t{7}, std::size_t{8}, std::size_t{300}, 4099 - c.one.size()}) {
      const Bytes message = Join(c.one, Payload(size));
      ASSERT_EQ(Send(left, {Message(ISO15765, message, c.txFlags)}), long{STATUS_NOERROR})
          << size << ": " << LastError();
      const bool segmented = size + c.one.size() - 4 > 7;
      if (segmented) {
        EXPECT_THAT(See(right, 1), ElementsAre(Pair(START_OF_MESSAGE | c.rxStatus, c.one)));
      }
      EXPECT_THAT(See(right, 1), ElementsAre(Pair(c.rxStatus, message))) << size;
      EXPECT_THAT(See(left, 1), ElementsAre(Pair(TX_MSG_TYPE | TX_DONE | c.rxStatus, c.one)));
    }
    for (const j2534_ulong id : {left, right}) {
      EXPECT_EQ(library.PassThruDisconnect(id), long{STATUS_NOERROR});
    }
  }
}

TEST_F(Iso15765Channel, SingleFramesGoInBatchesBetweenLongerMessages) {
  const j2534_ulong iso = Connect(ISO15765);
  const j2534_ulong peer = Connect(ISO15765_PS, 0, kCanPins);
  StartFlow(iso, ISO15765, {0, 0, 6, 2}, {0, 0, 6, 1});
  StartFlow(peer, ISO15765_PS, {0, 0, 6, 1}, {0, 0, 6, 2});
  std::vector<PASSTHRU_MSG> messages;
  std::vector<Bytes> expected;
  for (const std::size_t size : {1U, 2U, 100U, 3U, 4U, 5U, 200U, 6U}) {
    expected.push_back(Join({0, 0, 6, 1}, Payload(size)));
    messages.push_back(Message(ISO15765, expected.back()));
  }
  j2534_ulong sent = 0;
  ASSERT_EQ(Send(iso, messages, &sent), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(sent, messages.size());
  std::vector<Bytes> heard;
  for (const Seen& seen : See(peer, expected.size() + 2)) {
    if (seen.first == 0) heard.push_back(seen.second);
  }
  EXPECT_EQ(heard, expected);
  EXPECT_EQ(See(iso, messages.size()).size(), messages.size()) << "each is told to be done";
}

TEST_F(Iso15765Channel, FlowControlSaysWhatTheParametersSay) {
  const j2534_ulong iso = Connect(ISO15765);
  const j2534_ulong peer = Connect(ISO15765_PS, 0, kCanPins);
  const j2534_ulong observer = ConnectObserver();
  StartFlow(iso, ISO15765, {0, 0, 6, 2}, {0, 0, 6, 1});
  StartFlow(peer, ISO15765_PS, {0, 0, 6, 1}, {0, 0, 6, 2});
  ASSERT_EQ(SetConfig(peer, ISO15765_BS, 8), long{STATUS_NOERROR});
  ASSERT_EQ(SetConfig(peer, ISO15765_STMIN, 20), long{STATUS_NOERROR});
  const auto duration = [&] {
    EXPECT_EQ(Send(iso, {Message(ISO15765, Join({0, 0, 6, 1}, Payload(700)))}),
              long{STATUS_NOERROR})
        << LastError();
    const auto start = Next(peer);
    const auto message = Next(peer);
    EXPECT_TRUE(start && message);
    return start && message ? static_cast<std::uint32_t>(message->Timestamp - start->Timestamp) : 0;
  };
  EXPECT_GT(duration(), 80 * 20000U);
  EXPECT_THAT(See(observer, 2).back(), Pair(0U, Bytes{0, 0, 6, 2, 0x30, 8, 20}));
  ASSERT_EQ(SetConfig(iso, ISO15765_STMIN_TX, 0xF5), long{STATUS_NOERROR});
  const std::uint32_t hurried = duration();
  EXPECT_GT(hurried, 80 * 500U);
  EXPECT_LT(hurried, 100 * 1000U);
  ASSERT_EQ(SetConfig(peer, ISO15765_BS, 0), long{STATUS_NOERROR});
  ASSERT_EQ(SetConfig(iso, ISO15765_BS_TX, 2), long{STATUS_NOERROR});
  EXPECT_EQ(Send(iso, {Message(ISO15765, Join({0, 0, 6, 1}, Payload(700)))}), long{ERR_FAILED})
      << "it waits for flow control that the receiver has no need to send";
}

TEST_F(Iso15765InRealtime, WaitFramesArePutUpWithAsTheParameterSays) {
  const j2534_ulong iso = Connect(ISO15765);
  const j2534_ulong ecu = ConnectObserver();
  StartFlow(iso, ISO15765, {0, 0, 6, 2}, {0, 0, 6, 1});
  const auto transfer = [&](std::vector<Bytes> flow) {
    std::thread answer([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      for (const Bytes& frame : flow) {
        std::vector<PASSTHRU_MSG> messages{Message(CAN, Join({0, 0, 6, 2}, frame))};
        j2534_ulong count = 1;
        library.PassThruWriteMsgs(ecu, messages.data(), &count, 1000);
      }
    });
    const long status = Send(iso, {Message(ISO15765, Join({0, 0, 6, 1}, Payload(20)))});
    answer.join();
    return status;
  };
  EXPECT_EQ(transfer({{0x31, 0, 0}, {0x30, 0, 0}}), long{ERR_FAILED}) << "none by default";
  ASSERT_EQ(SetConfig(iso, ISO15765_WFT_MAX, 1), long{STATUS_NOERROR});
  EXPECT_EQ(transfer({{0x31, 0, 0}, {0x30, 0, 0}}), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(transfer({{0x31, 0, 0}, {0x31, 0, 0}, {0x30, 0, 0}}), long{ERR_FAILED});
}

TEST_F(Iso15765Channel, LongMessagesNeedTheirFlowControlFilter) {
  const j2534_ulong iso = Connect(ISO15765);
  j2534_ulong sent = 9;
  const PASSTHRU_MSG longOne = Message(ISO15765, Join({0, 0, 7, 0xE0}, Payload(9)));
  EXPECT_EQ(Send(iso, {longOne}, &sent), long{ERR_NO_FLOW_CONTROL});
  EXPECT_EQ(sent, 0U);
  StartFlow(iso, ISO15765, {0, 0, 7, 0xE8}, {0, 0, 7, 0xE0});
  EXPECT_EQ(Send(iso, {longOne}), long{STATUS_NOERROR}) << LastError();
  PASSTHRU_MSG flow = Message(ISO15765, {0, 0, 7, 0xE1});
  const PASSTHRU_MSG mask = Message(ISO15765, {0xFF, 0xFF, 0xFF, 0xFF});
  EXPECT_EQ(StartFilter(iso, FLOW_CONTROL_FILTER, mask, Message(ISO15765, {0, 0, 7, 0xE8}), &flow),
            long{ERR_NOT_UNIQUE});
  EXPECT_EQ(StartFilter(iso, PASS_FILTER, mask, Message(ISO15765, {0, 0, 7, 0xE9}), nullptr),
            long{ERR_FAILED})
      << "only in mixed format";
  EXPECT_EQ(Send(iso, {Message(ISO15765, Join({0, 0, 7, 0xE0}, Payload(4096)))}),
            long{ERR_INVALID_MSG});
}

TEST_F(Iso15765Channel, MixedFormatCarriesRawFramesWhileItIsOn) {
  const j2534_ulong iso = Connect(ISO15765);
  const j2534_ulong observer = ConnectObserver();
  StartFlow(iso, ISO15765, {0, 0, 7, 0xE8}, {0, 0, 7, 0xE0});
  const PASSTHRU_MSG raw = Message(CAN, {0, 0, 5, 1, 0xAA});
  const PASSTHRU_MSG mask = Message(CAN, {0xFF, 0xFF, 0xFF, 0xFF});
  EXPECT_EQ(Send(iso, {raw}), long{ERR_MSG_PROTOCOL_ID});
  ASSERT_EQ(SetConfig(iso, CAN_MIXED_FORMAT, 1), long{STATUS_NOERROR}) << LastError();
  ASSERT_EQ(StartFilter(iso, PASS_FILTER, mask, Message(CAN, {0, 0, 5, 2}), nullptr),
            long{STATUS_NOERROR})
      << LastError();
  ASSERT_EQ(Send(iso, {raw, Message(ISO15765, {0, 0, 7, 0xE0, 0x3E, 0})}), long{STATUS_NOERROR})
      << LastError();
  EXPECT_THAT(See(observer, 2), ElementsAre(Pair(0U, Bytes{0, 0, 5, 1, 0xAA}),
                                            Pair(0U, Bytes{0, 0, 7, 0xE0, 2, 0x3E, 0})));
  ASSERT_EQ(Send(observer, {Message(CAN, {0, 0, 5, 2, 0xBB}), Message(CAN, {0, 0, 5, 3, 0xCC})}),
            long{STATUS_NOERROR});
  std::vector<std::pair<j2534_ulong, Bytes>> data;
  while (data.size() < 2) {
    const auto message = Next(iso);
    ASSERT_TRUE(message);
    if (message->RxStatus == 0) {
      data.emplace_back(message->ProtocolID,
                        Bytes(message->Data, message->Data + message->DataSize));
    }
  }
  EXPECT_THAT(data, testing::UnorderedElementsAre(Pair(ISO15765, Bytes{0, 0, 7, 0xE8, 0x7E, 0}),
                                                  Pair(CAN, Bytes{0, 0, 5, 2, 0xBB})));

  ASSERT_EQ(SetConfig(iso, CAN_MIXED_FORMAT, 0), long{STATUS_NOERROR}) << LastError();
  EXPECT_EQ(Send(iso, {raw}), long{ERR_MSG_PROTOCOL_ID});
  ASSERT_EQ(Send(observer, {Message(CAN, {0, 0, 5, 2, 0xBB})}), long{STATUS_NOERROR});
  EXPECT_FALSE(Next(iso, 50)) << "no raw frames any more";
  ASSERT_EQ(Send(iso, {Message(ISO15765, {0, 0, 7, 0xE0, 0x3E, 0})}), long{STATUS_NOERROR});
  EXPECT_EQ(See(iso, 2).back(), Seen(0, {0, 0, 7, 0xE8, 0x7E, 0})) << "the conversation stays";
}

TEST_F(Iso15765InRealtime, PeriodicMessagesRunBesideTheTraffic) {
  const j2534_ulong iso = Connect(ISO15765);
  const j2534_ulong observer = ConnectObserver();
  StartFlow(iso, ISO15765, {0, 0, 7, 0xE8}, {0, 0, 7, 0xE0});
  PASSTHRU_MSG present = Message(ISO15765, {0, 0, 7, 0xDF, 0x3E, 0x80});
  j2534_ulong id = 0;
  ASSERT_EQ(library.PassThruStartPeriodicMsg(iso, &present, &id, 20), long{STATUS_NOERROR})
      << LastError();
  std::vector<j2534_ulong> times;
  while (times.size() < 5) {
    const auto frame = Next(observer);
    ASSERT_TRUE(frame);
    if (IdentifierOf(*frame) == 0x7DF) times.push_back(frame->Timestamp);
    if (times.size() == 2) {
      EXPECT_EQ(Send(iso, {Message(ISO15765, {0, 0, 7, 0xE0, 9, 2})}), long{STATUS_NOERROR});
    }
  }
  EXPECT_NEAR(static_cast<double>(times.back() - times.front()), 4 * 20000.0, 1000.0);
  EXPECT_EQ(library.PassThruStopPeriodicMsg(iso, id), long{STATUS_NOERROR}) << LastError();
  bool vin = false;
  bool done = false;
  while (const auto message = Next(iso, 100)) {
    vin = vin || message->DataSize == 24;
    done = done || (message->RxStatus & TX_DONE) != 0;
  }
  EXPECT_TRUE(vin);
  EXPECT_TRUE(done) << "the application hears of both links";
  present.DataSize = 13;
  EXPECT_EQ(library.PassThruStartPeriodicMsg(iso, &present, &id, 20), long{ERR_INVALID_MSG});
}

TEST_F(Iso15765Channel, PinSwitchedChannelsTalkOnTheirPins) {
  struct Case {
    j2534_ulong protocol;
    j2534_ulong raw;
  };
  for (const Case& c : {Case{ISO15765_PS, CAN_PS}, Case{FT_ISO15765_PS, FT_CAN_PS},
                        Case{FGA7274, CAN_PS}, Case{FT_FGA7274, FT_CAN_PS}}) {
    const j2534_ulong waiting = Connect(c.protocol);
    j2534_ulong sent = 0;
    EXPECT_EQ(Send(waiting, {Message(c.protocol, {0, 0, 6, 1, 1})}, &sent), long{ERR_PIN_INVALID});
    EXPECT_EQ(SetConfig(waiting, J1962_PINS, 0x030B), long{STATUS_NOERROR}) << LastError();
    const j2534_ulong ear = Connect(c.raw, 0, 0x030B);
    StartFilter(ear, PASS_FILTER, Message(c.raw, {0, 0, 0, 0}), Message(c.raw, {0, 0, 0, 0}),
                nullptr);
    EXPECT_EQ(Send(waiting, {Message(c.protocol, {0, 0, 6, 1, 1})}), long{STATUS_NOERROR})
        << c.protocol << LastError();
    EXPECT_THAT(See(ear, 1), ElementsAre(Pair(0U, Bytes{0, 0, 6, 1, 1, 1})));
    PASSTHRU_MSG cyclic = Message(c.protocol, {0, 0, 6, 3, 2});
    j2534_ulong id = 0;
    EXPECT_EQ(library.PassThruStartPeriodicMsg(waiting, &cyclic, &id, 5), long{STATUS_NOERROR})
        << c.protocol << LastError();
    EXPECT_THAT(See(ear, 1), ElementsAre(Pair(0U, Bytes{0, 0, 6, 3, 1, 2})));
    for (const j2534_ulong each : {waiting, ear}) {
      EXPECT_EQ(library.PassThruDisconnect(each), long{STATUS_NOERROR});
    }
  }
}

}  // namespace
}  // namespace passbridge::test
