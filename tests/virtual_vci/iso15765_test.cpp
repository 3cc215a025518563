// ISO 15765: segmented transfers, their parameters and their failures.

#include "tests/virtual_vci/pdu_fixture.h"

namespace virtual_vci_test {
namespace {

const TestLink::Setup kIso{.protocol = "SAE_J2190_on_ISO_15765_2"};

Bytes Payload(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<UNUM8>(i * 7 + i / 256);
  return bytes;
}

Bytes Join(const Bytes& one, const Bytes& other) {
  Bytes all = one;
  all.insert(all.end(), other.begin(), other.end());
  return all;
}

/// Packed ComPrimitive data of raw frames.
Bytes Packed(const std::vector<Bytes>& messages) {
  Bytes data{static_cast<UNUM8>(messages.size()), 0, 0, 0};
  for (const Bytes& message : messages) {
    data.push_back(static_cast<UNUM8>(message.size()));
    data.insert(data.end(), message.begin(), message.end());
  }
  return data;
}

bool IsError(const Event& event) { return event.type == PDU_IT_ERROR; }

class IsoTest : public PduTest {
 protected:
  explicit IsoTest(const char* options = "Clock='instant'") : PduTest(options) {}
  void SetUp() override {
    PduTest::SetUp();
    module_ = Connect();
    library_.VirtualVciSetCyclic(module_, 0);
    link_ = std::make_unique<TestLink>(library_, module_, kIso);
    ASSERT_EQ(link_->Created(), PDU_STATUS_NOERROR);
  }
  void TearDown() override {
    link_.reset();
    peer_.reset();
    PduTest::TearDown();
  }
  void Open(const std::vector<TestLink::Conversation>& table) {
    ASSERT_EQ(link_->SetTable(table), PDU_STATUS_NOERROR);
    link_->Open();
  }
  /// A second link that is the other side of the conversation 0x700 / 0x708.
  void OpenPair(UNUM32 format = 5) {
    Open({{1, 0x700, 0x708, format, 0x11, 0x22}});
    peer_ = std::make_unique<TestLink>(library_, module_, kIso);
    ASSERT_EQ(peer_->SetTable({{2, 0x708, 0x700, format, 0x22, 0x11}}), PDU_STATUS_NOERROR);
  }
  /// A raw link on the same bus.
  void OpenRawPeer() {
    peer_ = std::make_unique<TestLink>(library_, module_);
    peer_->Open();
  }

  UNUM32 module_ = 0;
  std::unique_ptr<TestLink> link_;
  std::unique_ptr<TestLink> peer_;
};

class IsoRealtimeTest : public IsoTest {
 protected:
  IsoRealtimeTest() : IsoTest("Clock='realtime'") {}
};

TEST_F(IsoTest, AnswersOfTwoEcusComeWithTheirIdentifiers) {
  Open({{0xE1, 0x7E0, 0x7E8}, {0xE2, 0x7E1, 0x7E9}});
  link_->Send(Message(0x7DF, {0x09, 0x02}));
  const Bytes vin = {'V', 'V', 'C', '1', '2', '3', '4', '5', '6',
                     '7', 'N', '0', '0', '0', '0', '0', '1'};
  std::map<UNUM32, Bytes> answers;
  for (int i = 0; i < 2; ++i) {
    const auto answer = link_->AwaitResult();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->acceptanceId, 0x2534u);
    answers[answer->uniqueRespId] = answer->data;
  }
  EXPECT_EQ(answers[0xE1], Join(Message(0x7E8, {0x49, 0x02, 0x01}), vin));
  EXPECT_EQ(answers[0xE2], Join(Message(0x7E9, {0x49, 0x02, 0x01}), vin));
}

TEST_F(IsoTest, MessagesOfEveryLengthArriveWhole) {
  struct {
    const char* what;
    UNUM32 format;
    Bytes flags;
    UNUM32 blockSize;
    UNUM32 stMin;
  } const cases[] = {
      {"normal addresses", 5, {0, 0, 0, 0}, 0, 0},
      {"29-bit identifiers, blocks", 7, {0, 0, 1, 0}, 3, 0},
      {"extended addresses, separation", 0xD, {0, 0, 0, 0x80}, 0, 0xF5},
      {"both, blocks of one, separation", 0xF, {0, 0, 1, 0x80}, 1, 2},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    OpenPair(each.format);
    peer_->Set("CP_BlockSize", each.blockSize);
    peer_->Set("CP_StMin", each.stMin);
    peer_->Open();
    const bool extended = (each.format & 8) != 0;
    for (const std::size_t size : {1u, 6u, 7u, 8u, 13u, 14u, 62u, 255u, 256u, 4094u, 4095u}) {
      Bytes message = Message(0x700, {});
      if (extended) message.push_back(0x11);
      message = Join(message, Payload(size));
      const UNUM32 cop = link_->Start({.data = message, .flags = each.flags});
      ASSERT_NE(cop, PDU_HANDLE_UNDEF) << size;
      const auto heard = peer_->AwaitResult();
      ASSERT_TRUE(heard) << size;
      EXPECT_EQ(heard->data, message) << size;
      EXPECT_EQ(heard->uniqueRespId, 2u);
      EXPECT_EQ(heard->Has(3, 0x80), extended);
      EXPECT_EQ(heard->Has(2, 0x01), (each.format & 2) != 0);
      EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED)) << size;
    }
    link_ = std::make_unique<TestLink>(library_, module_, kIso);
  }
}

