// Single-wire CAN: high voltage and nodes that sleep, changes of speed, terminations.

#include "tests/virtual_vci/one_link_test.h"

namespace virtual_vci_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const TestLink::Setup kRaw{.busType = "SAE_J2411_SWCAN", .protocol = "ISO_11898_RAW", .pins = {1}};
const TestLink::Setup kIso{
    .busType = "SAE_J2411_SWCAN", .protocol = "SAE_J2190_on_ISO_15765_2", .pins = {1}};

constexpr UNUM32 kHighRate = 83333;
constexpr UNUM8 kHighVoltageBit = 0x01;  // of flag byte 1
constexpr UNUM8 kSpeedChangeBit = 0x04;
const Bytes kExtendedAddress{0, 0, 0, 0x80};

class SingleWireTest : public OneLinkTest {
 protected:
  void SetUp() override {
    OneLinkTest::SetUp();
    Use(kRaw);
    EXPECT_EQ(link_->Get("CP_Baudrate"), 33333u);
  }
  std::vector<Bytes> Ask(const Bytes& request) {
    link_->Send(request);
    return Heard();
  }
  /// As an application wakes ECUs: repeated, with ComParams of its own.
  void WakeUp() {
    link_->Set("CP_SwCan_HighVoltage", 1);
    link_->Set("CP_RepeatReqCountApp", 60);
    const UNUM32 cop = link_->Start({.data = Message(0x100, {}), .temporary = true});
    EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));
  }
  void ChangeAfter(Bytes message, UNUM32 rate, UNUM32 resistor, UNUM32 pause) {
    PDU_PARAM_BYTEFIELD_DATA field{12, static_cast<UNUM32>(message.size()), message.data()};
    PDU_PARAM_ITEM item{PDU_IT_PARAM, Id(PDU_OBJT_COMPARAM, "CP_ChangeSpeedMessage"),
                        PDU_PT_BYTEFIELD, PDU_PC_COM, &field};
    EXPECT_EQ(library_.PDUSetComParam(module_, link_->Handle(), &item), PDU_STATUS_NOERROR);
    link_->Set("CP_ChangeSpeedCtrl", 1);
    link_->Set("CP_ChangeSpeedRate", rate);
    link_->Set("CP_ChangeSpeedResCtrl", resistor);
    link_->Set("CP_ChangeSpeedTxDelay", pause);
    link_->Update();
  }
  /// Whether sending it changes the speed.
  bool Changes(const Bytes& message, const Bytes& flags = {0, 0, 0, 0}) {
    link_->Drain();
    const UNUM32 cop = link_->Start({.data = message, .flags = flags});
    bool changed = false;
    EXPECT_TRUE(link_->Await([&](const Event& event) {
      changed = changed || (event.Has(1, kSpeedChangeBit) && event.data.empty());
      return event.cop == cop && event.IsStatus(PDU_COPST_FINISHED);
    }));
    return changed;
  }
};

TEST_F(SingleWireTest, HighVoltageWakesAnEcuForAWhile) {
  const Bytes request = Message(0x242, {0x02, 0x3E, 0x00});
  EXPECT_THAT(Ask(request), IsEmpty());
  WakeUp();
  EXPECT_EQ(Ask(request).size(), 1u);
  EXPECT_EQ(link_->Get("CP_SwCan_HighVoltage"), 0u) << "for one ComPrimitive";
  ASSERT_EQ(library_.VirtualVciAdvance(module_, 2900000), PDU_STATUS_NOERROR);
  EXPECT_EQ(Ask(request).size(), 1u);
  ASSERT_EQ(library_.VirtualVciAdvance(module_, 3100000), PDU_STATUS_NOERROR);
  EXPECT_THAT(Ask(request), IsEmpty());
  EXPECT_EQ(Ask(Message(0x241, {0x02, 0x3E, 0x00})).size(), 1u) << "this one never sleeps";
}

