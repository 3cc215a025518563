// Raw CAN, on the bus of the built-in scenario.
#include <set>
#include <string>

#include "tests/virtual_vci/pdu_fixture.h"

namespace virtual_vci_test {
namespace {

using testing::ElementsAre;

class CanTest : public PduTest {
 protected:
  void SetUp() override {
    PduTest::SetUp();
    module_ = Connect();
    link_ = std::make_unique<TestLink>(library_, module_);
    ASSERT_EQ(link_->Created(), PDU_STATUS_NOERROR);
  }
  void TearDown() override {
    link_.reset();
    PduTest::TearDown();
  }

  UNUM32 module_ = 0;
  std::unique_ptr<TestLink> link_;
};

TEST_F(CanTest, EngineAnswersPhysicalAndFunctionalRequests) {
  library_.VirtualVciSetCyclic(module_, 0);
  link_->Open();
  for (const UNUM32 address : {0x7E0u, 0x7DFu}) {
    link_->Send(Message(address, {2, 0x01, 0x00, 0, 0, 0, 0, 0}));
    const auto answer = link_->AwaitResult();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->data, Message(0x7E8, {6, 0x41, 0x00, 0x98, 0x1A, 0x80, 0x03, 0xAA}));
    EXPECT_EQ(answer->acceptanceId, 0x2534u);
    EXPECT_EQ(answer->uniqueRespId, PDU_ID_UNDEF);
    EXPECT_LT(answer->startTimestamp, answer->timestamp);
  }
}

TEST_F(CanTest, EngineSpeedMoves) {
  library_.VirtualVciSetCyclic(module_, 0);
  link_->Open();
  std::set<std::string> answers;
  for (int i = 0; i < 3; ++i) {
    link_->Send(Message(0x7E0, {2, 0x01, 0x0C, 0, 0, 0, 0, 0}));
    const auto answer = link_->AwaitResult();
    ASSERT_TRUE(answer);
    ASSERT_EQ(answer->data.size(), 12u);
    const int rpm = (answer->data[7] << 8 | answer->data[8]) / 4;
    EXPECT_GE(rpm, 800);
    EXPECT_LE(rpm, 4000);
    answers.insert(std::string(answer->data.begin(), answer->data.end()));
    library_.VirtualVciAdvance(module_, 1500000);
  }
  EXPECT_EQ(answers.size(), 3u);
}

TEST_F(CanTest, UnknownServiceIsRefusedOnlyWhenAskedPhysically) {
  library_.VirtualVciSetCyclic(module_, 0);
  link_->Open();
  link_->Send(Message(0x7DF, {1, 0x3F}));
  link_->Send(Message(0x7E0, {1, 0x3F}));
  const auto answer = link_->AwaitResult();
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->data, Message(0x7E8, {3, 0x7F, 0x3F, 0x11, 0xAA, 0xAA, 0xAA, 0xAA}));
  EXPECT_FALSE(link_->AwaitResult(milliseconds(50)));
}

TEST_F(CanTest, BroadcastsComAtTheirPeriodWithBothIdentifierFormats) {
  link_->Open();
  library_.VirtualVciAdvance(module_, 1000000);
  std::map<UNUM32, int> counts;
  while (counts[0x100] < 100) {
    const auto frame = link_->AwaitResult(milliseconds(5000));
    ASSERT_TRUE(frame);
    const UNUM32 id = UNUM32{frame->data[0]} << 24 | UNUM32{frame->data[1]} << 16 |
                      UNUM32{frame->data[2]} << 8 | frame->data[3];
    EXPECT_EQ(frame->Has(2, 0x01), id > 0x7FF);
    ++counts[id];
  }
  EXPECT_NEAR(counts[0x110], 50, 10);
  EXPECT_NEAR(counts[0x1A0], 20, 5);
  EXPECT_NEAR(counts[0x18FEF100], 10, 3);
}