TEST_F(IsoTest, ImpossibleMessagesAreRefused) {
  Open({{1, 0x7E0, 0x7E8}});
  const struct {
    const char* what;
    TestLink::Request request;
  } cases[] = {
      {"no data", {.data = Message(0x7E0, {})}},
      {"identifier cut", {.data = {0, 0, 7}}},
      {"4096 bytes", {.data = Join(Message(0x7E0, {}), Payload(4096))}},
      {"extended address without data", {.data = Message(0x7E0, {1}), .flags = {0, 0, 0, 0x80}}},
      {"29-bit identifier without its flag", {.data = Message(0x18DA00F1, {1})}},
      {"raw frame without mixed format", {.data = Message(0x7E0, {1}), .flags = {4, 0, 0, 0}}},
  };
  for (const auto& each : cases) {
    T_PDU_ERROR result = PDU_STATUS_NOERROR;
    link_->Start(each.request, &result);
    EXPECT_EQ(result, PDU_ERR_INVALID_PARAMETERS) << each.what;
  }
}

TEST_F(IsoTest, SegmentedMessageNeedsAConversation) {
  Open({{1, 0x7E0, 0x7E8}});
  const UNUM32 cop = link_->Send(Join(Message(0x7E2, {}), Payload(20)));
  const auto error = link_->Await(IsError);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->cop, cop);
  EXPECT_EQ(error->error.ErrorCodeId, PDU_ERR_EVT_TX_ERROR);
  EXPECT_EQ(error->error.ExtraErrorInfoId, 9u);
}

TEST_F(IsoTest, IndicationsCarryTheHeaderBytes) {
  link_->Set("CP_TransmitIndEnable", 1);
  link_->Set("CP_StartMsgIndEnable", 1);
  link_->Set("CP_Loopback", 1);
  Open({{1, 0x7E0, 0x7E8}});
  const UNUM32 cop = link_->Send(Message(0x7E0, {0x09, 0x02}));
  const auto done = link_->Await([](const Event& event) { return event.IsResult(); });
  ASSERT_TRUE(done);
  EXPECT_TRUE(done->Has(3, 0x08));
  EXPECT_EQ(done->cop, cop);
  EXPECT_EQ(done->header, Message(0x7E0, {}));
  EXPECT_TRUE(done->data.empty());
  const auto echo = link_->Await([](const Event& event) { return event.IsResult(); });
  ASSERT_TRUE(echo);
  EXPECT_TRUE(echo->Has(3, 0x01));
  EXPECT_EQ(echo->data, Message(0x7E0, {0x09, 0x02}));
  const auto start = link_->Await([](const Event& event) { return event.IsResult(); });
  ASSERT_TRUE(start);
  EXPECT_TRUE(start->Has(3, 0x02));
  EXPECT_EQ(start->header, Message(0x7E8, {}));
  EXPECT_TRUE(start->data.empty());
  const auto message = link_->AwaitResult();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->data.size(), 4u + 20u);
  EXPECT_EQ(message->startTimestamp, start->startTimestamp);
  EXPECT_GT(message->timestamp, start->timestamp);
}

