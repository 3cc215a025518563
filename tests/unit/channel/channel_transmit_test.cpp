// How a channel sends: what goes into its ComPrimitives, and how it waits for them.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "channel_fixture.h"
#include "support/trace_observer.h"

namespace passbridge {
namespace {

using test::CanMessage;
using test::StartedCop;

constexpr UNUM32 kPadding = 0x37;  // identifier of the padding ComParam

struct ChannelTransmitTest : test::ChannelFixture {
  /// The ComPrimitives that send, in the order of their start.
  std::vector<StartedCop> Sent() {
    std::vector<StartedCop> cops;
    for (const StartedCop& cop : pdu.StartedCops()) {
      if (cop.type == PDU_COPT_SENDRECV && cop.control.NumSendCycles != 0) cops.push_back(cop);
    }
    return cops;
  }
  std::uint32_t sent = 0;
};

TEST_F(ChannelTransmitTest, SendsNothingWhenOneMessageIsBad) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  AcceptFramesOnly();
  const std::size_t cops = pdu.StartedCops().size();
  const PassThruMsg good = CanMessage({0, 0, 7, 0xE0});
  EXPECT_EQ(Write({good, CanMessage({0, 0, 7})}, 0, &sent), ERR_INVALID_MSG);
  EXPECT_EQ(LastLocation(), 0x02060001U);
  EXPECT_EQ(Write({good, CanMessage(std::vector<UNUM8>(13))}, 0, &sent), ERR_INVALID_MSG);
  EXPECT_EQ(Write({good, CanMessage({0, 0, 7, 0xE0}, ISO15765)}, 0, &sent), ERR_MSG_PROTOCOL_ID);
  EXPECT_EQ(sent, 0U);
  PassThruMsg huge = good;
  huge.dataSize = 0xFFFFFFFF;
  EXPECT_EQ(Write({huge}, 0, &sent), ERR_INVALID_MSG);
  EXPECT_EQ(channel->PassThruWriteMsgs(AppMessage(reinterpret_cast<void*>(8), FieldWidth::k32),
                                       AppValue(sent = 1), 0),
            ERR_NULL_PARAMETER);
  EXPECT_EQ(pdu.StartedCops().size(), cops);
}

TEST_F(ChannelTransmitTest, WriteWaitsForItsCopToEnd) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  pdu.FinishComPrimitives(false);
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 20, &sent), ERR_TIMEOUT);
  EXPECT_EQ(sent, 1U);
  EXPECT_EQ(LastLocation(), 0x021E0003U);

  pdu.PDUStartComPrimitive.Does([this](auto... args) {
    const T_PDU_ERROR result = pdu.PDUStartComPrimitive.BuiltIn(args...);
    pdu.Deliver(kModule, pdu.LastLink(),
                pdu.Items().MakeError(PDU_ERR_EVT_TX_ERROR, pdu.StartedCops().back().hCoP));
    return result;
  });
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 10000, &sent), ERR_FAILED);
  EXPECT_EQ(LastErrorText(), "(0D080005:00000101) Code (00000101), Extra Info (00000000).\r\n");
  pdu.PDUStartComPrimitive.Does({});
}

TEST_F(ChannelTransmitTest, StartFailuresAreMapped) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  struct Case {
    T_PDU_ERROR result;
    Status status;
  };
  for (const Case& c : {Case{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
                        Case{PDU_ERR_CLL_NOT_CONNECTED, ERR_INVALID_CHANNEL_ID},
                        Case{PDU_ERR_TX_QUEUE_FULL, ERR_BUFFER_FULL},
                        Case{PDU_ERR_INVALID_PARAMETERS, ERR_FAILED}}) {
    pdu.PDUStartComPrimitive.Next({c.result});
    EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 1000, &sent), c.status);
    EXPECT_EQ(sent, 0U);
    EXPECT_EQ(record.LastPduCode(), c.result);
  }
}

