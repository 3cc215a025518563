// Periodic messages, on the channel's own link or on a second one.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "channel_fixture.h"
#include "trace/methods.h"

namespace passbridge {
namespace {

using test::CanMessage;
using test::StartedCop;

/// A channel whose periodic messages have a link of their own.
class TwoLinkChannel : public test::TestChannel {
 public:
  Status PassThruStartPeriodicMsg(const AppMessage& msg, const AppValue& msgId,
                                  std::uint32_t interval) override {
    static constexpr std::array<TakenOver, 2> kTakenOver{
        {{LOOPBACK, "No loopback."}, {J1962_PINS, "No pins."}}};
    constexpr PeriodicChannelPlan kPlan{[] { return OwnedChannel(new TwoLinkChannel); },
                                        kTakenOver};
    return Traced(methods::channel_can::kPassThruStartPeriodicMsg, [&](Exits& exit) -> Status {
      return StartOnPeriodicChannel(exit, kPlan, msg, msgId, interval);
    });
  }
};

/// With the second link, or without.
struct ChannelPeriodicTest : test::ChannelFixture, testing::WithParamInterface<bool> {
  OwnedChannel Make() override {
    return OwnedChannel(GetParam() ? new TwoLinkChannel : new test::TestChannel);
  }
  std::size_t Links() const { return GetParam() ? 2 : 1; }
  std::uint32_t first = 0;
  std::uint32_t other = 0;
};
INSTANTIATE_TEST_SUITE_P(OnOneLinkOrTwo, ChannelPeriodicTest, testing::Bool());

TEST_P(ChannelPeriodicTest, AreRepeatedByTheInterfaceUntilStopped) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(1), ERR_INVALID_MSG_ID);
  ASSERT_EQ(StartPeriodic(5, &first), STATUS_NOERROR);
  const StartedCop cop = pdu.StartedCops().back();
  EXPECT_EQ(cop.hCLL, pdu.LastLink());
  EXPECT_EQ(cop.hCoP, first);
  EXPECT_EQ(cop.control.NumSendCycles, -1);
  EXPECT_EQ(cop.control.Time, 5U);
  for (int i = 1; i < 20; ++i) ASSERT_EQ(StartPeriodic(65535, &other), STATUS_NOERROR);
  EXPECT_EQ(StartPeriodic(100, &other), ERR_EXCEEDED_LIMIT);
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(first), STATUS_NOERROR);
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(first), ERR_INVALID_MSG_ID);
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(0), ERR_INVALID_MSG_ID);
  EXPECT_EQ(StartPeriodic(100, &other), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUCreateComLogicalLink"), Links());
  EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUDestroyComLogicalLink"), Links());
}

TEST_P(ChannelPeriodicTest, RefusalsAreReportedByTheirCause) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  ASSERT_EQ(StartPeriodic(100, &first), STATUS_NOERROR);
  const std::size_t cops = pdu.StartedCops().size();
  const auto start = [this](const PassThruMsg& given, std::uint32_t interval = 100) {
    PassThruMsg message = given;
    return channel->PassThruStartPeriodicMsg(AppMessage(message), AppValue(other), interval);
  };
  const PassThruMsg good = CanMessage({0, 0, 7, 0xE0});
  struct Case {
    std::function<Status()> start;
    Status status;
    Location location;
  };
  PassThruMsg message = good;
  for (const Case& c : std::vector<Case>{
           {[&] { return start(good, 4); }, ERR_INVALID_TIME_INTERVAL, 0x02280004},
           {[&] { return start(good, 65536); }, ERR_INVALID_TIME_INTERVAL, 0x02280004},
           {[&] { return start(CanMessage(std::vector<UNUM8>(13))); }, ERR_INVALID_MSG, 0x02280004},
           {[&] { return channel->PassThruStartPeriodicMsg({}, AppValue(other), 100); },
            ERR_NULL_PARAMETER, 0x02280002},
           {[&] { return channel->PassThruStartPeriodicMsg(AppMessage(message), {}, 100); },
            ERR_NULL_PARAMETER, 0x02280003},
           {[&] {
    return start(CanMessage({0, 0, 7, 0xE0}, ISO15765));
            },
            ERR_MSG_PROTOCOL_ID, 0x02340000}}) {
    EXPECT_EQ(c.start(), c.status);
    EXPECT_EQ(LastLocation(), c.location);
  }
  EXPECT_EQ(pdu.StartedCops().size(), cops);
  pdu.PDUStartComPrimitive.Next({PDU_ERR_TX_QUEUE_FULL});
  EXPECT_EQ(start(good), ERR_EXCEEDED_LIMIT) << "in the words of a periodic message";

  struct Cancel {
    T_PDU_ERROR result;
    Status status;
  };
  for (const Cancel& c : {Cancel{PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
                          Cancel{PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID},
                          Cancel{PDU_ERR_FCT_FAILED, ERR_FAILED}}) {
    ASSERT_EQ(StartPeriodic(100, &other), STATUS_NOERROR);
    pdu.PDUCancelComPrimitive.Next({c.result});
    EXPECT_EQ(channel->PassThruStopPeriodicMsg(other), c.status);
    EXPECT_EQ(LastLocation(), 0x02290003U);
  }
}

