// K line: initialisations and their failures, times on the wire, framing of messages.

#include "tests/virtual_vci/one_link_test.h"

namespace virtual_vci_test {
namespace {

using testing::ElementsAre;

const TestLink::Setup kKeyword{
    .busType = "ISO_14230_1_UART", .protocol = "SAE_J2190_on_ISO_14230_2", .pins = {7, 15}};
const TestLink::Setup kIso9141{
    .busType = "ISO_9141_2_UART", .protocol = "SAE_J2190_on_ISO_9141", .pins = {7, 15}};
const TestLink::Setup kUbp{.busType = "UBP_UART", .protocol = "UBP_on_UBP_UART", .pins = {3}};

constexpr UNUM32 kFiveBaud = 1;
constexpr UNUM32 kFast = 2;
constexpr double kByteTime = 10e6 / 10400;  // µs

const Bytes kStartRequest{0xC1, 0x33, 0xF1, 0x81, 0x66};

Bytes WithChecksum(Bytes bytes) {
  UNUM8 sum = 0;
  for (const UNUM8 byte : bytes) sum = static_cast<UNUM8>(sum + byte);
  bytes.push_back(sum);
  return bytes;
}

/// What came of a start of communication.
struct Started {
  Bytes answer;
  UNUM32 failure = 0;  ///< extra information of the error item; 0 for none
  UNUM32 duration = 0;
};

class KLineTest : public OneLinkTest {
 protected:
  explicit KLineTest(const char* options = "Clock='instant'") : OneLinkTest(options) {}
  void SetUp() override {
    OneLinkTest::SetUp();
    Use(kKeyword);
  }
  Started Begin(UNUM32 settings, UNUM32 address, const Bytes& request = {}) {
    link_->Set("CP_InitializationSettings", settings);
    link_->Set("CP_5BaudAddressPhys", address);
    link_->Update();
    const UNUM32 cop = link_->Start({.type = PDU_COPT_STARTCOMM,
                                     .data = request,
                                     .sendCycles = request.empty() ? 0 : 1,
                                     .receiveCycles = 1});
    Started started;
    const auto begin = link_->AwaitStatus(cop, PDU_COPST_EXECUTING);
    const auto end = link_->Await([&](const Event& event) {
      if (event.cop == cop && event.IsResult()) started.answer = event.data;
      if (event.cop == cop && event.type == PDU_IT_ERROR) {
        EXPECT_EQ(event.error.ErrorCodeId, PDU_ERR_EVT_INIT_ERROR);
        started.failure = event.error.ExtraErrorInfoId;
      }
      return event.cop == cop && event.IsStatus(PDU_COPST_FINISHED);
    });
    EXPECT_TRUE(begin && end);
    if (begin && end) started.duration = end->timestamp - begin->timestamp;
    return started;
  }
  std::vector<Bytes> Ask(const Bytes& request) {
    link_->Send(WithChecksum(request));
    return Heard();
  }
};

class KLineRealtimeTest : public KLineTest {
 protected:
  KLineRealtimeTest() : KLineTest("Clock='realtime'") {}
};

TEST_F(KLineTest, EcusOfBothKindsAreOnOneLineForOneLink) {
  for (const TestLink::Setup& setup : {kKeyword, kIso9141}) {
    Use(setup);
    const Started first = Begin(kFiveBaud, 0x10);
    const Started second = Begin(kFiveBaud, 0x33);
    EXPECT_EQ(first.answer, (Bytes{0xE9, 0x8F}));
    EXPECT_EQ(second.answer, (Bytes{0x08, 0x08}));
    if (setup.busType == kKeyword.busType) {
      EXPECT_GT(second.duration, first.duration + 100000) << "the line is to be idle";
    }
    EXPECT_EQ(Begin(kFiveBaud, 0x44).failure, 1u) << "nobody is there";
    EXPECT_EQ(TestLink(library_, module_, kKeyword).Created(), PDU_ERR_RESOURCE_BUSY);
    EXPECT_EQ(TestLink(library_, module_,
                       {.busType = kIso9141.busType, .protocol = kIso9141.protocol, .pins = {7}})
                  .Created(),
              PDU_ERR_RESOURCE_BUSY);
  }
}

TEST_F(KLineTest, FastInitialisationIsAnsweredByItsResponse) {
  const Bytes response{0x83, 0xF1, 0x10, 0xC1, 0xE9, 0x8F, 0xBD};
  EXPECT_EQ(Begin(kFast, 0, kStartRequest).answer, response);
  EXPECT_EQ(Begin(kFast, 0, WithChecksum({0x81, 0x10, 0xF1, 0x81})).answer, response);
  EXPECT_EQ(Begin(kFast, 0, WithChecksum({0x81, 0x44, 0xF1, 0x81})).failure, 7u);
  link_->Set("CP_TInil", 20000);
  EXPECT_EQ(Begin(kFast, 0, kStartRequest).failure, 7u) << "that is no wake-up";
  Use(kUbp);
  EXPECT_EQ(Begin(kFast, 0, kStartRequest).answer, response);
}

TEST_F(KLineTest, FailedInitialisationsSayWhatWasMissing) {
  struct Case {
    const char* what;
    UNUM32 fault;
    const char* comParam;
    UNUM32 value;
    UNUM32 failure;
  };
  for (const Case& c : {Case{"no answer", VVCI_FAULT_NO_ANSWER, nullptr, 0, 1},
                        Case{"bits of another format", VVCI_FAULT_NONE, "CP_UartConfig", 8, 1},
                        Case{"other bit rate", VVCI_FAULT_NONE, "CP_Baudrate", 9600, 1},
                        Case{"late key bytes", VVCI_FAULT_LATE_BYTES, nullptr, 0, 3},
                        Case{"wrong key byte", VVCI_FAULT_WRONG_KEY_BYTE, nullptr, 0, 4},
                        Case{"inverted key byte left out", VVCI_FAULT_NONE, "CP_5BaudMode", 2, 5},
                        Case{"impatient", VVCI_FAULT_NONE, "CP_W1Max", 50000, 1}}) {
    Use(kIso9141);
    Break("iso9141", c.fault);
    if (c.comParam != nullptr) link_->Set(c.comParam, c.value);
    const Started started = Begin(kFiveBaud, 0x33);
    EXPECT_EQ(started.failure, c.failure) << c.what;
    EXPECT_TRUE(started.answer.empty());
  }
  Break("iso9141", VVCI_FAULT_NONE);
  Use(kIso9141);
  EXPECT_EQ(Begin(kFiveBaud, 0x33).answer, (Bytes{0x08, 0x08})) << "afterwards all is well";
  EXPECT_EQ(library_.VirtualVciSetEcuFault(module_, "nobody", 0), PDU_ERR_INVALID_PARAMETERS);
}

TEST_F(KLineTest, InitialisationInterruptsTheEcu) {
  Begin(kFast, 0, kStartRequest);
  Break("keyword", VVCI_FAULT_LATE_BYTES);
  link_->Set("CP_TIdle", 1000);
  for (const bool fast : {true, false}) {
    link_->Send(WithChecksum({0x83, 0x10, 0xF1, 0x22, 0xF1, 0x90}));
    EXPECT_TRUE(link_->AwaitResult()) << "it has begun to answer";
    Begin(fast ? kFast : kFiveBaud, 0x10, fast ? kStartRequest : Bytes{});
  }
  Break("keyword", VVCI_FAULT_NONE);
  Begin(kFast, 0, kStartRequest);
  EXPECT_EQ(Ask({0xC2, 0x33, 0xF1, 0x01, 0x0D}).size(), 1u);
}

TEST_F(KLineTest, EcuOnTheLLineNeedsIt) {
  link_.reset();
  UseScenario(R"({"vcis":[{"serial":4711,"interfaces":[{"type":"USB"}]}],)"
              R"("buses":[{"type":"ISO_9141_2_UART","pins":[7,15]}],)"
              R"("ecus":[{"address":17,"fiveBaud":["0x33"],"initOnL":true,"header":"ISO 9141"}]})");
  module_ = Connect();
  Use(kIso9141);
  link_->Set("CP_K_L_LineInit", 0);
  EXPECT_EQ(Begin(kFiveBaud, 0x33).answer, (Bytes{0xE9, 0x8F}));
  link_->Set("CP_K_L_LineInit", 1);
  EXPECT_EQ(Begin(kFiveBaud, 0x33).failure, 1u);
}

TEST_F(KLineTest, EcuSpeaksOnlyToWhomHasInitialisedIt) {
  const Bytes request{0xC2, 0x33, 0xF1, 0x01, 0x0D};
  EXPECT_TRUE(Ask(request).empty());
  Begin(kFast, 0, kStartRequest);
  EXPECT_EQ(Ask(request).size(), 1u);
  for (int minute = 0; minute < 10; ++minute) {
    for (int i = 0; i < 15; ++i) {
      library_.VirtualVciAdvance(module_, 4000000);
      EXPECT_THAT(Ask({0xC1, 0x33, 0xF1, 0x3E}),
                  ElementsAre(WithChecksum({0x81, 0xF1, 0x10, 0x7E})));
    }
  }
  EXPECT_EQ(Ask(request).size(), 1u);
  library_.VirtualVciAdvance(module_, 5200000);
  EXPECT_TRUE(Ask(request).empty()) << "P3 is over";
  Begin(kFast, 0, kStartRequest);
  EXPECT_THAT(Ask({0xC1, 0x33, 0xF1, 0x82}), ElementsAre(WithChecksum({0x81, 0xF1, 0x10, 0xC2})));
  EXPECT_TRUE(Ask(request).empty()) << "it was told to stop";
}

TEST_F(KLineTest, EmissionServicesComeInShortMessages) {
  Begin(kFast, 0, kStartRequest);
  EXPECT_THAT(Ask({0xC2, 0x33, 0xF1, 0x01, 0x00}),
              ElementsAre(WithChecksum({0x86, 0xF1, 0x10, 0x41, 0x00, 0x88, 0x18, 0x00, 0x00})));
  EXPECT_THAT(Ask({0xC1, 0x33, 0xF1, 0x03}),
              ElementsAre(WithChecksum({0x87, 0xF1, 0x10, 0x43, 0x03, 0x01, 0x04, 0x20, 0, 0})));
  const auto vin = Ask({0xC2, 0x33, 0xF1, 0x09, 0x02});
  ASSERT_EQ(vin.size(), 5u);
  EXPECT_EQ(vin[0], WithChecksum({0x87, 0xF1, 0x10, 0x49, 0x02, 1, 0, 0, 0, 'V'}));
  EXPECT_EQ(vin[4], WithChecksum({0x87, 0xF1, 0x10, 0x49, 0x02, 5, '0', '0', '0', '1'}));
  Use(kIso9141);
  Begin(kFiveBaud, 0x33);
  const auto speed = Ask({0x68, 0x6A, 0xF1, 0x01, 0x0D});
  ASSERT_EQ(speed.size(), 1u);
  EXPECT_EQ(Bytes(speed[0].begin(), speed[0].begin() + 5), (Bytes{0x48, 0x6B, 0x11, 0x41, 0x0D}));
  EXPECT_EQ(Ask({0x68, 0x6A, 0xF1, 0x09, 0x02}).size(), 5u);
}

TEST_F(KLineTest, LongMessagesHaveALengthByteAndPausesEndMessages) {
  Begin(kFiveBaud, 0x10);
  const auto vin = Ask({0x83, 0x10, 0xF1, 0x22, 0xF1, 0x90});
  ASSERT_EQ(vin.size(), 1u);
  EXPECT_EQ(vin[0].size(), 3u + 20 + 1);
  EXPECT_THAT(Ask({0x80, 0x10, 0xF1, 3, 0x22, 0xF1, 0x90}), ElementsAre(vin[0]))
      << "requests may have it, too";
  Break("keyword", VVCI_FAULT_WRONG_CHECKSUM);
  const auto wrong = Ask({0x83, 0x10, 0xF1, 0x22, 0xF1, 0x90});
  ASSERT_EQ(wrong.size(), 1u) << "the checksum is the application's to check";
  EXPECT_EQ(wrong[0].back(), static_cast<UNUM8>(vin[0].back() ^ 1));
  Break("keyword", VVCI_FAULT_LATE_BYTES);
  EXPECT_EQ(Ask({0x83, 0x10, 0xF1, 0x22, 0xF1, 0x90}).size(), vin[0].size())
      << "each byte comes after P1, and so alone";
}

TEST_F(KLineTest, MessageForSomebodyElseHoldsNoRequestForEver) {
  Begin(kFiveBaud, 0x10);
  const UNUM32 cop = link_->Start({.data = WithChecksum({0x83, 0x10, 0xF1, 0x22, 0xF1, 0x90}),
                                   .receiveCycles = 1,
                                   .expect = std::pair(Bytes{0xFF}, Bytes{0x00})});
  const auto error = link_->Await([](const Event& event) { return event.type == PDU_IT_ERROR; });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->cop, cop);
  EXPECT_EQ(error->error.ErrorCodeId, PDU_ERR_EVT_RX_TIMEOUT);
}

TEST_F(KLineTest, TesterKeepsItsTimes) {
  link_->Set("CP_P4Min", 7000);
  link_->Set("CP_P3Min", 80000);
  link_->Set("CP_Loopback", 1);
  link_->Set("CP_StartMsgIndEnable", 1);
  Begin(kFast, 0, kStartRequest);
  const Bytes request = WithChecksum({0xC2, 0x33, 0xF1, 0x01, 0x0D});
  std::optional<UNUM32> answered;
  for (int round = 0; round < 3; ++round) {
    link_->Start({.data = request, .flags = {0, 0, 2, 0}});
    const auto echo = link_->Await([](const Event& event) { return event.Has(3, 0x01); });
    ASSERT_TRUE(echo);
    EXPECT_EQ(echo->data, request);
    EXPECT_NEAR(echo->timestamp - echo->startTimestamp, 6 * kByteTime + 5 * 7000, 20);
    if (answered) {
      EXPECT_NEAR(echo->startTimestamp - *answered, 80000, 1000);
    }
    const auto start = link_->Await([](const Event& event) { return event.Has(3, 0x02); });
    ASSERT_TRUE(start) << "an answer begins";
    EXPECT_TRUE(start->data.empty());
    EXPECT_NEAR(start->startTimestamp - echo->timestamp, 30000, 5) << "after P2 of the ECU";
    const auto answer = link_->AwaitResult();
    ASSERT_TRUE(answer);
    answered = answer->timestamp;
  }
}

TEST_F(KLineRealtimeTest, FiveBaudInitialisationTakesTheTimeOfItsBitsAndWaits) {
  const auto begin = std::chrono::steady_clock::now();
  const Started started = Begin(kFiveBaud, 0x10);
  const std::chrono::duration<double, std::micro> wall = std::chrono::steady_clock::now() - begin;
  ASSERT_EQ(started.answer, (Bytes{0xE9, 0x8F}));
  // The address, W1, synchronisation, W2, key byte, W3, key byte, W4, inverted, W4, inverted.
  const double expected = 2e6 + 100000 + 10000 + 10000 + 25000 + 30000 + 5 * kByteTime;
  EXPECT_NEAR(started.duration, expected, 0.05 * expected);
  EXPECT_GT(wall.count(), 0.95 * expected);
}

TEST_F(KLineRealtimeTest, LinkMayEndWhileItInitialises) {
  link_->Set("CP_InitializationSettings", kFiveBaud);
  link_->Update();
  const UNUM32 cop =
      link_->Start({.type = PDU_COPT_STARTCOMM, .sendCycles = 0, .receiveCycles = 1});
  EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_EXECUTING));
  std::this_thread::sleep_for(milliseconds(50));
  link_.reset();
  std::this_thread::sleep_for(milliseconds(2200));  // the address byte is over by now
  Use(kKeyword);
  EXPECT_EQ(Begin(kFast, 0, kStartRequest).answer.size(), 7u);
}

}  // namespace
}  // namespace virtual_vci_test