TEST_F(ChannelTransmitTest, TimeIsForAllMessagesTogether) {
  ASSERT_EQ(Connect(ISO14230), STATUS_NOERROR);
  int starts = 0;
  pdu.PDUStartComPrimitive.Does([&](auto... args) {
    if (++starts == 2) std::this_thread::sleep_for(std::chrono::milliseconds(400));
    return pdu.PDUStartComPrimitive.BuiltIn(args...);
  });
  const PassThruMsg message = CanMessage({0x81, 0x10, 0xF1}, ISO14230);
  EXPECT_EQ(Write({message, message, message}, 300, &sent), ERR_TIMEOUT);
  EXPECT_EQ(sent, 2U) << "what was started before the time was over";
  EXPECT_EQ(Write({message, message, message}, 10000, &sent), STATUS_NOERROR);
  EXPECT_EQ(sent, 3U);
  pdu.PDUStartComPrimitive.Does({});
}

TEST_F(ChannelTransmitTest, SingleFramesAreBatchedAndOthersSentAlone) {
  ASSERT_EQ(Connect(ISO15765), STATUS_NOERROR);
  const auto message = [](std::size_t size) {
    return CanMessage(std::vector<std::uint8_t>(size), ISO15765);
  };
  for (const std::uint32_t timeout : {0U, 1000U}) {
    const std::size_t before = Sent().size();
    ASSERT_EQ(Write({message(12), message(5), message(13), message(6)}, timeout, &sent),
              STATUS_NOERROR);
    EXPECT_EQ(sent, 4U);
    const std::vector<StartedCop> cops = Sent();
    ASSERT_EQ(cops.size(), before + 3);
    EXPECT_EQ(cops[before].txFlags[3], 0x20) << "packed";
    EXPECT_EQ(cops[before].data[0], 2);
    EXPECT_EQ(cops[before + 1].data.size(), 13U);
    EXPECT_EQ(cops[before + 2].data.size(), 6U);
  }
  pdu.PDUStartComPrimitive.Next({PDU_STATUS_NOERROR, PDU_ERR_TX_QUEUE_FULL});
  EXPECT_EQ(Write({message(5), message(5), message(13)}, 0, &sent), ERR_BUFFER_FULL);
  EXPECT_EQ(sent, 2U);
}

TEST_F(ChannelTransmitTest, StartOfCommunicationCarriesTheFlagsOfItsMessage) {
  ASSERT_EQ(Connect(ISO14230), STATUS_NOERROR);
  struct Case {
    std::uint32_t txFlags;
    std::vector<UNUM8> ofCop;
  };
  for (const Case& c : {Case{0, {0, 0, 0, 0}}, Case{WAIT_P3_MIN_ONLY, {0, 0, 2, 0}},
                        Case{CAN_29BIT_ID, {0, 0, 1, 0}}, Case{ISO15765_ADDR_TYPE, {0, 0, 0, 0x80}},
                        Case{ISO15765_FRAME_PAD, {0, 0, 0, 0x40}}}) {
    PassThruMsg message = CanMessage({0x81}, ISO14230, c.txFlags);
    ASSERT_EQ(channel->SendStartComComPrimitive(AppMessage(message), true), STATUS_NOERROR);
    EXPECT_EQ(pdu.StartedCops().back().txFlags, c.ofCop) << c.txFlags;
    EXPECT_EQ(pdu.StartedCops().back().control.NumSendCycles, 1);
    EXPECT_EQ(pdu.StartedCops().back().control.NumReceiveCycles, 1);
  }
}