TEST_P(ChannelPeriodicTest, ClearingCancelsEveryOne) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  ASSERT_EQ(StartPeriodic(100, &first), STATUS_NOERROR);
  ASSERT_EQ(StartPeriodic(100, &other), STATUS_NOERROR);
  EXPECT_EQ(Ioctl(CLEAR_PERIODIC_MSGS), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUCancelComPrimitive"), 2U);
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(first), ERR_INVALID_MSG_ID);
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(other), ERR_INVALID_MSG_ID);
}

TEST_P(ChannelPeriodicTest, NeedPinsAndTheStartSaysSo) {
  ASSERT_EQ(Connect(CAN_PS), STATUS_NOERROR);
  EXPECT_EQ(StartPeriodic(100, &first, CAN_PS), ERR_PIN_INVALID);
  EXPECT_EQ(LastLocation(), 0x02280001U);
  EXPECT_EQ(Ioctl(CLEAR_PERIODIC_MSGS), ERR_PIN_INVALID);
  EXPECT_EQ(pdu.Calls().Count("PDUCreateComLogicalLink"), 0U);
}

TEST_P(ChannelPeriodicTest, CancellingHoldsNoLock) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  ASSERT_EQ(StartPeriodic(100, &first), STATUS_NOERROR);
  // The D-PDU library waits for the callback that it makes on another thread.
  pdu.PDUCancelComPrimitive.Does([this](auto... args) {
    std::thread callback([&] { pdu.PDUCancelComPrimitive.BuiltIn(args...); });
    callback.join();
    return T_PDU_ERROR{PDU_STATUS_NOERROR};
  });
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(first), STATUS_NOERROR);
  pdu.PDUCancelComPrimitive.Does({});
  // The cancelled status has ended the condition: nothing is pending any more.
  std::size_t before = 0;
  for (int i = 0; i < 1000; ++i) {
    before = pdu.Calls().Count("PDUIoCtl");
    ASSERT_EQ(Ioctl(CLEAR_TX_BUFFER), STATUS_NOERROR);
    if (pdu.Calls().Count("PDUIoCtl") == before) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  EXPECT_EQ(pdu.Calls().Count("PDUIoCtl"), before);
}

struct SecondLinkTest : test::ChannelFixture {
  OwnedChannel Make() override { return OwnedChannel(new TwoLinkChannel); }
  /// The calls of a function that were for the first and for the second link.
  std::vector<std::size_t> CallsByLink(const std::string& function) {
    std::vector<std::size_t> counts{0, 0};
    for (const std::string& call : pdu.Calls().Of(function)) {
      const std::string link = "(1, " + test::Render(pdu.LastLink());
      ++counts[call.find(link) != std::string::npos ? 1 : 0];
    }
    return counts;
  }
  std::uint32_t id = 0;
};