TEST_F(SingleWireTest, WhatWakesIsSentAgainForThoseWhoMissedIt) {
  link_->Set("CP_SwCan_HighVoltage", 1);
  link_->Set("CP_RepeatReqCountApp", 60);
  link_->Set("CP_Loopback", 1);
  const Bytes request = Message(0x242, {0x02, 0x3E, 0x00});
  link_->Start({.data = request, .temporary = true});
  std::vector<Bytes> results;
  while (const auto event = link_->Next(milliseconds(50))) {
    if (event->IsResult()) results.push_back(event->data);
  }
  EXPECT_THAT(results, ElementsAre(request, Message(0x642, {0x02, 0x7E, 0x00})));

  TestLink other(library_, module_, kRaw);
  other.Open();
  SetNumber("CP_RepeatReqCountApp", 3);
  link_->Send(Message(0x123, {}));
  EXPECT_EQ(Heard(other).size(), 1u) << "only high voltage repeats what was sent";
}

TEST_F(SingleWireTest, WhoSleepsAcknowledgesNothing) {
  link_.reset();
  UseScenario(R"({"vcis": [{"serial": 4711, "interfaces": [{"type": "USB"}]}],
      "buses": [{"type": "SAE_J2411_SWCAN", "pins": [1]}],
      "ecus": [{"request": "0x242", "response": "0x642", "awakeTime": 1000, "uds": {}}]})");
  module_ = Connect();
  Use(kRaw);
  const auto sends = [&] {
    const UNUM32 cop = link_->Send(Message(0x123, {}));
    bool failed = false;
    EXPECT_TRUE(link_->Await([&](const Event& event) {
      failed = failed || (event.cop == cop && event.type == PDU_IT_ERROR);
      return event.cop == cop && event.IsStatus(PDU_COPST_FINISHED);
    }));
    return !failed;
  };
  EXPECT_FALSE(sends());
  WakeUp();
  EXPECT_TRUE(sends());
}

TEST_F(SingleWireTest, HighVoltageIsToldByTheReceiver) {
  const auto told = [&](TestLink& link) {
    const auto result = link.AwaitResult();
    return result && result->Has(1, kHighVoltageBit);
  };
  TestLink other(library_, module_, kRaw);
  other.Open();
  WakeUp();
  EXPECT_TRUE(told(other));
  Heard(other);
  link_->Send(Message(0x123, {1}));
  EXPECT_FALSE(told(other));
  for (const UNUM32 flags : {0x400u, 0x0u}) {
    const Bytes bytes = Message(0x641, {0x01, 0x7E});
    EXPECT_EQ(library_.VirtualVciSendBytes(module_, 1, 0, flags, bytes.data(),
                                           static_cast<UNUM32>(bytes.size())),
              PDU_STATUS_NOERROR);
    EXPECT_EQ(told(other), flags != 0);
    EXPECT_EQ(told(*link_), flags != 0);
  }
}

TEST_F(SingleWireTest, LinkAndEcusChangeTheirSpeedAfterTheMessage) {
  const Bytes request = Message(0x241, {0x02, 0x3E, 0x00});
  const Bytes enable = Message(0x101, {0xFE, 0x02, 0xA5, 0x03});
  EXPECT_THAT(Ask(Message(0x241, {0x01, 0x20})),
              ElementsAre(Message(0x641, {0x03, 0x7F, 0x20, 0x11})))
      << "there is no high speed to return from";
  EXPECT_EQ(Ask(Message(0x101, {0xFE, 0x02, 0xA5, 0x02})).size(), 1u);
  ChangeAfter(enable, kHighRate, 1, 50000);
  EXPECT_FALSE(Changes(Message(0x101, {0xFE, 0x02, 0xA5, 0x03, 0x00})));
  EXPECT_EQ(link_->Get("CP_Baudrate"), 33333u);
  link_->Set("CP_Baudrate", kHighRate);
  link_->Set("CP_TerminationType", 4);
  link_->Update();
  EXPECT_EQ(Ask(request).size(), 1u) << "the ECU was told, padding or not";
  EXPECT_TRUE(Ask(Message(0x101, {0xFE, 0x01, 0x20})).empty());
  link_->Set("CP_Baudrate", 33333);
  link_->Set("CP_TerminationType", 0);
  link_->Update();

  EXPECT_TRUE(Changes(enable));
  EXPECT_EQ(link_->Get("CP_Baudrate"), kHighRate);
  EXPECT_EQ(link_->Get("CP_TerminationType"), 4u);
  EXPECT_EQ(Ask(request).size(), 1u);
  const Bytes end = Message(0x101, {0xFE, 0x01, 0x20});
  ChangeAfter(end, 33333, 2, 1000);
  EXPECT_TRUE(Changes(end));
  EXPECT_EQ(link_->Get("CP_Baudrate"), 33333u);
  EXPECT_EQ(link_->Get("CP_TerminationType"), 0u);
  EXPECT_EQ(Ask(request).size(), 1u);

  link_->Set("CP_ChangeSpeedCtrl", 0);
  link_->Update();
  EXPECT_FALSE(Changes(end)) << "switched off";
}