TEST_F(ChannelTransmitTest, ProtocolMayLengthenTheDataAndLeavesTheMessageAlone) {
  ASSERT_EQ(Connect(ISO14230), STATUS_NOERROR);
  TheTestChannel().adjust = [](const AppMessage&, CopData& data, CopControl&) {
    data.push_back(0xC5);
    return STATUS_NOERROR;
  };
  struct {
    PassThruMsg message;
    std::array<std::uint8_t, 8> behind;
  } memory;
  memory.behind.fill(0x77);
  memory.message = CanMessage({0x81, 0x10, 0xF1, 0x55}, ISO14230);
  for (const std::uint32_t size : {3U, kMaxMessageData}) {
    memory.message.dataSize = size;
    sent = 1;
    ASSERT_EQ(channel->PassThruWriteMsgs(AppMessage(memory.message), AppValue(sent), 1000),
              STATUS_NOERROR);
    EXPECT_EQ(Sent().back().data.size(), size + 1);
    EXPECT_EQ(Sent().back().data.back(), 0xC5);
  }
  EXPECT_EQ(memory.message.data[3], 0x55);
  EXPECT_EQ(memory.behind[0], 0x77);

  memory.message.dataSize = 3;
  EXPECT_EQ(channel->SendStartComComPrimitive(AppMessage(memory.message), false), STATUS_NOERROR);
  EXPECT_EQ(pdu.StartedCops().back().data, (std::vector<UNUM8>{0x81, 0x10, 0xF1, 0xC5}));
}

TEST_F(ChannelTransmitTest, EachRunOfEqualFlagsIsOneCop) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  TheTestChannel().adjust = [](const AppMessage& msg, CopData&, CopControl& control) {
    control.txFlags[2] = (msg.TxFlags() & CAN_29BIT_ID) != 0 ? 1 : 0;
    return STATUS_NOERROR;
  };
  const auto message = [](std::uint8_t last, std::uint32_t flags) {
    return CanMessage({0, 0, 1, last}, CAN, flags);
  };
  ASSERT_EQ(Write({message(1, 0), message(2, 0), message(3, CAN_29BIT_ID), message(4, 0),
                   message(5, ISO15765_FRAME_PAD)},
                  1000, &sent),
            STATUS_NOERROR);
  EXPECT_EQ(sent, 5U);
  const std::vector<StartedCop> cops = Sent();
  ASSERT_EQ(cops.size(), 4U);
  EXPECT_EQ(cops[0].data, (std::vector<UNUM8>{2, 0, 0, 0, 4, 0, 0, 1, 1, 4, 0, 0, 1, 2}));
  EXPECT_EQ(cops[0].txFlags, (std::vector<UNUM8>{0, 0, 0, 0x20}));
  EXPECT_EQ(cops[1].data, (std::vector<UNUM8>{0, 0, 1, 3}));
  EXPECT_EQ(cops[1].txFlags, (std::vector<UNUM8>{0, 0, 1, 0}));
  EXPECT_EQ(cops[2].data, (std::vector<UNUM8>{0, 0, 1, 4}));
  EXPECT_EQ(cops[3].control.TempParamUpdate, 1U) << "what holds for one CoP is its own, too";

  // A failing start tells how many went before it.
  pdu.PDUStartComPrimitive.Next({PDU_STATUS_NOERROR, PDU_ERR_TX_QUEUE_FULL});
  EXPECT_EQ(Write({message(1, 0), message(2, 0), message(3, CAN_29BIT_ID)}, 1000, &sent),
            ERR_BUFFER_FULL);
  EXPECT_EQ(sent, 2U);
}

TEST_F(ChannelTransmitTest, RawFramesOfMixedFormatGoInCopsOfTheirOwn) {
  ASSERT_EQ(Connect(ISO15765), STATUS_NOERROR);
  ASSERT_EQ(Configure({{CAN_MIXED_FORMAT, 1}}), STATUS_NOERROR);
  ASSERT_EQ(Write({CanMessage({0, 0, 7, 0xE0, 1}, ISO15765), CanMessage({0, 0, 7, 0xE1}, CAN),
                   CanMessage({0, 0, 7, 0xE2}, ISO15765)},
                  0, &sent),
            STATUS_NOERROR);
  const std::vector<StartedCop> cops = Sent();
  ASSERT_EQ(cops.size(), 3U);
  EXPECT_EQ(cops[0].txFlags[0] & 0x04, 0);
  EXPECT_EQ(cops[1].txFlags[0] & 0x04, 0x04);
  EXPECT_EQ(cops[2].txFlags[0] & 0x04, 0);
}

