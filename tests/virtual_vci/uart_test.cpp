// SCI and GM UART: echoes, speeds, voltage, breaks; polls and mastership; times of both.

#include "tests/virtual_vci/one_link_test.h"

namespace virtual_vci_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const TestLink::Setup kSci{
    .busType = "SAE_J2610_UART", .protocol = "SAE_J2610_on_SAE_J2610_SCI", .pins = {6, 7}};
const TestLink::Setup kGmUart{
    .busType = "SAE_J2740_UART", .protocol = "XDE_5024_on_XDE_5024_UART", .pins = {9}};

const Bytes kFullDuplex{0, 0, 0, 0};
const Bytes kHalfDuplex{0, 0x40, 0, 0};
const Bytes kVoltage{0, 0xC0, 0, 0};  // in half duplex
const Bytes kPoll{0xF0, 0x55, 0xBB};
constexpr UNUM8 kBreakBit = 0x04;
constexpr double kSciByte = 10e6 / 7812;  // µs

/// What came of a message, or of a start of communication.
struct Outcome {
  T_PDU_ERR_EVT error = PDU_ERR_EVT_NOERROR;
  UNUM32 extra = 0;
  std::vector<Bytes> answers;
};

class UartTest : public OneLinkTest {
 protected:
  explicit UartTest(const char* options = "Clock='instant'") : OneLinkTest(options) {}
  Outcome Run(const TestLink::Request& request) {
    Outcome outcome;
    const UNUM32 cop = link_->Start(request);
    EXPECT_TRUE(link_->Await([&](const Event& event) {
      if (event.cop == cop && event.type == PDU_IT_ERROR) {
        outcome.error = event.error.ErrorCodeId;
        outcome.extra = event.error.ExtraErrorInfoId;
      }
      if (event.IsResult()) outcome.answers.push_back(event.data);
      return event.cop == cop && event.IsStatus(PDU_COPST_FINISHED);
    }));
    const auto later = Heard();
    outcome.answers.insert(outcome.answers.end(), later.begin(), later.end());
    return outcome;
  }
  std::vector<Bytes> Ask(const Bytes& request, const Bytes& flags = {0, 0, 0, 0}) {
    const Outcome outcome = Run({.data = request, .flags = flags});
    EXPECT_EQ(outcome.error, 0u);
    return outcome.answers;
  }
  std::vector<VVCI_BYTE> HeardBy(const char* ecu) {
    std::vector<VVCI_BYTE> bytes(1000);
    UNUM32 count = 1000;
    EXPECT_EQ(library_.VirtualVciTakeHeard(module_, ecu, bytes.data(), &count), PDU_STATUS_NOERROR);
    bytes.resize(count);
    return bytes;
  }
  T_PDU_ERROR SetPollResponse(Bytes bytes) {
    PDU_PARAM_BYTEFIELD_DATA field{255, static_cast<UNUM32>(bytes.size()), bytes.data()};
    PDU_PARAM_ITEM item{PDU_IT_PARAM, Id(PDU_OBJT_COMPARAM, "CP_SetPollResponse"), PDU_PT_BYTEFIELD,
                        PDU_PC_COM, &field};
    return library_.PDUSetComParam(module_, link_->Handle(), &item);
  }
  Outcome BecomeMaster(UNUM32 device) {
    SetNumber("CP_BecomeMaster", device);
    return Run({.type = PDU_COPT_STARTCOMM, .sendCycles = 0});
  }
};

class UartRealtimeTest : public UartTest {
 protected:
  UartRealtimeTest() : UartTest("Clock='realtime'") {}
};