TEST_F(SingleWireTest, AnEcuMayNeedATerminationAtHighSpeed) {
  link_.reset();
  UseScenario(R"({"vcis": [{"serial": 4711, "interfaces": [{"type": "USB"}]}],
      "buses": [{"type": "SAE_J2411_SWCAN", "pins": [1]}],
      "ecus": [{"request": "0x241", "response": "0x641", "highBitRate": 83333, "uds": {},
                "needsTermination": true}]})");
  module_ = Connect();
  Use(kRaw);
  const Bytes request = Message(0x241, {0x02, 0x3E, 0x00});
  EXPECT_EQ(Ask(request).size(), 1u);
  const Bytes enable = Message(0x241, {0x02, 0xA5, 0x03});
  ChangeAfter(enable, kHighRate, 0, 0);
  EXPECT_TRUE(Changes(enable));
  EXPECT_EQ(link_->Get("CP_TerminationType"), 0u);
  EXPECT_THAT(Ask(request), IsEmpty());
  link_->Set("CP_TerminationType", 4);
  link_->Update();
  EXPECT_EQ(Ask(request).size(), 1u);
}

TEST_F(SingleWireTest, TransmissionRestsAfterAChangeOfSpeed) {
  const Bytes enable = Message(0x101, {0xFE, 0x02, 0xA5, 0x03});
  TestLink other(library_, module_, kRaw);
  other.Set("CP_Baudrate", kHighRate);
  other.Open();
  for (const UNUM32 pause : {30000u, 0u}) {
    ChangeAfter(enable, kHighRate, 0, pause);
    const UNUM32 first = link_->Send(enable);
    const UNUM32 second = link_->Send(Message(0x123, {}));
    const auto changed = link_->AwaitStatus(first, PDU_COPST_FINISHED);
    const auto sent = link_->AwaitStatus(second, PDU_COPST_FINISHED);
    ASSERT_TRUE(changed && sent);
    EXPECT_NEAR(sent->timestamp - changed->timestamp, pause + 47 * 1e6 / kHighRate, 2000);
    EXPECT_THAT(Ask(Message(0x101, {0xFE, 0x01, 0x20})), IsEmpty()) << "the ECUs, too";
    link_->Set("CP_Baudrate", 33333);
    link_->Update();
  }
}

TEST_F(SingleWireTest, Iso15765ChangesItsSpeedAfterTheSegmentedMessage) {
  Use(kIso);
  ASSERT_EQ(link_->SetTable({{.uniqueRespId = 1, .request = 0x241, .response = 0x641}}),
            PDU_STATUS_NOERROR);
  const Bytes enable = Message(0x101, {0xFE, 0xA5, 0x03});
  ChangeAfter(enable, kHighRate, 1, 50);
  EXPECT_TRUE(Changes(enable, kExtendedAddress));
  EXPECT_THAT(Ask(Message(0x241, {0x22, 0xF1, 0x90})), ElementsAre(testing::SizeIs(4 + 3 + 17)));
}

}  // namespace
}  // namespace virtual_vci_test
