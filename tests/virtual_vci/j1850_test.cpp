// J1850: requests and responses, arbitration, CRC, in-frame response, break, times of both kinds.

#include "tests/virtual_vci/one_link_test.h"

namespace virtual_vci_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const TestLink::Setup kVpw{
    .busType = "SAE_J1850_VPW", .protocol = "SAE_J2190_on_SAE_J1850_VPW", .pins = {2}};
const TestLink::Setup kPwm{
    .busType = "SAE_J1850_PWM", .protocol = "SAE_J2190_on_SAE_J1850_PWM", .pins = {2, 10}};

const Bytes kVpwRequest{0x68, 0x6A, 0xF1};
const Bytes kPwmRequest{0x61, 0x6A, 0xF1};
constexpr std::size_t kRxStatusByte = 3;
constexpr UNUM8 kBreakBit = 0x04;

Bytes operator+(Bytes one, const Bytes& other) {
  one.insert(one.end(), other.begin(), other.end());
  return one;
}

class J1850Test : public OneLinkTest {
 protected:
  explicit J1850Test(const char* options = "Clock='instant'") : OneLinkTest(options) {}
  std::unique_ptr<TestLink> Open(const TestLink::Setup& setup, UNUM32 bitRate = 0) {
    auto link = std::make_unique<TestLink>(library_, module_, setup);
    EXPECT_EQ(link->Created(), PDU_STATUS_NOERROR);
    if (bitRate != 0) link->Set("CP_Baudrate", bitRate);
    link->Open();
    return link;
  }
  static void Use(TestLink& link, const char* comParam, UNUM32 value) {
    link.Set(comParam, value);
    link.Update();
  }
  static std::vector<Bytes> Ask(TestLink& link, const Bytes& request) {
    link.Send(request);
    return Heard(link);
  }
  /// Whether a message was sent, or given up.
  static bool Sends(TestLink& link, const Bytes& message) {
    const UNUM32 cop = link.Send(message);
    bool failed = false;
    EXPECT_TRUE(link.Await([&](const Event& event) {
      failed = failed || (event.cop == cop && event.type == PDU_IT_ERROR &&
                          event.error.ErrorCodeId == PDU_ERR_EVT_TX_ERROR);
      return event.cop == cop && event.IsStatus(PDU_COPST_FINISHED);
    }));
    return !failed;
  }
  static bool AwaitBreak(TestLink& link) {
    return link
        .Await(
            [](const Event& event) {
      return event.IsResult() && event.Has(kRxStatusByte, kBreakBit) && event.data.empty();
            },
            milliseconds(500))
        .has_value();
  }
  void SendAsStranger(const TestLink::Setup& setup, UNUM32 flags, const Bytes& bytes) {
    EXPECT_EQ(library_.VirtualVciSendBytes(module_, setup.pins[0],
                                           setup.pins.size() > 1 ? setup.pins[1] : 0, flags,
                                           bytes.data(), static_cast<UNUM32>(bytes.size())),
              PDU_STATUS_NOERROR);
  }
  /// How long a frame is on the wire, with the pause behind it.
  static UNUM32 Duration(TestLink& link, const Bytes& message) {
    Use(link, "CP_Loopback", 1);
    link.Send(message);
    const auto echo = link.Await([](const Event& event) { return event.IsResult(); });
    EXPECT_TRUE(echo);
    Use(link, "CP_Loopback", 0);
    return echo ? echo->timestamp - echo->startTimestamp : 0;
  }
};