TEST_F(UartTest, SciReadsFaultsAndMemoryInAllConfigurations) {
  for (const std::vector<UNUM32>& pins : {std::vector<UNUM32>{6, 7}, {14, 7}, {12, 7}, {9, 15}}) {
    Use({.busType = kSci.busType, .protocol = kSci.protocol, .pins = pins});
    for (const Bytes& flags : {kHalfDuplex, kFullDuplex}) {
      EXPECT_THAT(Ask({0x10}, flags), ElementsAre(Bytes{0x0B, 0x27, 0xFE}));
      EXPECT_THAT(Ask({0x14, 0x00, 0x80}, flags), ElementsAre(Bytes{0x80}));
      EXPECT_THAT(Ask({0x14, 0x01, 0x00}, flags), IsEmpty()) << "no memory there";
      EXPECT_THAT(Ask({0x77}, flags), IsEmpty());
    }
    EXPECT_THAT(Ask({0x13}), ElementsAre(Bytes{0xFE}));
    EXPECT_THAT(Ask({0x10}), ElementsAre(Bytes{0xFE}));
    EXPECT_EQ(TestLink(library_, module_,
                       {.busType = kSci.busType, .protocol = kSci.protocol, .pins = pins})
                  .Created(),
              PDU_ERR_RESOURCE_BUSY);
  }
}

TEST_F(UartTest, SciWritesMemoryOnlyWithARaisedLine) {
  Use(kSci);
  const Bytes write{0x27, 0x00, 0x80, 0x5A};
  EXPECT_THAT(Ask(write), IsEmpty());
  EXPECT_THAT(Ask({0x14, 0x00, 0x80}), ElementsAre(Bytes{0x80}));
  EXPECT_THAT(Ask(write, kVoltage), ElementsAre(Bytes{0x5A}));
  EXPECT_THAT(Ask({0x14, 0x00, 0x80}), ElementsAre(Bytes{0x5A}));
  EXPECT_THAT(Ask(write), IsEmpty()) << "the line is down again";
}

TEST_F(UartTest, SciEchoesHaveT1AndT2) {
  struct Case {
    const char* what;
    UNUM32 fault;
    UNUM32 t1, t2;
    Bytes flags;
    UNUM32 failure;  ///< extra information of the error; 0 for none
  };
  Use(kSci);
  for (const Case& c :
       {Case{"on time", VVCI_FAULT_NONE, 20000, 100000, kHalfDuplex, 0},
        Case{"no echo", VVCI_FAULT_NO_ANSWER, 20000, 100000, kHalfDuplex, 1},
        Case{"none is needed", VVCI_FAULT_NO_ANSWER, 20000, 100000, kFullDuplex, 0},
        Case{"another byte", VVCI_FAULT_WRONG_CHECKSUM, 20000, 100000, kHalfDuplex, 2},
        Case{"late for T1", VVCI_FAULT_LATE_BYTES, 20000, 100000, kHalfDuplex, 1},
        Case{"late for T2", VVCI_FAULT_LATE_BYTES, 100000, 20000, kHalfDuplex, 1},
        Case{"late, but on time", VVCI_FAULT_LATE_BYTES, 100000, 100000, kHalfDuplex, 0}}) {
    SCOPED_TRACE(c.what);
    Break("sci-a-engine", c.fault);
    link_->Set("CP_T1Max", c.t1);
    SetNumber("CP_T2Max", c.t2);
    const Outcome outcome = Run({.data = {0x10}, .flags = c.flags});
    EXPECT_EQ(outcome.error,
              T_PDU_ERR_EVT{c.failure == 0 ? PDU_ERR_EVT_NOERROR : PDU_ERR_EVT_TX_ERROR});
    EXPECT_EQ(outcome.extra, c.failure);
  }
}

TEST_F(UartTest, SciAnswersHaveT3AndT4) {
  Use(kSci);
  const auto ask = [&](SNUM32 cycles) {
    return Run({.data = {0x10}, .receiveCycles = cycles}).error;
  };
  EXPECT_EQ(ask(1), T_PDU_ERR_EVT{PDU_ERR_EVT_NOERROR});
  SetNumber("CP_T3Max", 3000);
  EXPECT_EQ(ask(1), T_PDU_ERR_EVT{PDU_ERR_EVT_RX_TIMEOUT}) << "it takes 5 ms";
  SetNumber("CP_T3Max", 50000);
  SetNumber("CP_T4Max", 3000);
  EXPECT_EQ(ask(2), T_PDU_ERR_EVT{PDU_ERR_EVT_RX_TIMEOUT}) << "it answers once";
}