TEST_F(SecondLinkTest, IsMadeLikeTheFirstOne) {
  ASSERT_EQ(Connect(CAN_PS, CAN_29BIT_ID), STATUS_NOERROR);
  ASSERT_EQ(Configure({{DATA_RATE, 125000}, {LOOPBACK, 1}, {J1962_PINS, 0x030B}}), STATUS_NOERROR);
  pdu.SetComParam("CP_Baudrate", {});
  pdu.SetComParam("CP_Loopback", {});
  ASSERT_EQ(StartPeriodic(100, &id, CAN_PS), STATUS_NOERROR);
  const std::vector<std::string> created = pdu.Calls().Of("PDUCreateComLogicalLink");
  ASSERT_EQ(created.size(), 2U);
  EXPECT_EQ(created[0], created[1]) << "the same resource and pins";
  EXPECT_EQ(pdu.ComParamValue("CP_Baudrate"), 125000U);
  EXPECT_EQ(pdu.ComParamValue("CP_Loopback"), 1U);
}

TEST_F(SecondLinkTest, DeliversIntoTheChannelAndWakesItsReader) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  ASSERT_EQ(StartPeriodic(100, &id), STATUS_NOERROR);
  std::thread sender([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    Deliver({.data = {0, 0, 7, 0xE8, 9}});  // on the link that was made last
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Read(1, 10000), STATUS_NOERROR);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(5000));
  sender.join();
  EXPECT_EQ(received[0].data[4], 9);
}

TEST_F(SecondLinkTest, IoctlsOfTheLinkAreRepeatedOnIt) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  ASSERT_EQ(StartPeriodic(100, &id), STATUS_NOERROR);
  std::uint32_t sent = 0;
  pdu.FinishComPrimitives(false);  // something is pending on both
  ASSERT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 0, &sent), STATUS_NOERROR);
  struct Case {
    const char* name;
    std::function<Status()> ioctl;
    const char* function;
    std::vector<std::size_t> calls;
  };
  for (const Case& c :
       std::vector<Case>{
           {"SET_CONFIG",
            [this] {
    return Configure({{LOOPBACK, 1}});
            },
            "PDUSetComParam",
            {1, 1}},
           {"update",
            [this] {
    return Configure({{LOOPBACK, 0}});
            },
            "PDUStartComPrimitive",
            {1, 1}},
       {"CLEAR_TX_BUFFER", [this] { return Ioctl(CLEAR_TX_BUFFER); }, "PDUIoCtl", {1, 1}},
       {"CLEAR_RX_BUFFER", [this] { return Ioctl(CLEAR_RX_BUFFER); }, "PDUIoCtl", {1, 1}},
       {"CLEAR_MSG_FILTERS", [this] { return Ioctl(CLEAR_MSG_FILTERS); }, "PDUIoCtl", {1, 0}},
       {"CLEAR_PERIODIC_MSGS",
        [this] { return Ioctl(CLEAR_PERIODIC_MSGS); },
        "PDUCancelComPrimitive",
        {0, 1}},
  }) {
    pdu.Calls().Clear();
    EXPECT_EQ(c.ioctl(), STATUS_NOERROR) << c.name;
    EXPECT_EQ(CallsByLink(c.function), c.calls) << c.name;
  }
}

TEST_F(SecondLinkTest, ThatCannotBeMadeLeavesNothing) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  const auto destroyed = [this] { return pdu.Calls().Count("PDUDestroyComLogicalLink"); };
  pdu.PDUConnect.Next({PDU_ERR_INVALID_HANDLE});
  EXPECT_EQ(StartPeriodic(100, &id), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(destroyed(), 1U);
  // Reception, communication and update, then the update of what is taken over.
  pdu.PDUStartComPrimitive.Next(
      {PDU_STATUS_NOERROR, PDU_STATUS_NOERROR, PDU_STATUS_NOERROR, PDU_ERR_CLL_NOT_STARTED});
  EXPECT_EQ(StartPeriodic(100, &id), ERR_INVALID_CHANNEL_ID);
  EXPECT_EQ(destroyed(), 2U);
  EXPECT_EQ(channel->PassThruStopPeriodicMsg(1), ERR_INVALID_MSG_ID);
  EXPECT_EQ(StartPeriodic(100, &id), STATUS_NOERROR) << "and can be tried again";
}

}  // namespace
}  // namespace passbridge