TEST_F(J1850Test, EcusAnswerAsEmissionRelatedServicesHaveItOnEitherBus) {
  struct Case {
    const TestLink::Setup& setup;
    Bytes request;
    Bytes response;
    const char* calibration;
  };
  for (const Case& c : {Case{kVpw, kVpwRequest, {0x48, 0x6B, 0x10}, "VPW"},
                        Case{kPwm, kPwmRequest, {0x41, 0x6B, 0x10}, "PWM"}}) {
    SCOPED_TRACE(c.calibration);
    const auto link = Open(c.setup);
    EXPECT_THAT(Ask(*link, c.request + Bytes{0x03}),
                ElementsAre(c.response + Bytes{0x43, 0x03, 0x01, 0x04, 0x20, 0, 0}));
    const auto vin = Ask(*link, c.request + Bytes{0x09, 0x02});
    ASSERT_EQ(vin.size(), 5u);
    EXPECT_EQ(vin[4], (c.response + Bytes{0x49, 0x02, 5, '0', '0', '0', '1'}));
    EXPECT_THAT(Ask(*link, c.request + Bytes{0x2F}), IsEmpty()) << "silent if all were asked";
    EXPECT_THAT(Ask(*link, Bytes{0x6C, 0x10, 0xF1, 0x2F}),
                ElementsAre(Bytes{0x6C, 0xF1, 0x10, 0x7F, 0x2F, 0x11}));
    EXPECT_THAT(Ask(*link, c.request), IsEmpty()) << "a message without a service";
  }
}

TEST_F(J1850Test, MessagesHaveTheSizeThatTheirBusCarries) {
  struct Case {
    const TestLink::Setup& setup;
    std::size_t size;
    T_PDU_ERROR result;
  };
  for (const Case& c :
       {Case{kVpw, 1, PDU_STATUS_NOERROR}, Case{kVpw, 4128, PDU_STATUS_NOERROR},
        Case{kVpw, 4129, PDU_ERR_INVALID_PARAMETERS}, Case{kPwm, 2, PDU_ERR_INVALID_PARAMETERS},
        Case{kPwm, 11, PDU_STATUS_NOERROR}, Case{kPwm, 12, PDU_ERR_INVALID_PARAMETERS}}) {
    const auto link = Open(c.setup);
    T_PDU_ERROR result = PDU_STATUS_NOERROR;
    link->Start({.data = Bytes(c.size, 0x10)}, &result);
    EXPECT_EQ(result, c.result) << c.size;
  }
}

TEST_F(J1850Test, FramesWithAWrongCrcAreDropped) {
  const auto link = Open(kVpw);
  Break("vpw", VVCI_FAULT_WRONG_CHECKSUM);
  EXPECT_THAT(Ask(*link, kVpwRequest + Bytes{0x03}), IsEmpty());
  SendAsStranger(kVpw, VVCI_SEND_WRONG_CHECKSUM, {0x08, 0x01, 0x02, 0x03});
  SendAsStranger(kVpw, 0, {0x08, 0x01, 0x02, 0x04});
  EXPECT_THAT(Heard(*link), ElementsAre(Bytes{0x08, 0x01, 0x02, 0x04}));
  Break("vpw", VVCI_FAULT_NONE);
  for (const UNUM32 flags : {VVCI_SEND_WRONG_CHECKSUM, 0u}) {
    SendAsStranger(kVpw, flags, kVpwRequest + Bytes{0x03});
    EXPECT_EQ(Heard(*link).size(), flags == 0 ? 2u : 0u) << "request and answer";
  }
}

TEST_F(J1850Test, TheLowerFrameWinsTheArbitration) {
  const auto one = Open(kVpw);
  const auto other = Open(kVpw);
  // Both wait while a long frame is on the wire, and begin at the same time.
  one->Send(Bytes(2000, 0x08));
  one->Send({0x68, 0x01, 0x02});
  other->Send({0x68, 0x00, 0xFF});
  other->Send({0x08});
  const auto heard = Open(kVpw);
  EXPECT_TRUE(one->AwaitResult());
  const auto second = other->AwaitResult();
  ASSERT_TRUE(second);
  EXPECT_EQ(second->data.size(), 2000u);
  const auto third = other->AwaitResult();
  ASSERT_TRUE(third);
  EXPECT_EQ(third->data, (Bytes{0x68, 0x01, 0x02}));
}

