// How the speed of single-wire CAN changes with messages, sent or received, and high voltage.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "single_wire_fixture.h"
#include "support/trace_observer.h"

namespace passbridge {
namespace {

using test::kHighRate;
using test::kNormalRate;
using test::Observe;
using test::ParamSpec;
using Names = std::vector<std::string>;
using test::CanMessage;
using Bytes = std::vector<std::uint8_t>;

Bytes MessageOf(const PassThruMsg& message) {
  return {message.data.begin(), message.data.begin() + message.dataSize};
}

std::string Hex(const Bytes& bytes) { return test::RenderBytes(bytes.data(), bytes.size()); }

using ChannelSpeedChangeTest = test::SingleWireFixture;
INSTANTIATE_TEST_SUITE_P(OnBothClasses, ChannelSpeedChangeTest,
                         testing::Values(SW_CAN_PS, SW_ISO15765_PS));

TEST_P(ChannelSpeedChangeTest, RequestsChangeTheSpeed) {
  constexpr UNUM32 kUntouched = 0xFFFF;
  struct Case {
    const char* what;
    Bytes address;
    Bytes request;
    std::uint32_t txFlags;
    Bytes announced;  // request bytes of the speed-change message; none if empty
    UNUM32 rate;      // CP_ChangeSpeedRate
    bool refuses;     // whether the speed counts as being changed, afterwards
    bool fromChange;  // and before
  };
  const Bytes physical{0, 0, 7, 0xE0};
  const Bytes allNodes{0, 0, 1, 1, 0xFE};
  const std::vector<Case> cases{
      {"high speed", allNodes, {0xA5, 0x02}, 0, {0xA5, 0x03}, kUntouched, true, false},
      {"flagged address",
       {0, 0, 2, 0x41, 0x33},
       {0xA5, 0x02},
       ISO15765_ADDR_TYPE,
       {0xA5, 0x03},
       kUntouched,
       true,
       false},
      {"flagged, to all nodes",
       allNodes,
       {0xA5, 0x02},
       ISO15765_ADDR_TYPE,
       {0xA5, 0x03},
       kUntouched,
       true,
       false},
      {"without an address", physical, {0xA5, 0x02}, 0, {0xA5, 0x03}, kUntouched, true, false},
      {"not at the place", physical, {0x00, 0xA5, 0x02}, 0, {}, kUntouched, false, true},
      {"return to normal", allNodes, {0x20}, 0, {0x20}, kNormalRate, true, false},
      {"return to normal, more behind it",
       physical,
       {0x20, 0x77},
       0,
       {0x20, 0x77},
       kNormalRate,
       true,
       false},
      {"tester present", allNodes, {0x3E}, 0, {}, kUntouched, true, true},
      {"tester present at normal speed", allNodes, {0x3E, 0x80}, 0, {}, kUntouched, false, false},
      {"the change itself", allNodes, {0xA5, 0x03}, 0, {}, kUntouched, true, true},
      {"programming at normal speed", allNodes, {0xA5, 0x01}, 0, {}, kUntouched, false, true},
      {"unknown level", allNodes, {0xA5, 0x04}, 0, {}, kUntouched, false, true},
      {"no level", allNodes, {0xA5}, 0, {}, kUntouched, false, true},
      {"another service", physical, {0x10, 0x02}, 0, {}, kUntouched, false, true},
      {"no request", physical, {}, 0, {}, kUntouched, false, true}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ConnectOnWire({{SW_CAN_SPEEDCHANGE_ENABLE, 1}});
    if (c.fromChange) {
      ASSERT_EQ(Ioctl(SW_CAN_NS), STATUS_NOERROR);
    }
    SetWatched("CP_ChangeSpeedMessage", ParamSpec::ByteField({0xEE}, 12));
    SetWatched("CP_ChangeSpeedRate", ParamSpec::Number(kUntouched));
    SetWatched("CP_ChangeSpeedCtrl", ParamSpec::Number(0));
    pdu.Calls().Clear();
    const std::size_t copsBefore = pdu.StartedCops().size();
    std::uint32_t sent = 0;
    // What lies behind the message is none of it.
    PassThruMsg message = RequestTo(c.address, c.request, c.txFlags);
    message.data[message.dataSize] = 0x02;
    ASSERT_EQ(Write({message}, 0, &sent), STATUS_NOERROR);

    const bool announces = !c.announced.empty();
    EXPECT_EQ(Message(), announces ? Hex(MessageOf(RequestTo(c.address, c.announced, 0))) : "EE");
    EXPECT_EQ(Value("CP_ChangeSpeedRate"), c.rate);
    EXPECT_EQ(Value("CP_ChangeSpeedCtrl"), announces ? 1U : 0U);
    const std::vector<test::StartedCop> cops = pdu.StartedCops();
    ASSERT_EQ(cops.size() - copsBefore, announces ? 2U : 1U);
    EXPECT_EQ(cops.back().data, MessageOf(message)) << "sent as it was";
    if (announces) {
      EXPECT_EQ(cops[copsBefore].type, PDU_COPT_UPDATEPARAM) << "before the message";
    }
    EXPECT_EQ(Configure({{DATA_RATE, kNormalRate}}), c.refuses ? ERR_FAILED : STATUS_NOERROR);
  }
}

TEST_P(ChannelSpeedChangeTest, LeavesTheSpeedAloneUnlessTheApplicationEnablesItsChange) {
  for (const std::uint32_t enable : {0U, 2U}) {
    ConnectOnWire({{SW_CAN_SPEEDCHANGE_ENABLE, 1}});
    SetWatched("CP_ChangeSpeedCtrl", ParamSpec::Number(1));
    ASSERT_EQ(Configure({{SW_CAN_SPEEDCHANGE_ENABLE, enable}}), STATUS_NOERROR);
    EXPECT_EQ(Value("CP_ChangeSpeedCtrl"), 0U);
    std::uint32_t sent = 0;
    ASSERT_EQ(Write({RequestTo({0, 0, 1, 1, 0xFE}, {0xA5, 0x02}, 0)}, 0, &sent), STATUS_NOERROR);
    EXPECT_EQ(Value("CP_ChangeSpeedCtrl"), 0U);
    EXPECT_EQ(Configure({{DATA_RATE, kNormalRate}}), STATUS_NOERROR);
  }
}

TEST_P(ChannelSpeedChangeTest, ARequestWaitsUntilTheInterfaceKnowsWhatItMeans) {
  ConnectOnWire({{SW_CAN_SPEEDCHANGE_ENABLE, 1}});
  EndComPrimitivesLate();
  pdu.Calls().Clear();
  std::uint32_t sent = 0;
  ASSERT_EQ(Write({RequestTo({0, 0, 1, 1, 0xFE}, {0xA5, 0x02}, 0)}, 0, &sent), STATUS_NOERROR);
  EXPECT_EQ(Written(), (Names{"CP_ChangeSpeedCtrl 1", "CoP", "update ended", "CoP"}));

  pdu.PDUSetComParam.Does([](auto...) { return PDU_ERR_FCT_FAILED; });
  test::ExpectReported(Observe([&] {
                         return Write({RequestTo({0, 0, 7, 0xE0}, {0x20}, 0)}, 0, &sent);
                       }),
                       ERR_FAILED, Located("070002 Error setting CP_CHANGE_SPEED_RATE."));
  EXPECT_EQ(sent, 0U);
}

TEST_P(ChannelSpeedChangeTest, HighVoltageIsForTheMessageThatAsksForIt) {
  ConnectOnWire();
  std::vector<std::pair<UNUM32, UNUM32>> atStart;  // high voltage, repetitions
  pdu.PDUStartComPrimitive.Does([&](auto... args) {
    atStart.emplace_back(Value("CP_SwCan_HighVoltage"), Value("CP_RepeatReqCountApp"));
    // The library sets its values back with the start.
    pdu.SetComParam("CP_SwCan_HighVoltage", {});
    pdu.SetComParam("CP_RepeatReqCountApp", {});
    return pdu.PDUStartComPrimitive.BuiltIn(args...);
  });
  std::uint32_t sent = 0;
  const Bytes wakeUp{0, 0, 1, 0};
  ASSERT_EQ(Write({CanMessage(wakeUp, GetParam(), SW_CAN_HV_TX | CAN_29BIT_ID),
                   CanMessage(wakeUp, GetParam())},
                  0, &sent),
            STATUS_NOERROR);
  const std::vector<std::pair<UNUM32, UNUM32>> expected{{1, 60}, {0, 0}};
  EXPECT_EQ(atStart, expected);
  const std::vector<test::StartedCop> cops = pdu.StartedCops();
  const test::StartedCop& woke = cops[cops.size() - 2];
  EXPECT_EQ(woke.control.TempParamUpdate, 1U);
  EXPECT_EQ(woke.txFlags, (Bytes{0x20, 0, 1, 0}));
  EXPECT_EQ(cops.back().control.TempParamUpdate, 0U);
  EXPECT_EQ(cops.back().txFlags, (Bytes{0x20, 0, 0, 0}));

  pdu.PDUGetComParam.Does([&](auto mod, auto cll, auto id, auto** item) -> T_PDU_ERROR {
    if (id == pdu.IdOf(PDU_OBJT_COMPARAM, "CP_SwCan_HighVoltage")) return PDU_ERR_ID_NOT_SUPPORTED;
    return pdu.PDUGetComParam.BuiltIn(mod, cll, id, item);
  });
  test::ExpectReported(
      Observe([&] { return Write({CanMessage(wakeUp, GetParam(), SW_CAN_HV_TX)}, 0, &sent); }),
      ERR_NULL_PARAMETER, "021E0001 Error setting CP_SW_CAN_HIGH_VOLTAGE.");
  EXPECT_EQ(sent, 0U);
}

TEST_P(ChannelSpeedChangeTest, FollowsTheInterfaceAndTellsNobody) {
  struct Case {
    const char* what;
    std::uint32_t enable;
    Bytes request;         // sent before; none if empty
    std::uint32_t ioctl;   // performed before; 0 for none
    std::uint32_t before;  // DATA_RATE
    std::uint32_t after;
    UNUM32 nextRate;  // CP_ChangeSpeedRate afterwards; 0 untouched
  };
  for (const Case& c :
       {Case{"told nothing", 0, {}, 0, kNormalRate, kHighRate, 0},
        Case{"told nothing, prepared", 1, {}, 0, kNormalRate, kHighRate, kNormalRate},
        Case{"entered", 1, {0xA5, 0x02}, 0, kNormalRate, kHighRate, kNormalRate},
        Case{"the ioctl itself", 0, {}, SW_CAN_HS, kHighRate, kHighRate, 0},
        Case{"returned", 1, {0x20}, SW_CAN_HS, kHighRate, kNormalRate, kHighRate},
        Case{"by ioctl", 0, {}, SW_CAN_NS, kNormalRate, kNormalRate, 0},
        Case{"back, and told nothing since",
             0,
             {0x10, 0x03},
             SW_CAN_HS,
             kHighRate,
             kNormalRate,
             0}}) {
    SCOPED_TRACE(c.what);
    // A request is examined only while the change is enabled.
    ConnectOnWire({{SW_CAN_SPEEDCHANGE_ENABLE, 1}});
    std::uint32_t sent = 0;
    if (c.ioctl != 0) {
      ASSERT_EQ(Ioctl(c.ioctl), STATUS_NOERROR);
    }
    if (!c.request.empty()) {
      ASSERT_EQ(Write({RequestTo({0, 0, 1, 1, 0xFE}, c.request, 0)}, 0, &sent), STATUS_NOERROR);
    }
    if (c.enable == 0) {
      ASSERT_EQ(Configure({{SW_CAN_SPEEDCHANGE_ENABLE, 0}}), STATUS_NOERROR);
    }
    EXPECT_EQ(ConfigValue(DATA_RATE), c.before);
    SetWatched("CP_ChangeSpeedRate", ParamSpec::Number(0));
    SetWatched("CP_ChangeSpeedCtrl", ParamSpec::Number(1));
    // Not fetched since: what the library has now is for the channel to find.
    pdu.SetComParam("CP_Baudrate", ParamSpec::Number(c.after));
    pdu.Calls().Clear();
    DeliverAndLetTheThreadTakeIt({.rxFlags = {0, 0x04, 0, 0}});

    EXPECT_EQ(pdu.Calls().Count("PDUStartComPrimitive"), c.enable == 1 ? 1U : 0U);
    EXPECT_EQ(ConfigValue(DATA_RATE), c.after);
    EXPECT_EQ(Value("CP_Baudrate"), c.after);
    for (const std::string& written : Written()) {
      EXPECT_FALSE(written.starts_with("CP_Baudrate")) << "the library has it";
    }
    EXPECT_EQ(Value("CP_ChangeSpeedCtrl"), 0U);
    EXPECT_EQ(Value("CP_ChangeSpeedRate"), c.nextRate);
    EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY) << "it had no data";
    EXPECT_EQ(Configure({{LOOPBACK, 1}}), STATUS_NOERROR);
    EXPECT_EQ(Value("CP_Baudrate"), c.after) << "nor does a download give the link another speed";
    EXPECT_EQ(Configure({{DATA_RATE, kNormalRate}}), STATUS_NOERROR) << "the change is over";
  }
}

TEST_P(ChannelSpeedChangeTest, WhatItFollowsToIsWhatAnUpdatePutsInForce) {
  // A library that changes its speed, but not its ComParam: an update would undo the change.
  ConnectOnWire({{SW_CAN_SPEEDCHANGE_ENABLE, 1}});
  DeliverAndLetTheThreadTakeIt({.rxFlags = {0, 0x04, 0, 0}});
  EXPECT_EQ(Value("CP_Baudrate"), kHighRate);
  EXPECT_EQ(pdu.StartedCops().back().type, PDU_COPT_UPDATEPARAM);
}

TEST_P(ChannelSpeedChangeTest, DoesNotKeepTheEventThreadWaiting) {
  ConnectOnWire({{SW_CAN_SPEEDCHANGE_ENABLE, 1}});
  pdu.FinishComPrimitives(false);
  Deliver({.rxFlags = {0, 0x04, 0, 0}});
  Deliver({.data = {0, 0, 2, 0x41, 0x55, 0xAA}});
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(Read(1, test::kLongTimeout), STATUS_NOERROR);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
}

TEST_P(ChannelSpeedChangeTest, DeliversTheDataThatCameWithAChange) {
  ConnectOnWire();
  DeliverAndLetTheThreadTakeIt({.data = {0, 0, 2, 0x41, 0x55, 0xAA}, .rxFlags = {0, 0x05, 0, 0}});
  ASSERT_EQ(Read(2, 0), STATUS_NOERROR);
  ASSERT_EQ(numRead, 2U);
  EXPECT_EQ(received[0].dataSize, 6U);
  EXPECT_EQ(received[0].rxStatus, 0U);
  EXPECT_EQ(received[1].rxStatus, SW_CAN_HV_RX) << "and the other indication";
  EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY);
  EXPECT_EQ(ConfigValue(DATA_RATE), kHighRate);
  test::ExpectFirstCause(Observe([&] {
                           CJ2534PassThruMsg* const none = nullptr;
                           return channel->PerformProtocolAdjustments(none);
                         }),
                         ERR_NULL_PARAMETER, Located("080001 NULL CJ2534PassThruMsg pointer."));
}

}  // namespace
}  // namespace passbridge