TEST_F(UartTest, SciChangesItsSpeedAndABreakEndsThat) {
  Use(kSci);
  EXPECT_THAT(Ask({0x12}), IsEmpty());
  EXPECT_EQ(Run({.data = {0x10}, .flags = kHalfDuplex}).extra, 1u) << "no echo at the old speed";
  SetNumber("CP_Baudrate", 62500);
  EXPECT_EQ(Ask({0x10}).size(), 1u);
  EXPECT_THAT(Ask({0xFE}), IsEmpty());
  SetNumber("CP_Baudrate", 7812);
  EXPECT_EQ(Ask({0x10}).size(), 1u);
  EXPECT_THAT(Ask({0x12}), IsEmpty());
  EXPECT_EQ(link_->IoCtl("PDU_IOCTL_SEND_BREAK"), PDU_STATUS_NOERROR);
  SetNumber("CP_Baudrate", 7812);
  EXPECT_EQ(Ask({0x10}).size(), 1u);

  ASSERT_EQ(library_.VirtualVciSendBytes(module_, 6, 7, VVCI_SEND_BREAK, nullptr, 0),
            PDU_STATUS_NOERROR);
  EXPECT_TRUE(link_->Await([](const Event& event) {
    return event.IsResult() && event.Has(3, kBreakBit) && event.data.empty();
  }));
}

TEST_F(UartTest, SciMessagesWaitForTheAnswerBeforeThemUpToT5) {
  Use(kSci);
  // Packed: two messages of one byte.
  const TestLink::Request two{.data = {2, 0, 0, 0, 1, 0x10, 1, 0x10}, .flags = {0, 0, 0, 0x20}};
  Run(two);
  auto heard = HeardBy("sci-a-engine");
  ASSERT_EQ(heard.size(), 2u);
  EXPECT_GT(heard[1].Start - heard[0].End, 50000u);
  SetNumber("CP_T5Max", 2000);
  Run(two);
  heard = HeardBy("sci-a-engine");
  ASSERT_EQ(heard.size(), 2u);
  EXPECT_NEAR(heard[1].Start - heard[0].End, 2000, 10);
}

TEST_F(UartTest, GmUartAnswersTheMasterAndOnlyIt) {
  Use(kGmUart);
  EXPECT_EQ(Run({.data = {0xF4, 0x57, 0x01, 0x00, 0xB4}}).extra, 1u) << "a slave doesn't send";
  ASSERT_EQ(library_.VirtualVciSetCyclic(module_, 0), PDU_STATUS_NOERROR);
  EXPECT_EQ(BecomeMaster(0xF0).error, 0u) << "nobody else is";
  EXPECT_THAT(Ask({0xF4, 0x57, 0x01, 0x00, 0xB4}),
              ElementsAre(Bytes{0xF4, 0x58, 0x01, 0x13, 0x42, 0x5E}));
  const auto memory = Ask({0xF4, 0x58, 0x02, 0x00, 0x80, 0x32});
  ASSERT_EQ(memory.size(), 1u);
  EXPECT_EQ(memory[0].size(), 3u + 1 + 64);
  EXPECT_EQ(memory[0][3], 0x80);
  EXPECT_THAT(Ask({0xF4, 0x58, 0x02, 0x00, 0xC1, 0xF1}), IsEmpty()) << "not all of it is there";
  EXPECT_THAT(Ask({0xF4, 0x56, 0x0A, 0xAC}), ElementsAre(Bytes{0xF4, 0x56, 0x0A, 0xAC}));
  EXPECT_THAT(Ask({0xF4, 0x57, 0x01, 0x00, 0xB4}), ElementsAre(Bytes{0xF4, 0x56, 0x01, 0xB5}));
  EXPECT_THAT(Ask({0xF4, 0x56, 0x0A, 0xAD}), IsEmpty()) << "wrong checksum";
  EXPECT_THAT(Ask({0x11, 0x56, 0x0A, 0x8F}), IsEmpty()) << "nobody has this address";
  Break("gmuart", VVCI_FAULT_WRONG_CHECKSUM);
  EXPECT_THAT(Ask({0xF4, 0x56, 0x0A, 0xAC}), IsEmpty());
  SetNumber("CP_J2740IgnoreMsgContent", 1);
  EXPECT_EQ(Ask({0xF4, 0x56, 0x0A, 0xAC}).size(), 1u);
  Break("gmuart", VVCI_FAULT_NONE);
  SetNumber("CP_BecomeMaster", 0);
  EXPECT_EQ(Run({.data = {0xF4, 0x56, 0x0A, 0xAC}}).extra, 1u) << "a slave again";
  EXPECT_EQ(BecomeMaster(0xF0).error, 0u);
  ASSERT_EQ(library_.PDUDisconnect(module_, link_->Handle()), PDU_STATUS_NOERROR);
  link_->Open();
  EXPECT_EQ(Run({.data = {0xF4, 0x56, 0x0A, 0xAC}}).extra, 1u) << "nor is it one on a new line";
}