TEST_F(J1850Test, PwmReceiversAcknowledgeInTheFrame) {
  const auto link = Open(kPwm);
  const auto other = Open(kPwm);
  Use(*other, "CP_TesterSourceAddress", 0xF2);
  const Bytes toOther{0xC4, 0xF2, 0xF1, 0x3F};
  const Bytes toFunction{0x61, 0x25, 0xF1, 0x3F};
  struct Case {
    UNUM32 control;
    bool passes;  ///< the filters have the functional address
    bool physical, functional;
  };
  for (const Case& c : {Case{0, true, false, false}, Case{1, true, true, false},
                        Case{2, false, true, false}, Case{2, true, true, true}}) {
    SCOPED_TRACE(c.control);
    Use(*other, "CP_J1850IFRCtrl", c.control);
    other->IoCtl("PDU_IOCTL_CLEAR_MSG_FILTER");
    other->Pass({0, 0xFF}, {0, c.passes ? UNUM8{0x25} : UNUM8{0x26}});
    EXPECT_EQ(Sends(*link, toOther), c.physical);
    EXPECT_EQ(Sends(*link, toFunction), c.functional);
  }
  EXPECT_TRUE(Sends(*link, kPwmRequest + Bytes{0x01, 0x00})) << "an ECU acknowledges";
  Break("pwm", VVCI_FAULT_NO_ANSWER);
  EXPECT_FALSE(Sends(*link, kPwmRequest + Bytes{0x01, 0x00}));
}

TEST_F(J1850Test, ABreakIsHeardOnVpwAndEndsHighSpeed) {
  const auto link = Open(kVpw);
  EXPECT_EQ(Ask(*link, {0x6C, 0x10, 0xF1, 0xA0}),
            (std::vector<Bytes>{{0x6C, 0xF1, 0x10, 0xE0, 0xAA}}));
  const Bytes faults{0x6C, 0x10, 0xF1, 0x03};
  EXPECT_THAT(Ask(*link, {0x6C, 0xFE, 0xF1, 0xA1}), IsEmpty());
  EXPECT_EQ(Ask(*link, faults).size(), 1u) << "it was not told";
  EXPECT_THAT(Ask(*link, {0x6C, 0x10, 0xF1, 0xA1}), IsEmpty());
  EXPECT_THAT(Ask(*link, faults), IsEmpty()) << "it is at another speed";
  Use(*link, "CP_Baudrate", 41600);
  EXPECT_EQ(Ask(*link, faults).size(), 1u);
  SendAsStranger(kVpw, VVCI_SEND_BREAK, {});
  EXPECT_TRUE(AwaitBreak(*link));
  EXPECT_THAT(Ask(*link, faults), IsEmpty());
  Use(*link, "CP_Baudrate", 10400);
  EXPECT_EQ(Ask(*link, faults).size(), 1u);

  const auto other = Open(kVpw);
  EXPECT_EQ(link->IoCtl("PDU_IOCTL_SEND_BREAK"), PDU_STATUS_NOERROR);
  EXPECT_TRUE(AwaitBreak(*other));
  EXPECT_EQ(TestLink(library_, module_, kVpw).IoCtl("PDU_IOCTL_SEND_BREAK"),
            PDU_ERR_CLL_NOT_CONNECTED);
}

TEST_F(J1850Test, PwmHasNoBreak) {
  EXPECT_EQ(Open(kPwm)->IoCtl("PDU_IOCTL_SEND_BREAK"), PDU_ERR_ID_NOT_SUPPORTED);
  EXPECT_EQ(library_.VirtualVciSendBytes(module_, 2, 10, VVCI_SEND_BREAK, nullptr, 0),
            PDU_ERR_INVALID_PARAMETERS);
}

TEST_F(J1850Test, WiresAndTerminationDecideWhoHears) {
  UseScenario(R"({"vcis": [{"serial": 4711, "interfaces": [{"type": "USB"}]}],
      "buses": [{"type": "SAE_J1850_PWM", "pins": [2, 10]}],
      "ecus": [{"name": "positive", "address": "0x20", "wires": "positive", "obd": {}},
               {"name": "ended", "address": "0x30", "needsTermination": true, "obd": {}}]})");
  module_ = Connect();
  const auto link = Open(kPwm);
  const auto answering = [&] {
    std::vector<int> ecus;
    for (const Bytes& answer : Ask(*link, kPwmRequest + Bytes{0x03})) ecus.push_back(answer[2]);
    return ecus;
  };
  EXPECT_THAT(answering(), ElementsAre(0x20));
  Use(*link, "CP_TerminationType", 1);
  EXPECT_THAT(answering(), ElementsAre(0x20, 0x30));
  Use(*link, "CP_NetworkLine", 2);
  EXPECT_THAT(answering(), ElementsAre(0x30));
  Use(*link, "CP_NetworkLine", 1);
  EXPECT_THAT(answering(), ElementsAre(0x20, 0x30));
}