TEST_F(IsoTest, EchoesOfExtendedAddressesCarryTheAddressByte) {
  link_->Set("CP_TransmitIndEnable", 1);
  link_->Set("CP_Loopback", 1);
  link_->Open();
  OpenRawPeer();
  const Bytes message = Message(0x700, {0x11, 1, 2});
  link_->Start({.data = message, .flags = {0, 0, 0, 0x80}});
  const auto done = link_->Await([](const Event& event) { return event.IsResult(); });
  ASSERT_TRUE(done);
  EXPECT_EQ(done->flags, (Bytes{0, 0, 0, 0x88}));
  EXPECT_EQ(done->header, Message(0x700, {0x11}));
  const auto echo = link_->Await([](const Event& event) { return event.IsResult(); });
  ASSERT_TRUE(echo);
  EXPECT_EQ(echo->flags, (Bytes{0, 0, 0, 0x81}));
  EXPECT_EQ(echo->data, message);
}

TEST_F(IsoTest, FillerBytesAsTheComParamsSay) {
  Open({{1, 0x7E0, 0x7E8}});
  OpenRawPeer();
  link_->Set("CP_CanFillerByteHandling", 0);
  link_->Set("CP_CanFillerByte", 0xCC);
  link_->Update();
  link_->Send(Message(0x7E5, {1, 2}));
  auto frame = peer_->AwaitResult();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->data, Message(0x7E5, {2, 1, 2}));
  link_->Set("CP_CanFillerByteHandling", 1);
  link_->Start({.data = Message(0x7E5, {1, 2}), .temporary = true});
  frame = peer_->AwaitResult();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->data, Message(0x7E5, {2, 1, 2, 0xCC, 0xCC, 0xCC, 0xCC, 0xCC}));
  EXPECT_EQ(link_->Get("CP_CanFillerByteHandling"), 0u)
      << "temporary ComParams are taken back at once";
  link_->Start({.data = Message(0x7E5, {1, 2}), .flags = {0, 0, 0, 0x40}});
  frame = peer_->AwaitResult();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->data, Message(0x7E5, {2, 1, 2})) << "the padding flag alone changes nothing";
}

TEST_F(IsoTest, PackedSingleFramesGoOutInOrder) {
  Open({{1, 0x7E0, 0x7E8}});
  OpenRawPeer();
  const UNUM32 cop = link_->Start(
      {.data = Packed({Message(0x600, {1}), Message(0x601, {2, 3}), Message(0x600, {4})}),
       .flags = {0x20, 0, 0, 0x20}});
  EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));
  std::vector<Bytes> starts;
  for (int i = 0; i < 3; ++i) {
    const auto frame = peer_->AwaitResult();
    ASSERT_TRUE(frame);
    starts.push_back(Bytes(frame->data.begin(), frame->data.begin() + 6));
  }
  EXPECT_THAT(starts, testing::ElementsAre(Message(0x600, {1, 1}), Message(0x601, {2, 2}),
                                           Message(0x600, {1, 4})));
}