TEST_F(CanTest, FiltersDecideWhatPasses) {
  library_.VirtualVciSetCyclic(module_, 0);
  ASSERT_EQ(library_.PDUConnect(module_, link_->Handle()), PDU_STATUS_NOERROR);
  link_->Receive();
  const UNUM8 byte = 0x55;
  const auto send = [&](UNUM32 id) { library_.VirtualVciSendFrame(module_, 6, 14, id, &byte, 1); };
  // What is expected may take its time on a busy machine; what is not is waited for a moment only.
  const auto heard = [&](std::size_t expected) {
    std::vector<UNUM32> ids;
    while (const auto frame = link_->AwaitResult(milliseconds(ids.size() < expected ? 5000 : 30)))
      ids.push_back(UNUM32{frame->data[2]} << 8 | frame->data[3]);
    return ids;
  };
  send(0x123);
  EXPECT_THAT(heard(0), ElementsAre()) << "without a filter nothing passes";
  EXPECT_EQ(link_->Pass({0xFF, 0xFF, 0xFF, 0xF0}, {0, 0, 0x01, 0x20}), PDU_STATUS_NOERROR);
  for (const UNUM32 id : {0x12Fu, 0x130u, 0x120u}) send(id);
  EXPECT_THAT(heard(2), ElementsAre(0x12F, 0x120));
  EXPECT_EQ(link_->Pass({0xFF, 0xFF, 0xFF, 0xFF}, {0, 0, 0x01, 0x20}, PDU_FLT_BLOCK),
            PDU_STATUS_NOERROR);
  for (const UNUM32 id : {0x12Fu, 0x120u}) send(id);
  EXPECT_THAT(heard(1), ElementsAre(0x12F));
  EXPECT_EQ(link_->IoCtl("PDU_IOCTL_CLEAR_MSG_FILTER"), PDU_STATUS_NOERROR);
  send(0x12F);
  EXPECT_THAT(heard(0), ElementsAre());
}

TEST_F(CanTest, ControlSendsBytesThatAreAFrame) {
  library_.VirtualVciSetCyclic(module_, 0);
  link_->Open();
  const auto send = [&](const Bytes& bytes, UNUM32 flags) {
    return library_.VirtualVciSendBytes(module_, 6, 14, flags, bytes.data(),
                                        static_cast<UNUM32>(bytes.size()));
  };
  const Bytes message = Message(0x18DA1234, {1, 2, 3});
  EXPECT_EQ(send(message, 0), PDU_ERR_INVALID_PARAMETERS) << "an identifier of 29 bits";
  EXPECT_EQ(send({0, 0, 1}, 0), PDU_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(send(message, 0x100), PDU_STATUS_NOERROR);
  const auto frame = link_->AwaitResult();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->data, message);
  EXPECT_TRUE(frame->Has(2, 0x01));
}

TEST_F(CanTest, LoopbackAndTransmitIndicationTellOfOwnFrames) {
  library_.VirtualVciSetCyclic(module_, 0);
  EXPECT_EQ(link_->Set("CP_Loopback", 1), PDU_STATUS_NOERROR);
  EXPECT_EQ(link_->Set("CP_TransmitIndEnable", 1), PDU_STATUS_NOERROR);
  link_->Open();
  const UNUM32 cop = link_->Start({.data = Message(0x18DA1234, {1, 2, 3}), .flags = {0, 0, 1, 0}});
  const auto done = link_->Await([](const Event& event) { return event.Has(3, 0x08); });
  ASSERT_TRUE(done);
  EXPECT_EQ(done->header, (Bytes{0x18, 0xDA, 0x12, 0x34}));
  EXPECT_TRUE(done->data.empty());
  const auto echo = link_->Await([](const Event& event) { return event.Has(3, 0x01); });
  ASSERT_TRUE(echo);
  EXPECT_EQ(echo->cop, cop);
  EXPECT_EQ(echo->data, Message(0x18DA1234, {1, 2, 3}));
  EXPECT_TRUE(echo->Has(2, 0x01));
}

TEST_F(CanTest, PackedComPrimitiveSendsItsFramesInOrder) {
  library_.VirtualVciSetCyclic(module_, 0);
  TestLink other(library_, module_);
  other.Open();
  link_->Open();
  Bytes data{3, 0, 0, 0};
  for (int i = 0; i < 3; ++i) {
    data.push_back(5);
    const Bytes frame = Message(0x300, {i});
    data.insert(data.end(), frame.begin(), frame.end());
  }
  const UNUM32 cop = link_->Start({.data = data, .flags = {0, 0, 0, 0x20}});
  EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));
  for (int i = 0; i < 3; ++i) {
    const auto frame = other.AwaitResult();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->data, Message(0x300, {i}));
  }
}