/// A D-PDU library whose link has the ComParams of one ComPrimitive only.
struct TemporaryComParamTest : ChannelTransmitTest {
  TemporaryComParamTest() {
    pdu.PDUSetComParam.Does([this](UNUM32 module, UNUM32 cll, PDU_PARAM_ITEM* item) {
      if (item->ComParamId == kPadding) padding = *static_cast<UNUM32*>(item->pComParamData);
      return pdu.PDUSetComParam.BuiltIn(module, cll, item);
    });
    pdu.PDUGetComParam.Does([this](UNUM32 module, UNUM32 cll, UNUM32 id, PDU_PARAM_ITEM** item) {
      const T_PDU_ERROR result = pdu.PDUGetComParam.BuiltIn(module, cll, id, item);
      if (id == kPadding && *item != nullptr) {
        *static_cast<UNUM32*>((*item)->pComParamData) = padding;
      }
      return result;
    });
    pdu.PDUStartComPrimitive.Does([this](auto... args) {
      paddingOfStart.push_back(padding);
      const T_PDU_ERROR result =
          nextStart != PDU_STATUS_NOERROR ? nextStart : pdu.PDUStartComPrimitive.BuiltIn(args...);
      if (result == PDU_STATUS_NOERROR) padding = 0;  // restored from the active buffer
      return result;
    });
    EXPECT_EQ(Connect(), STATUS_NOERROR);
    paddingOfStart.clear();
  }
  ~TemporaryComParamTest() override {
    pdu.PDUSetComParam.Does({});
    pdu.PDUGetComParam.Does({});
    pdu.PDUStartComPrimitive.Does({});
  }

  UNUM32 padding = 0;  // of the working buffer
  T_PDU_ERROR nextStart = PDU_STATUS_NOERROR;
  std::vector<UNUM32> paddingOfStart;
};

TEST_F(TemporaryComParamTest, EveryPaddedFrameIsPaddedAndNoOther) {
  pdu.Calls().Clear();
  for (const std::uint32_t flags :
       {ISO15765_FRAME_PAD, ISO15765_FRAME_PAD, 0U, ISO15765_FRAME_PAD}) {
    ASSERT_EQ(Write({CanMessage({0, 0, 7, 0xE0}, CAN, flags)}, 1000, &sent), STATUS_NOERROR);
  }
  EXPECT_EQ(paddingOfStart, (std::vector<UNUM32>{1, 1, 0, 1}));
  EXPECT_EQ(pdu.Calls().Count("PDUSetComParam"), 3U) << "the link sets it back by itself";
}

TEST_F(TemporaryComParamTest, StartThatFailsLeavesNoPadding) {
  nextStart = PDU_ERR_TX_QUEUE_FULL;
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0}, CAN, ISO15765_FRAME_PAD)}, 1000, &sent),
            ERR_BUFFER_FULL);
  EXPECT_EQ(padding, 0U);
  nextStart = PDU_STATUS_NOERROR;
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 1000, &sent), STATUS_NOERROR);
  EXPECT_EQ(paddingOfStart.back(), 0U);

  // Nor does an update that could not be started keep anybody waiting.
  nextStart = PDU_ERR_CLL_NOT_STARTED;
  EXPECT_EQ(Configure({{LOOPBACK, 1}}), ERR_INVALID_CHANNEL_ID);
  nextStart = PDU_STATUS_NOERROR;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0}, CAN, ISO15765_FRAME_PAD)}, 2000, &sent),
            STATUS_NOERROR);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1500));
}