TEST_F(IsoTest, MixedFormatGivesRawFramesBesideTheMessages) {
  Open({{1, 0x700, 0x708}});
  OpenRawPeer();
  const auto raw = [](const Event& event) { return event.uniqueRespId == 0x11898; };
  const auto results = [&](UNUM32 mixed) {
    link_->Set("CP_CanMixedFormat", mixed);
    link_->Update();
    link_->Drain();
    peer_->Start({.data = Packed({Message(0x708, {1, 0x55}), Message(0x709, {9, 9})}),
                  .flags = {0, 0, 0, 0x20}});
    std::vector<std::pair<bool, Bytes>> seen;
    while (const auto event = link_->AwaitResult(milliseconds(50)))
      seen.emplace_back(raw(*event), event->data);
    return seen;
  };
  using testing::ElementsAre;
  using testing::Pair;
  const Bytes message = Message(0x708, {0x55});
  EXPECT_THAT(results(0), ElementsAre(Pair(false, message)));
  EXPECT_THAT(results(1), ElementsAre(Pair(false, message), Pair(true, Message(0x709, {9, 9}))));
  EXPECT_THAT(results(2), ElementsAre(Pair(true, Message(0x708, {1, 0x55})), Pair(false, message),
                                      Pair(true, Message(0x709, {9, 9}))));
  link_->Start({.data = Message(0x123, {7}), .flags = {4, 0, 0, 0}});
  const auto frame = peer_->AwaitResult();
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->data, Message(0x123, {7}));
}

TEST_F(IsoTest, FailuresAreToldWithTheirReason) {
  Open({{1, 0x700, 0x708}});
  OpenRawPeer();
  const Bytes first = Message(0x708, {0x10, 20, 1, 2, 3, 4, 5, 6});
  const Bytes second = Message(0x708, {0x21, 7, 8, 9, 10, 11, 12, 13});
  const Bytes third = Message(0x708, {0x22, 14, 15, 16, 17, 18, 19, 20});
  const struct {
    const char* what;
    std::vector<Bytes> frames;
    T_PDU_ERR_EVT code;
    UNUM32 reason;
  } cases[] = {
      {"no consecutive frame", {first}, PDU_ERR_EVT_RX_TIMEOUT, 3},
      {"one lost", {first, third}, PDU_ERR_EVT_RX_ERROR, 4},
      {"one doubled", {first, second, second}, PDU_ERR_EVT_RX_ERROR, 4},
      {"another message", {first, second, Message(0x708, {1, 0x3E})}, PDU_ERR_EVT_RX_ERROR, 8},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    peer_->Start({.data = Packed(each.frames), .flags = {0, 0, 0, 0x20}});
    const auto error = link_->Await(IsError);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->error.ErrorCodeId, each.code);
    EXPECT_EQ(error->error.ExtraErrorInfoId, each.reason);
  }
  link_->Drain();
  peer_->Start({.data = Packed({first, second, third}), .flags = {0, 0, 0, 0x20}});
  const auto good = link_->AwaitResult();
  ASSERT_TRUE(good) << "the link goes on after failures";
  EXPECT_EQ(good->data.size(), 24u);
}

TEST_F(IsoTest, NobodySendsFlowControl) {
  Open({{1, 0x700, 0x708}});
  OpenRawPeer();
  const UNUM32 cop = link_->Send(Join(Message(0x700, {}), Payload(20)));
  const auto error = link_->Await(IsError);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->cop, cop);
  EXPECT_EQ(error->error.ErrorCodeId, PDU_ERR_EVT_TX_ERROR);
  EXPECT_EQ(error->error.ExtraErrorInfoId, 2u);
  EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));
}

TEST_F(IsoRealtimeTest, SenderObeysFlowControl) {
  link_->Set("CP_CanMaxNumWaitFrames", 2);
  Open({{1, 0x700, 0x708}});
  OpenRawPeer();
  const auto flow = [&](int status, int block, int separation) {
    peer_->Send(Message(0x708, {0x30 | status, block, separation}));
  };
  const auto start = [&] {
    const UNUM32 cop = link_->Send(Join(Message(0x700, {}), Payload(40)));
    EXPECT_TRUE(peer_->Await(
        [](const Event& event) { return event.data.size() > 4 && event.data[4] >> 4 == 1; }));
    return cop;
  };
  UNUM32 cop = start();
  flow(1, 0, 0);
  flow(0, 2, 5);
  std::vector<UNUM32> times;
  for (int i = 0; i < 2; ++i) times.push_back(peer_->AwaitResult()->timestamp);
  EXPECT_GE(times[1] - times[0], 5000u);
  EXPECT_LE(times[1] - times[0], 5500u);
  EXPECT_FALSE(peer_->AwaitResult(milliseconds(30))) << "the block is over";
  flow(0, 0, 0);
  EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));

  const struct {
    std::vector<int> statuses;
    UNUM32 reason;
  } failures[] = {{{2}, 6}, {{5}, 5}, {{1, 1, 1}, 7}};
  for (const auto& each : failures) {
    cop = start();
    for (const int status : each.statuses) flow(status, 0, 0);
    const auto error = link_->Await(IsError);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->error.ExtraErrorInfoId, each.reason);
    EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));
  }
}