TEST_F(CanTest, MalformedMessagesAreRefused) {
  link_->Open();
  const struct {
    const char* what;
    TestLink::Request request;
  } cases[] = {
      {"identifier cut", {.data = {0, 0, 1}}},
      {"nine data bytes", {.data = Message(0x100, {1, 2, 3, 4, 5, 6, 7, 8, 9})}},
      {"29-bit identifier without its flag", {.data = Message(0x800, {1})}},
      {"identifier of 30 bits", {.data = Message(0x20000000, {1}), .flags = {0, 0, 1, 0}}},
      {"packed, cut", {.data = {2, 0, 0, 0, 5, 0, 0, 1, 0, 7}, .flags = {0, 0, 0, 0x20}}},
      {"packed, count too large", {.data = {0xFF, 0xFF, 0xFF, 0xFF}, .flags = {0, 0, 0, 0x20}}},
      {"packed, empty", {.data = {0, 0, 0, 0}, .flags = {0, 0, 0, 0x20}}},
      {"packed, bytes left over",
       {.data = {1, 0, 0, 0, 4, 0, 0, 1, 0, 9}, .flags = {0, 0, 0, 0x20}}},
      {"nothing", {.data = {}}},
  };
  for (const auto& each : cases) {
    T_PDU_ERROR result = PDU_STATUS_NOERROR;
    link_->Start(each.request, &result);
    EXPECT_EQ(result, PDU_ERR_INVALID_PARAMETERS) << each.what;
  }
}

TEST_F(CanTest, OtherBitRateHearsNothingAndIsNotAcknowledged) {
  library_.VirtualVciSetCyclic(module_, 0);
  EXPECT_EQ(link_->Set("CP_Baudrate", 250000), PDU_STATUS_NOERROR);
  link_->Open();
  const UNUM32 cop = link_->Send(Message(0x7E0, {2, 1, 0}));
  const auto error = link_->Await([](const Event& event) { return event.type == PDU_IT_ERROR; });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->cop, cop);
  EXPECT_EQ(error->error.ErrorCodeId, PDU_ERR_EVT_TX_ERROR);
  EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));
  T_PDU_ERR_EVT code = 0;
  UNUM32 failed = 0, timestamp = 0, extra = 0;
  EXPECT_EQ(library_.PDUGetLastError(module_, link_->Handle(), &code, &failed, &timestamp, &extra),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(code, PDU_ERR_EVT_TX_ERROR);
  EXPECT_EQ(failed, cop);
}

TEST_F(CanTest, WaitingFramesArriveTogetherAndInOrder) {
  library_.VirtualVciSetCyclic(module_, 0);
  link_->Open();
  link_->Drain();
  constexpr int kFrames = 200;
  for (int i = 0; i < kFrames; ++i) {
    const UNUM8 number = static_cast<UNUM8>(i);
    library_.VirtualVciSendFrame(module_, 6, 14, 0x200, &number, 1);
  }
  UNUM32 last = 0;
  for (int i = 0; i < kFrames; ++i) {
    const auto frame = link_->AwaitResult();
    ASSERT_TRUE(frame) << i;
    EXPECT_EQ(frame->data, Message(0x200, {i}));
    EXPECT_GT(frame->timestamp, last);
    last = frame->timestamp;
  }
}

TEST_F(CanTest, NodesOfEqualBitRatesHearEachOther) {
  const UNUM32 rates[] = {250000, 500000, 500000, 0, 0};
  std::vector<std::unique_ptr<TestLink>> links;
  for (const UNUM32 rate : rates) {
    links.push_back(
        std::make_unique<TestLink>(library_, module_, TestLink::Setup{.pins = {3, 11}}));
    links.back()->Set("CP_Baudrate", rate);
    links.back()->Open();
  }
  std::map<std::size_t, bool> sent;
  for (std::size_t from = 0; from < links.size(); ++from) {
    const UNUM32 cop = links[from]->Send(Message(0x100, {static_cast<int>(from)}));
    links[from]->Await([&](const Event& event) {
      if (event.cop == cop && event.type == PDU_IT_ERROR) sent[from] = false;
      return event.cop == cop && event.IsStatus(PDU_COPST_FINISHED);
    });
    sent.emplace(from, true);
    for (std::size_t to = 0; to < links.size(); ++to) {
      const bool hears = from != to && (from == 1 || from == 2) && (to == 1 || to == 2);
      EXPECT_EQ(links[to]->AwaitResult(milliseconds(hears ? 2000 : 5)).has_value(), hears)
          << from << " to " << to;
    }
  }
  using testing::Pair;
  EXPECT_THAT(sent, ElementsAre(Pair(0, false), Pair(1, true), Pair(2, true), Pair(3, false),
                                Pair(4, false)));
}

