// What goes into the ComPrimitives that a channel starts.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "channel_fixture.h"
#include "trace/last_error.h"

namespace passbridge {
namespace {

using test::CanMessage;
using test::StartedCop;

constexpr UNUM32 kPadding = 0x37;  // identifier of the padding ComParam

struct ChannelSendTest : test::ChannelFixture {
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

TEST_F(ChannelSendTest, ProtocolMayLengthenTheDataAndLeavesTheMessageAlone) {
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

TEST_F(ChannelSendTest, EachRunOfEqualFlagsIsOneCop) {
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

TEST_F(ChannelSendTest, RawFramesOfMixedFormatGoInCopsOfTheirOwn) {
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
struct TemporaryComParamTest : ChannelSendTest {
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
  const test::CallLog& calls = pdu.Calls();
  for (const std::uint32_t flags :
       {ISO15765_FRAME_PAD, ISO15765_FRAME_PAD, 0U, ISO15765_FRAME_PAD}) {
    ASSERT_EQ(Write({CanMessage({0, 0, 7, 0xE0}, CAN, flags)}, 1000, &sent), STATUS_NOERROR);
  }
  EXPECT_EQ(paddingOfStart, (std::vector<UNUM32>{1, 1, 0, 1}));
  EXPECT_GT(calls.Count("PDUSetComParam"), 0U);
}

TEST_F(TemporaryComParamTest, StartThatFailsLeavesNoPadding) {
  nextStart = PDU_ERR_TX_QUEUE_FULL;
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0}, CAN, ISO15765_FRAME_PAD)}, 1000, &sent),
            ERR_BUFFER_FULL);
  EXPECT_EQ(padding, 0U);
  nextStart = PDU_STATUS_NOERROR;
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 1000, &sent), STATUS_NOERROR);
  EXPECT_EQ(paddingOfStart.back(), 0U);
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

TEST_F(ChannelSendTest, StartOfCommunicationIsKnownBeforeItsResultIs) {
  // The result is delivered while the handle is still on its way to the caller.
  ASSERT_EQ(Connect(ISO14230), STATUS_NOERROR);
  struct Probe : test::TestChannel {
    Status AddResultData(const pdu::SharedEventItem& item) override {
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

TEST_F(ChannelSendTest, CancellingAPeriodicMessageHoldsNoLock) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  PassThruMsg message = CanMessage({0, 0, 7, 0xE0});
  std::uint32_t id = 0;
  ASSERT_EQ(channel->PassThruStartPeriodicMsg(AppMessage(message), AppValue(id), 100),
            STATUS_NOERROR);
  // The D-PDU library waits for the callback that it makes on another thread.
  pdu.PDUCancelComPrimitive.Does([this](auto... args) {
    std::thread callback([&] { pdu.PDUCancelComPrimitive.BuiltIn(args...); });
    callback.join();
    return T_PDU_ERROR{PDU_STATUS_NOERROR};
  });
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(id), STATUS_NOERROR);
  pdu.PDUCancelComPrimitive.Does({});
  pdu.Calls().Clear();
  // The cancelled status has ended the condition: nothing is pending any more.
  for (int i = 0; i < 1000 && pdu.Calls().Count("PDUIoCtl") == 0; ++i) {
    ASSERT_EQ(channel->PassThruIoctl(CLEAR_TX_BUFFER, {}, {}), STATUS_NOERROR);
    if (pdu.Calls().Count("PDUIoCtl") == 0) break;
    pdu.Calls().Clear();
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_EQ(pdu.Calls().Count("PDUIoCtl"), 0U);
}

}  // namespace
}  // namespace passbridge