TEST_F(IsoTest, OverridesStandBeforeWhatTheReceiverSays) {
  OpenPair();
  peer_->Set("CP_BlockSize", 2);
  peer_->Set("CP_StMin", 20);
  peer_->Open();
  link_->Set("CP_StMinOverride", 300);
  link_->Update();
  const auto duration = [&] {
    link_->Send(Join(Message(0x700, {}), Payload(700)));
    const auto heard = peer_->AwaitResult();
    EXPECT_TRUE(heard);
    return heard ? heard->timestamp - heard->startTimestamp : 0;
  };
  EXPECT_LT(duration(), 99 * 700u);
  link_->Set("CP_StMinOverride", 0xFFFF);
  link_->Update();
  EXPECT_GT(duration(), 49 * 20000u);
}

TEST_F(IsoTest, TwoConversationsAtOnceDontDisturbEachOther) {
  Open({{1, 0x700, 0x708}, {2, 0x710, 0x718}});
  TestLink one(library_, module_, kIso);
  TestLink two(library_, module_, kIso);
  one.SetTable({{3, 0x708, 0x700}});
  two.SetTable({{4, 0x718, 0x710}});
  one.Open();
  two.Open();
  const Bytes first = Join(Message(0x708, {}), Payload(1000));
  const Bytes second = Join(Message(0x718, {}), Payload(1200));
  one.Send(first);
  two.Send(second);
  link_->Send(Join(Message(0x700, {}), Payload(500)));
  std::map<UNUM32, Bytes> heard;
  for (int i = 0; i < 2; ++i) {
    const auto message = link_->AwaitResult();
    ASSERT_TRUE(message);
    heard[message->uniqueRespId] = message->data;
  }
  EXPECT_EQ(heard[1], first);
  EXPECT_EQ(heard[2], second);
  const auto back = one.AwaitResult();
  ASSERT_TRUE(back);
  EXPECT_EQ(back->data.size(), 504u);
}

TEST_F(IsoTest, ResponsePendingExtendsTheWait) {
  Open({{1, 0x7E0, 0x7E8}});
  const auto ask = [&](std::initializer_list<int> bytes) {
    const UNUM32 cop = link_->Start({.data = Message(0x7E0, bytes), .receiveCycles = 1});
    std::vector<Bytes> answers;
    link_->Await([&](const Event& event) {
      if (event.IsResult()) answers.push_back(Bytes(event.data.begin() + 4, event.data.end()));
      return event.cop == cop && event.IsStatus(PDU_COPST_FINISHED);
    });
    return answers;
  };
  ask({0x10, 0x02});
  const auto seed = ask({0x27, 0x01});
  ASSERT_EQ(seed.size(), 1u);
  const UNUM32 key =
      (UNUM32{seed[0][2]} << 24 | UNUM32{seed[0][3]} << 16 | UNUM32{seed[0][4]} << 8 | seed[0][5]) ^
      0x5EC0DE55;
  const auto byte = [&](int shift) { return static_cast<int>(key >> shift & 0xFF); };
  ask({0x27, 0x02, byte(24), byte(16), byte(8), byte(0)});
  const Bytes pending{0x7F, 0x31, 0x78};
  EXPECT_THAT(ask({0x31, 0x01, 0xFF, 0x00}),
              testing::ElementsAre(pending, pending, Bytes{0x71, 1, 0xFF, 0, 0}));
}