TEST_F(CanTest, IdentifiersOfOneLengthOrOfBoth) {
  constexpr UNUM32 kOne = 0x20;
  constexpr UNUM32 kBoth = 0x80;
  library_.VirtualVciSetCyclic(module_, 0);
  TestLink peer(library_, module_);
  peer.Open();
  const Bytes extended{0, 0, 1, 0};
  const auto heard = [&](UNUM32 format, std::optional<Bytes> afterSending) {
    TestLink link(library_, module_);
    link.Set("CP_CanFuncReqFormat", format);
    link.Open();
    if (afterSending) {
      const UNUM32 cop = link.Start({.data = Message(0x100, {1}), .flags = *afterSending});
      EXPECT_TRUE(link.AwaitStatus(cop, PDU_COPST_FINISHED));
    }
    for (const Bytes& flags : {Bytes{0, 0, 0, 0}, extended}) {
      const UNUM32 cop = peer.Start({.data = Message(0x101, {1}), .flags = flags});
      EXPECT_TRUE(peer.AwaitStatus(cop, PDU_COPST_FINISHED));
    }
    std::vector<bool> lengths;
    while (const auto frame = link.AwaitResult(milliseconds(20)))
      lengths.push_back(frame->Has(2, 0x01));
    return lengths;
  };
  EXPECT_THAT(heard(kBoth, Bytes{0, 0, 0, 0}), ElementsAre(false, true));
  EXPECT_THAT(heard(kOne, Bytes{0, 0, 0, 0}), ElementsAre(false));
  EXPECT_THAT(heard(kOne, extended), ElementsAre(true));
  EXPECT_THAT(heard(kOne, std::nullopt), ElementsAre(false, true)) << "it has shown neither";
}

TEST_F(CanTest, FillerBytesForOneComPrimitive) {
  library_.VirtualVciSetCyclic(module_, 0);
  TestLink peer(library_, module_);
  peer.Open();
  link_->Set("CP_CanFillerByte", 0xCC);
  link_->Open();
  link_->Set("CP_CanFillerByteHandling", 1);
  link_->Start({.data = Message(0x300, {1}), .temporary = true});
  link_->Send(Message(0x300, {2}));
  EXPECT_EQ(peer.AwaitResult()->data,
            Message(0x300, {1, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC}));
  EXPECT_EQ(peer.AwaitResult()->data, Message(0x300, {2}));
}

TEST_F(CanTest, LinksWithoutRawModeHavePayloadOnly) {
  library_.VirtualVciSetCyclic(module_, 0);
  TestLink link(library_, module_, {.rawMode = false});
  link.Set("CP_CanPhysReqId", 0x7E0);
  link.Set("CP_Loopback", 1);
  link.Open();
  link.Start({.type = PDU_COPT_STARTCOMM, .sendCycles = 0});
  link.Start({.data = {2, 0x3E, 0},
              .receiveCycles = 1,
              .expect = std::pair(Bytes{0, 0xFF}, Bytes{0, 0x7E})});
  const auto echo = link.Await([](const Event& event) { return event.IsResult(); });
  ASSERT_TRUE(echo);
  EXPECT_EQ(echo->data, (Bytes{2, 0x3E, 0}));
  EXPECT_EQ(echo->header, Message(0x7E0, {}));
  const auto answer = link.AwaitResult();
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->data, (Bytes{2, 0x7E, 0, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA}));
  EXPECT_EQ(answer->header, Message(0x7E8, {}));
}

class CanRealtimeTest : public PduTest {
 protected:
  CanRealtimeTest() : PduTest("Clock='realtime'") {}
};

TEST_F(CanRealtimeTest, TimeToSendRunsWhileOthersHaveTheBus) {
  const UNUM32 module = Connect();
  TestLink busy(library_, module, {.pins = {3, 11}});
  TestLink late(library_, module, {.pins = {3, 11}});
  late.Set("CP_CanTransmissionTime", 5000);
  busy.Open();
  late.Open();
  Bytes frames{200, 0, 0, 0};
  for (int i = 0; i < 200; ++i) {
    const Bytes frame = Message(0x001, {0, 0, 0, 0, 0, 0, 0, 0});
    frames.push_back(static_cast<UNUM8>(frame.size()));
    frames.insert(frames.end(), frame.begin(), frame.end());
  }
  busy.Start({.data = frames, .flags = {0, 0, 0, 0x20}});
  const UNUM32 cop = late.Send(Message(0x700, {1}));
  const auto begin = late.AwaitStatus(cop, PDU_COPST_EXECUTING);
  const auto error = late.Await([](const Event& event) { return event.type == PDU_IT_ERROR; });
  ASSERT_TRUE(begin && error);
  EXPECT_NEAR(error->timestamp - begin->timestamp, 5000, 2000);
}

}  // namespace
}  // namespace virtual_vci_test