/// Of bytes and their CRC, by the levels that a VPW transmitter makes.
UNUM32 VpwTime(const Bytes& bytes) {
  UNUM32 time = 200 + 300;
  for (const UNUM8 byte : bytes) {
    bool active = false;
    for (UNUM8 mask = 0x80; mask != 0; mask = static_cast<UNUM8>(mask >> 1), active = !active) {
      const bool one = (byte & mask) != 0;
      if (active) {
        time += one ? 64 : 128;
      } else {
        time += one ? 128 : 64;
      }
    }
  }
  return time;
}

TEST_F(J1850Test, FramesTakeTheTimeOfTheirBits) {
  // Messages and their CRC as they are published for this polynomial.
  for (const auto& [message, crc] : {std::pair<Bytes, UNUM8>{{0x00, 0x00, 0x00, 0x00}, 0x59},
                                     {{0xF2, 0x01, 0x83}, 0x37},
                                     {{0x0F, 0xAA, 0x00, 0x55}, 0x79},
                                     {{0x92, 0x6B, 0x55}, 0x8C}}) {
    const UNUM32 time = VpwTime(message + Bytes{crc});
    EXPECT_EQ(Duration(*Open(kVpw), message), time);
    EXPECT_NEAR(Duration(*Open(kVpw, 41600), message), time / 4.0, 1);
  }
  // Start, eight bits a byte, end of data and in-frame response of an ECU, separation.
  const auto bits = [](std::size_t bytes) {
    return static_cast<double>(2 + 8 * (bytes + 1) + 10 + 4);
  };
  EXPECT_NEAR(Duration(*Open(kPwm), kPwmRequest + Bytes{0x04}), bits(4) * 1e6 / 41600, 1);
}

class J1850RealtimeTest : public J1850Test {
 protected:
  J1850RealtimeTest() : J1850Test("Clock='realtime'") {}
};

TEST_F(J1850RealtimeTest, ManyFramesTakeTheTimeOfTheirBits) {
  struct Case {
    const TestLink::Setup& setup;
    UNUM32 bitRate;
    Bytes message;
    double frame;  ///< µs
  };
  const Bytes vpw{0xF2, 0x01, 0x83, 0x37};
  const double pwmBits = 2 + 8 * 6 + 10 + 4;
  for (const Case& c : {Case{kVpw, 10400, {0xF2, 0x01, 0x83}, static_cast<double>(VpwTime(vpw))},
                        Case{kVpw, 41600, {0xF2, 0x01, 0x83}, VpwTime(vpw) / 4.0},
                        Case{kPwm, 41600, {0xC4, 0xF2, 0xF1, 0x04, 0x04}, pwmBits * 1e6 / 41600},
                        Case{kPwm, 83300, {0xC4, 0xF2, 0xF1, 0x04, 0x04}, pwmBits * 1e6 / 83300}}) {
    const auto link = Open(c.setup, c.bitRate);
    const auto other = Open(c.setup, c.bitRate);
    Use(*other, "CP_TesterSourceAddress", 0xF2);
    Use(*other, "CP_J1850IFRCtrl", 1);
    constexpr int kFrames = 100;
    const auto start = std::chrono::steady_clock::now();
    UNUM32 last = 0;
    const UNUM32 first = link->Send(c.message);
    for (int i = 1; i < kFrames; ++i) last = link->Send(c.message);
    const auto begun = link->AwaitStatus(first, PDU_COPST_EXECUTING);
    const auto ended = link->AwaitStatus(last, PDU_COPST_FINISHED);
    ASSERT_TRUE(begun && ended);
    EXPECT_NEAR((ended->timestamp - begun->timestamp) / (kFrames * c.frame), 1.0, 0.05);
    const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
    // A machine that is busy makes it longer, never shorter.
    EXPECT_GT(took.count(), kFrames * c.frame * 0.95) << c.bitRate;
  }
}

}  // namespace
}  // namespace virtual_vci_test