TEST_F(IsoRealtimeTest, ResponseOfAnotherHoldsNobodyForEver) {
  Open({{1, 0x700, 0x708}, {2, 0x710, 0x718}});
  OpenRawPeer();
  const Bytes mask{0xFF, 0xFF, 0xFF, 0xFF};
  const UNUM32 cop = link_->Start({.data = Message(0x700, {1}),
                                   .receiveCycles = 1,
                                   .expect = std::pair(mask, Message(0x708, {}))});
  EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_EXECUTING));
  peer_->Start({.data = Packed({Message(0x718, {0x10, 10, 1, 2, 3, 4, 5, 6}),
                                Message(0x718, {0x21, 7, 8, 9, 10, 0, 0, 0})}),
                .flags = {0, 0, 0, 0x20}});
  const auto others = link_->AwaitResult();
  ASSERT_TRUE(others);
  EXPECT_NE(others->cop, cop);
  EXPECT_EQ(others->data.size(), 14u);
  const auto error = link_->Await(IsError);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->cop, cop);
  EXPECT_EQ(error->error.ErrorCodeId, PDU_ERR_EVT_RX_TIMEOUT);
  EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));
}

TEST_F(IsoRealtimeTest, BrokenResponseOfAnotherFailsNobodyElse) {
  link_->Set("CP_Cr", 30000);
  Open({{1, 0x700, 0x708}, {2, 0x710, 0x718}});
  OpenRawPeer();
  TestLink::Request byIdentifier{.data = Message(0x700, {1}), .receiveCycles = 1, .from = {1}};
  TestLink::Request byAddress{.data = Message(0x700, {1}), .receiveCycles = 1};
  byAddress.expect = std::pair(Bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, Message(0x708, {0x55}));
  for (const TestLink::Request& request : {byIdentifier, byAddress}) {
    const UNUM32 cop = link_->Start(request);
    EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_EXECUTING));
    peer_->Send(Message(0x718, {0x10, 10, 1, 2, 3, 4, 5, 6}));  // and no more
    const auto broken = link_->Await(IsError);
    ASSERT_TRUE(broken);
    EXPECT_NE(broken->cop, cop);
    EXPECT_EQ(broken->error.ExtraErrorInfoId, 3u);
    peer_->Send(Message(0x708, {1, 0x55}));
    const auto answer = link_->AwaitResult();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->cop, cop);
    EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));
  }
}

TEST_F(IsoTest, UpdateTakesTheTableThatWasSetWhenItWasStarted) {
  Open({});
  OpenRawPeer();
  link_->IoCtl("PDU_IOCTL_SUSPEND_TX_QUEUE");
  link_->SetTable({{1, 0x700, 0x708}});
  const UNUM32 update = link_->Start({.type = PDU_COPT_UPDATEPARAM, .sendCycles = 0});
  link_->SetTable({{2, 0x710, 0x718}});
  link_->IoCtl("PDU_IOCTL_RESUME_TX_QUEUE");
  EXPECT_TRUE(link_->AwaitStatus(update, PDU_COPST_FINISHED));
  peer_->Start(
      {.data = Packed({Message(0x718, {1, 2}), Message(0x708, {1, 1})}), .flags = {0, 0, 0, 0x20}});
  EXPECT_EQ(link_->AwaitResult()->uniqueRespId, 1u);
}