TEST_F(UartRealtimeTest, GmUartMasterPollsAndYieldsToWhoAnswers) {
  Use(kGmUart);
  const Bytes otherPoll{0xF1, 0x55, 0xBA};
  EXPECT_EQ(link_->AwaitResult()->data, kPoll);
  EXPECT_EQ(link_->AwaitResult()->data, otherPoll) << "nobody answered, it goes on";
  ASSERT_EQ(SetPollResponse({0xF0, 0x56, 0x99}), PDU_STATUS_NOERROR);
  const Outcome master = BecomeMaster(0xF0);
  EXPECT_EQ(master.error, 0u);
  EXPECT_THAT(Heard(milliseconds(400)), IsEmpty()) << "it is silent now";
  const auto heard = HeardBy("gmuart");
  ASSERT_EQ(heard.size(), 4u);
  EXPECT_EQ(heard[0].Byte, 0xF0u);
  EXPECT_EQ(heard[3].Byte, 0x21u) << "the checksum was added";
  EXPECT_NEAR((heard[3].End - heard[0].Start) / (40e6 / 8192), 1.0, 0.05);
  EXPECT_EQ(Ask({0xF4, 0x57, 0x01, 0x00, 0xB4}).size(), 1u);
  const auto again = link_->AwaitResult(milliseconds(3000));
  ASSERT_TRUE(again) << "after a second without a message it is master again";
  EXPECT_EQ(again->data.size(), kPoll.size());
}

TEST_F(UartRealtimeTest, GmUartMasterGoesOnAfterTheAnswerOfAnyOther) {
  Use(kGmUart);
  ASSERT_EQ(SetPollResponse({0xF1, 0x56, 0x99, 0x20}), PDU_STATUS_NOERROR);
  link_->Update();
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(link_->AwaitResult(milliseconds(300))) << i;
  EXPECT_GE(HeardBy("gmuart").size(), 8u) << "it answered twice at least";
}

TEST_F(UartRealtimeTest, GmUartSlaveThatIsNotPolledDoesNotBecomeMaster) {
  Use(kGmUart);
  const Outcome outcome = BecomeMaster(0x33);
  EXPECT_EQ(outcome.error, T_PDU_ERR_EVT{PDU_ERR_EVT_INIT_ERROR});
  EXPECT_EQ(outcome.extra, 2u);
}

TEST_F(UartRealtimeTest, SciBytesTakeTheTimeOfTheirBits) {
  Use(kSci);
  const Bytes message(100, 0x77);
  const auto start = std::chrono::steady_clock::now();
  const UNUM32 cop = link_->Start({.data = message, .flags = kFullDuplex});
  ASSERT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));
  const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
  // A machine that is busy makes it longer, never shorter.
  EXPECT_GT(took.count(), 100 * kSciByte * 0.95);
  const auto heard = HeardBy("sci-a-engine");
  ASSERT_EQ(heard.size(), 100u);
  EXPECT_NEAR((heard[99].End - heard[0].Start) / (100 * kSciByte), 1.0, 0.05);
}

}  // namespace
}  // namespace virtual_vci_test