TEST_F(TemporaryComParamTest, ThatCannotBeSetStopsTheCopOnlyIfItHasWordsForIt) {
  const char* words = nullptr;
  TheTestChannel().adjust = [&](const AppMessage&, CopData&, CopControl& control) {
    control.SetTemporarily({ComParamCache::kMaxIdentifier, 1, words});
    return STATUS_NOERROR;
  };
  const std::size_t before = Sent().size();
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 1000, &sent), STATUS_NOERROR);
  EXPECT_EQ(Sent().size(), before + 1);
  words = "No such ComParam.";
  const test::Outcome outcome = test::Observe([this] {
    return Write({CanMessage({0, 0, 7, 0xE0})}, 1000, &sent);
  });
  test::ExpectReported(outcome, ERR_NULL_PARAMETER, "021E0001 No such ComParam.");
  EXPECT_EQ(Sent().size(), before + 1);
}

TEST_F(TemporaryComParamTest, WaitsForAnUpdateThatItWouldUndo) {
  pdu.FinishComPrimitives(false);
  ASSERT_EQ(Configure({{LOOPBACK, 1}}), STATUS_NOERROR) << "started, not in force yet";
  const UNUM32 update = pdu.StartedCops().back().hCoP;
  const std::size_t before = pdu.StartedCops().size();
  std::thread writer([this] {
    EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0}, CAN, ISO15765_FRAME_PAD)}, 0, &sent),
              STATUS_NOERROR);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  EXPECT_EQ(pdu.StartedCops().size(), before);
  pdu.Deliver(kModule, pdu.LastLink(), pdu.Items().MakeStatus(PDU_COPST_FINISHED, update));
  writer.join();
  EXPECT_EQ(pdu.StartedCops().size(), before + 1);

  // Nobody is kept longer than its time-out by an update that does not end.
  ASSERT_EQ(Configure({{LOOPBACK, 0}}), STATUS_NOERROR);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0}, CAN, ISO15765_FRAME_PAD)}, 50, &sent), ERR_TIMEOUT);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
}

TEST_F(ChannelTransmitTest, StartOfCommunicationIsKnownBeforeItsResultIs) {
  // The result is delivered while the handle is still on its way to the caller.
  ASSERT_EQ(Connect(ISO14230), STATUS_NOERROR);
  struct Probe : test::TestChannel {
    Status AddResultData(pdu::SharedEventItem item) override {
      platform::MutexLock lock(GetLink().StartCommLock());
      if (item->hCop != GetLink().StartCommCop()) ++strangers;
      ++results;
      return STATUS_NOERROR;
    }
    std::atomic<int> strangers{0};
    std::atomic<int> results{0};
  };
  Drop();
  channel = OwnedChannel(new Probe);
  auto& probe = static_cast<Probe&>(*channel);
  ASSERT_EQ(channel->Initialize(kModule, ISO14230, 0, 10400), STATUS_NOERROR);
  ASSERT_EQ(channel->PassThruConnect(ISO14230, 0, 10400), STATUS_NOERROR);
  pdu.FinishComPrimitives(false);
  pdu.PDUStartComPrimitive.Does([this](auto... args) {
    const T_PDU_ERROR result = pdu.PDUStartComPrimitive.BuiltIn(args...);
    const UNUM32 hCop = pdu.StartedCops().back().hCoP;
    const UNUM32 link = pdu.LastLink();
    pdu.Deliver(kModule, link, pdu.Items().MakeResult({.data = {0x8F}, .hCop = hCop}));
    pdu.Deliver(kModule, link, pdu.Items().MakeStatus(PDU_COPST_FINISHED, hCop));
    return result;
  });
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(channel->SendStartComComPrimitive(AppMessage(), true), STATUS_NOERROR);
  }
  pdu.PDUStartComPrimitive.Does({});
  while (probe.results < 200) std::this_thread::yield();
  EXPECT_EQ(probe.strangers, 0);
}

}  // namespace
}  // namespace passbridge