TEST_F(IsoRealtimeTest, ReceiverIgnoresWhatIsNoFrameOfItsMessage) {
  link_->Set("CP_Br", 100000);
  link_->Set("CP_StartMsgIndEnable", 1);
  Open({{1, 0x700, 0x708}});
  OpenRawPeer();
  const auto starts = [&] {
    const auto events = link_->Drain();
    return std::count_if(events.begin(), events.end(),
                         [](const Event& event) { return event.Has(3, 0x02); });
  };
  const Bytes first = Message(0x708, {0x10, 20, 1, 2, 3, 4, 5, 6});
  const Bytes second = Message(0x708, {0x21, 7, 8, 9, 10, 11, 12, 13});
  const auto send = [&](const Bytes& frame) {
    EXPECT_TRUE(peer_->AwaitStatus(peer_->Send(frame), PDU_COPST_FINISHED));
  };
  send(Message(0x708, {0x10, 20, 1, 2, 3, 4, 5}));
  EXPECT_EQ(starts(), 0) << "a first frame has eight bytes";
  send(first);
  send(Message(0x708, {0x21, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE}));  // nobody asked for it
  const auto flow = peer_->AwaitResult();
  ASSERT_TRUE(flow) << "flow control comes after the pause";
  EXPECT_EQ(flow->data[4], 0x30);
  send(Message(0x708, {0x21, 7, 8, 9}));  // too short
  send(second);
  send(Message(0x708, {0x22, 14, 15, 16, 17, 18, 19, 20}));
  const auto message = link_->AwaitResult();
  ASSERT_TRUE(message);
  Bytes expected = Message(0x708, {});
  for (UNUM8 i = 1; i <= 20; ++i) expected.push_back(i);
  EXPECT_EQ(message->data, expected);
}

TEST_F(IsoRealtimeTest, FlowControlThatNobodyAcknowledgesEndsTheReception) {
  TestLink link(library_, module_, {.protocol = kIso.protocol, .pins = {3, 11}});
  link.Set("CP_Br", 200000);
  link.Set("CP_Ar", 20000);
  link.SetTable({{1, 0x700, 0x708}});
  link.Open();
  {
    TestLink peer(library_, module_, {.pins = {3, 11}});
    peer.Open();
    const UNUM32 cop = peer.Send(Message(0x708, {0x10, 20, 1, 2, 3, 4, 5, 6}));
    EXPECT_TRUE(peer.AwaitStatus(cop, PDU_COPST_FINISHED));
  }
  const auto error = link.Await(IsError, milliseconds(2000));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->error.ErrorCodeId, PDU_ERR_EVT_RX_ERROR);
  EXPECT_EQ(error->error.ExtraErrorInfoId, 10u);
}

TEST_F(IsoTest, LinksWithoutRawModeHavePayloadOnly) {
  TestLink link(library_, module_, {.protocol = kIso.protocol, .rawMode = false});
  link.SetTable({{0xE1, 0x7E0, 0x7E8}});
  link.Open();
  link.Start({.type = PDU_COPT_STARTCOMM, .sendCycles = 0});
  link.Start({.data = {0x09, 0x02}});
  const auto vin = link.AwaitResult();
  ASSERT_TRUE(vin);
  EXPECT_EQ(vin->uniqueRespId, 0xE1u);
  EXPECT_EQ(vin->data.size(), 20u);
  EXPECT_EQ(Bytes(vin->data.begin(), vin->data.begin() + 3), (Bytes{0x49, 0x02, 0x01}));
  EXPECT_EQ(vin->header, Message(0x7E8, {}));
  link.Set("CP_RequestAddrMode", 2);
  link.Set("CP_CanFuncReqId", 0x7DF);
  link.Set("CP_CanFuncReqFormat", 5);
  link.Update();
  link.Send({0x3E, 0x00});
  EXPECT_EQ(link.AwaitResult()->data, (Bytes{0x7E, 0x00}));
}

TEST_F(IsoRealtimeTest, LongTransferTakesTheTimeOfItsFrames) {
  OpenPair();
  peer_->Open();
  const auto begin = std::chrono::steady_clock::now();
  link_->Send(Join(Message(0x700, {}), Payload(4095)));
  const auto heard = peer_->AwaitResult();
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
  ASSERT_TRUE(heard);
  // A first frame, a flow control and 585 consecutive frames, each of 8 bytes: 111 bits at 500
  // kbit/s.
  constexpr double kExpected = 587 * 111 / 500e3;
  EXPECT_NEAR((heard->timestamp - heard->startTimestamp) / 1e6, kExpected, 0.05 * kExpected);
  EXPECT_GT(wall.count(), 0.95 * kExpected);
}

}  // namespace
}  // namespace virtual_vci_test
