// ComParams, the life of ComPrimitives, event queues.
#include <algorithm>
#include <cstring>

#include "tests/virtual_vci/pdu_fixture.h"

namespace virtual_vci_test {
namespace {

using testing::ElementsAre;

class CopTest : public PduTest {
 protected:
  explicit CopTest(const char* options = "Clock='instant'") : PduTest(options) {}
  void SetUp() override {
    PduTest::SetUp();
    module_ = Connect();
    library_.VirtualVciSetCyclic(module_, 0);
    link_ = std::make_unique<TestLink>(library_, module_);
    ASSERT_EQ(link_->Created(), PDU_STATUS_NOERROR);
  }
  void TearDown() override {
    link_.reset();
    PduTest::TearDown();
  }
  T_PDU_STATUS Status(UNUM32 cop) {
    T_PDU_STATUS status = 0;
    UNUM32 time = 0;
    UNUM32 extra = 0;
    const auto result =
        library_.PDUGetStatus(module_, link_->Handle(), cop, &status, &time, &extra);
    return result == PDU_STATUS_NOERROR ? status : 0;
  }
  /// What happened to a ComPrimitive, in order; ends with FINISHED or CANCELLED.
  std::vector<UNUM32> History(UNUM32 cop) {
    std::vector<UNUM32> steps;
    link_->Await([&](const Event& event) {
      if (event.cop == cop)
        steps.push_back(event.type == PDU_IT_STATUS ? event.status : event.type);
      return event.cop == cop &&
             (event.IsStatus(PDU_COPST_FINISHED) || event.IsStatus(PDU_COPST_CANCELLED));
    });
    return steps;
  }

  UNUM32 module_ = 0;
  std::unique_ptr<TestLink> link_;
};

class CopRealtimeTest : public CopTest {
 protected:
  CopRealtimeTest() : CopTest("Clock='realtime'") {}
};

TEST_F(CopTest, WorkingComParamsBecomeActiveByUpdateAndComeBackByRestore) {
  link_->Open();
  EXPECT_EQ(link_->Get("CP_Loopback"), 0u);
  EXPECT_EQ(link_->Set("CP_Loopback", 1), PDU_STATUS_NOERROR);
  EXPECT_EQ(link_->Get("CP_Loopback"), 1u);
  const auto echoes = [&] {
    const UNUM32 cop = link_->Send(Message(0x123, {1}));
    int count = 0;
    link_->Await([&](const Event& event) {
      count += event.Has(3, 0x01) ? 1 : 0;
      return event.cop == cop && event.IsStatus(PDU_COPST_FINISHED);
    });
    return count;
  };
  EXPECT_EQ(echoes(), 0) << "not active yet";
  link_->Update();
  EXPECT_EQ(echoes(), 1);
  link_->Set("CP_Loopback", 0);
  EXPECT_EQ(History(link_->Start({.type = PDU_COPT_RESTORE_PARAM, .sendCycles = 0})),
            (std::vector<UNUM32>{PDU_COPST_EXECUTING, PDU_COPST_FINISHED}));
  EXPECT_EQ(link_->Get("CP_Loopback"), 1u);
}

TEST_F(CopTest, ComParamsHaveTheirTypes) {
  const struct {
    const char* name;
    T_PDU_PT type;
    T_PDU_PC paramClass;
    UNUM32 value;
  } cases[] = {{"CP_Baudrate", PDU_PT_UNUM32, PDU_PC_BUSTYPE, 500000},
               {"CP_CanFillerByte", PDU_PT_UNUM8, PDU_PC_COM, 0x55},
               {"CP_P2Max", PDU_PT_UNUM32, PDU_PC_TIMING, 150000},
               {"CP_CanRespUSDTId", PDU_PT_UNUM32, PDU_PC_UNIQUE_ID, 0x7E8}};
  for (const auto& each : cases) {
    PDU_PARAM_ITEM* item = nullptr;
    ASSERT_EQ(
        library_.PDUGetComParam(module_, link_->Handle(), Id(PDU_OBJT_COMPARAM, each.name), &item),
        PDU_STATUS_NOERROR);
    EXPECT_EQ(item->ComParamDataType, each.type) << each.name;
    EXPECT_EQ(item->ComParamClass, each.paramClass) << each.name;
    UNUM32 value = 0;
    std::memcpy(&value, item->pComParamData, sizeof(value));
    EXPECT_EQ(value, each.value) << each.name;
    library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(item));
  }
}

TEST_F(CopTest, FieldComParamsKeepTheirBytes) {
  const UNUM32 id = Id(PDU_OBJT_COMPARAM, "CP_ChangeSpeedMessage");
  Bytes bytes{1, 2, 3, 4, 5, 6, 7};
  PDU_PARAM_BYTEFIELD_DATA field{12, 7, bytes.data()};
  PDU_PARAM_ITEM item{PDU_IT_PARAM, id, PDU_PT_BYTEFIELD, PDU_PC_BUSTYPE, &field};
  EXPECT_EQ(library_.PDUSetComParam(module_, link_->Handle(), &item), PDU_STATUS_NOERROR);
  PDU_PARAM_ITEM* read = nullptr;
  ASSERT_EQ(library_.PDUGetComParam(module_, link_->Handle(), id, &read), PDU_STATUS_NOERROR);
  const auto& back = *static_cast<PDU_PARAM_BYTEFIELD_DATA*>(read->pComParamData);
  EXPECT_EQ(Bytes(back.pDataArray, back.pDataArray + back.ParamActLen), bytes);
  EXPECT_EQ(back.ParamMaxLen, 12u);
  library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(read));
  field.ParamActLen = 13;
  EXPECT_EQ(library_.PDUSetComParam(module_, link_->Handle(), &item), PDU_ERR_INVALID_PARAMETERS);
  UNUM32 number = 0;
  PDU_PARAM_ITEM unknown{PDU_IT_PARAM, 4000, PDU_PT_UNUM32, PDU_PC_COM, &number};
  EXPECT_EQ(library_.PDUSetComParam(module_, link_->Handle(), &unknown),
            PDU_ERR_COMPARAM_NOT_SUPPORTED);
}

TEST_F(CopTest, ResponseTableIsKept) {
  EXPECT_EQ(link_->SetTable({{0x11, 0x7E0, 0x7E8}, {0x12, 0x7E1, 0x7E9}}), PDU_STATUS_NOERROR);
  PDU_UNIQUE_RESP_ID_TABLE_ITEM* table = nullptr;
  ASSERT_EQ(library_.PDUGetUniqueRespIdTable(module_, link_->Handle(), &table), PDU_STATUS_NOERROR);
  ASSERT_EQ(table->NumEntries, 2u);
  EXPECT_EQ(table->pUniqueData[1].UniqueRespIdentifier, 0x12u);
  ASSERT_EQ(table->pUniqueData[1].NumParamItems, 6u);
  EXPECT_EQ(table->pUniqueData[1].pParams[0].ComParamId, Id(PDU_OBJT_COMPARAM, "CP_CanRespUSDTId"));
  EXPECT_EQ(*static_cast<UNUM32*>(table->pUniqueData[1].pParams[0].pComParamData), 0x7E9u);
  library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(table));
  UNUM32 value = 1;
  PDU_PARAM_ITEM param{PDU_IT_PARAM, Id(PDU_OBJT_COMPARAM, "CP_Loopback"), PDU_PT_UNUM32,
                       PDU_PC_COM, &value};
  PDU_ECU_UNIQUE_RESP_DATA row{1, 1, &param};
  PDU_UNIQUE_RESP_ID_TABLE_ITEM bad{PDU_IT_UNIQUE_RESP_ID_TABLE, 1, &row};
  EXPECT_EQ(library_.PDUSetUniqueRespIdTable(module_, link_->Handle(), &bad),
            PDU_ERR_INVALID_PARAMETERS);
  param.ComParamId = 4000;
  EXPECT_EQ(library_.PDUSetUniqueRespIdTable(module_, link_->Handle(), &bad),
            PDU_ERR_COMPARAM_NOT_SUPPORTED);
}

TEST_F(CopTest, LinkStatusFollowsConnectionAndCommunication) {
  const auto status = [&] { return Status(PDU_HANDLE_UNDEF); };
  const auto told = [&](T_PDU_STATUS wanted) {
    return link_->AwaitStatus(PDU_HANDLE_UNDEF, wanted).has_value();
  };
  T_PDU_ERROR result = PDU_STATUS_NOERROR;
  EXPECT_EQ(status(), PDU_CLLST_OFFLINE);
  link_->Start({.type = PDU_COPT_STARTCOMM, .sendCycles = 0}, &result);
  EXPECT_EQ(result, PDU_ERR_CLL_NOT_CONNECTED);
  EXPECT_EQ(library_.PDUDisconnect(module_, link_->Handle()), PDU_ERR_CLL_NOT_CONNECTED);
  EXPECT_EQ(library_.PDUConnect(module_, link_->Handle()), PDU_STATUS_NOERROR);
  EXPECT_TRUE(told(PDU_CLLST_ONLINE));
  EXPECT_EQ(library_.PDUConnect(module_, link_->Handle()), PDU_ERR_CLL_CONNECTED);
  link_->Start({.type = PDU_COPT_STOPCOMM, .sendCycles = 0}, &result);
  EXPECT_EQ(result, PDU_ERR_CLL_NOT_STARTED);
  link_->Start({.type = PDU_COPT_STARTCOMM, .sendCycles = 0});
  EXPECT_TRUE(told(PDU_CLLST_COMM_STARTED));
  EXPECT_EQ(status(), PDU_CLLST_COMM_STARTED);
  link_->Start({.type = PDU_COPT_STOPCOMM, .sendCycles = 0});
  EXPECT_TRUE(told(PDU_CLLST_ONLINE));
  EXPECT_EQ(library_.PDUDisconnect(module_, link_->Handle()), PDU_STATUS_NOERROR);
  EXPECT_TRUE(told(PDU_CLLST_OFFLINE));
}

TEST_F(CopTest, SendingNeedsStartedCommunicationUnlessRaw) {
  TestLink cooked(library_, module_, {.rawMode = false});
  cooked.Open();
  T_PDU_ERROR result = PDU_STATUS_NOERROR;
  cooked.Start({.data = Message(0x123, {1})}, &result);
  EXPECT_EQ(result, PDU_ERR_CLL_NOT_STARTED);
  cooked.Start({.type = PDU_COPT_STARTCOMM, .sendCycles = 0});
  cooked.Start({.data = Message(0x123, {1})}, &result);
  EXPECT_EQ(result, PDU_STATUS_NOERROR);
}

TEST_F(CopTest, EveryTypeExecutesAndFinishesWithItsTag) {
  link_->Open();
  int tag = 0;
  for (const T_PDU_COPT type : {PDU_COPT_STARTCOMM, PDU_COPT_UPDATEPARAM, PDU_COPT_DELAY,
                                PDU_COPT_RESTORE_PARAM, PDU_COPT_SENDRECV, PDU_COPT_STOPCOMM}) {
    const bool sends = type == PDU_COPT_SENDRECV;
    const UNUM32 cop = link_->Start({.type = type,
                                     .data = sends ? Message(0x123, {1}) : Bytes{},
                                     .sendCycles = sends ? 1 : 0,
                                     .time = 5,
                                     .tag = &tag});
    ASSERT_NE(cop, PDU_HANDLE_UNDEF);
    const auto executing = link_->AwaitStatus(cop, PDU_COPST_EXECUTING);
    ASSERT_TRUE(executing);
    EXPECT_EQ(executing->tag, &tag);
    const auto finished = link_->AwaitStatus(cop, PDU_COPST_FINISHED);
    ASSERT_TRUE(finished);
    // The others take no time, but a slow machine may.
    const UNUM32 least = type == PDU_COPT_DELAY ? 5000 : 0;
    EXPECT_GE(finished->timestamp - executing->timestamp, least);
    EXPECT_EQ(Status(cop), 0u) << "its handle ends with it";
  }
}

TEST_F(CopTest, ComPrimitivesTakeTheirTurnInOrder) {
  link_->Open();
  std::vector<UNUM32> cops{link_->Start({.type = PDU_COPT_DELAY, .sendCycles = 0, .time = 50})};
  for (int i = 0; i < 3; ++i) cops.push_back(link_->Send(Message(0x123, {i})));
  std::vector<UNUM32> finished;
  link_->Await([&](const Event& event) {
    if (event.IsStatus(PDU_COPST_FINISHED)) finished.push_back(event.cop);
    return finished.size() == cops.size();
  });
  EXPECT_EQ(finished, cops);
}

TEST_F(CopRealtimeTest, CancellationAtEachStage) {
  link_->Open();
  const UNUM32 delay = link_->Start({.type = PDU_COPT_DELAY, .sendCycles = 0, .time = 10000});
  const UNUM32 waiting = link_->Send(Message(0x123, {1}));
  EXPECT_EQ(Status(delay), PDU_COPST_EXECUTING);
  EXPECT_EQ(Status(waiting), PDU_COPST_IDLE);
  EXPECT_EQ(link_->Cancel(waiting), PDU_STATUS_NOERROR);
  EXPECT_THAT(History(waiting), ElementsAre(PDU_COPST_CANCELLED));
  EXPECT_EQ(link_->Cancel(delay), PDU_STATUS_NOERROR);
  EXPECT_EQ(link_->Cancel(delay), PDU_ERR_INVALID_HANDLE);

  const UNUM32 receiving = link_->Start({.data = Message(0x123, {1}), .receiveCycles = 1});
  EXPECT_TRUE(link_->AwaitStatus(receiving, PDU_COPST_EXECUTING));
  EXPECT_EQ(link_->Cancel(receiving), PDU_STATUS_NOERROR);
  EXPECT_THAT(History(receiving), ElementsAre(PDU_COPST_CANCELLED));

  const UNUM32 cyclic =
      link_->Start({.data = Message(0x123, {1}), .sendCycles = PDU_CYCLES_INFINITE, .time = 20});
  EXPECT_TRUE(link_->AwaitStatus(cyclic, PDU_COPST_EXECUTING));
  std::this_thread::sleep_for(milliseconds(10));
  EXPECT_EQ(Status(cyclic), PDU_COPST_WAITING);
  EXPECT_EQ(link_->Cancel(cyclic), PDU_STATUS_NOERROR);
  EXPECT_THAT(History(cyclic), ElementsAre(PDU_COPST_CANCELLED));

  const UNUM32 listening = link_->Receive();
  EXPECT_EQ(link_->Cancel(listening), PDU_STATUS_NOERROR);
  EXPECT_THAT(History(listening), ElementsAre(PDU_COPST_EXECUTING, PDU_COPST_CANCELLED));
  const UNUM32 last = link_->Send(Message(0x123, {1}));
  EXPECT_TRUE(link_->AwaitStatus(last, PDU_COPST_FINISHED)) << "the queue goes on";
}

TEST_F(CopRealtimeTest, RepeatedMessageKeepsItsPeriodBesideOthers) {
  link_->Open();
  TestLink other(library_, module_);
  other.Open();
  const UNUM32 cyclic =
      link_->Start({.data = Message(0x321, {1}), .sendCycles = PDU_CYCLES_INFINITE, .time = 20});
  const UNUM32 second = link_->Start({.data = Message(0x322, {1}), .sendCycles = 3, .time = 5});
  EXPECT_TRUE(link_->AwaitStatus(second, PDU_COPST_FINISHED));
  std::map<UNUM8, std::vector<UNUM32>> times;
  while (times[0x21].size() < 6) {
    const auto frame = other.AwaitResult();
    ASSERT_TRUE(frame);
    times[frame->data[3]].push_back(frame->timestamp);
  }
  EXPECT_EQ(times[0x22].size(), 3u);
  EXPECT_NEAR(times[0x21].back() - times[0x21].front(), 5 * 20000, 500) << "from start to start";
  link_->Cancel(cyclic);
}

TEST_F(CopTest, ResponsesAreCountedAndTimedOut) {
  link_->Open();
  const Bytes mask{0xFF, 0xFF, 0xFF, 0xFF};
  const auto ask = [&](UNUM32 to, UNUM32 from, SNUM32 cycles) {
    return History(link_->Start({.data = Message(to, {2, 1, 0}),
                                 .receiveCycles = cycles,
                                 .expect = std::pair(mask, Message(from, {}))}));
  };
  EXPECT_THAT(ask(0x7E0, 0x7E8, 1),
              ElementsAre(PDU_COPST_EXECUTING, PDU_IT_RESULT, PDU_COPST_FINISHED));
  EXPECT_THAT(ask(0x7E0, 0x7EF, 1),
              ElementsAre(PDU_COPST_EXECUTING, PDU_IT_ERROR, PDU_COPST_FINISHED));
  EXPECT_THAT(ask(0x7DF, 0x7E8, 2),
              ElementsAre(PDU_COPST_EXECUTING, PDU_IT_RESULT, PDU_IT_ERROR, PDU_COPST_FINISHED));
  EXPECT_THAT(ask(0x7DF, 0x7E8, PDU_CYCLES_MULTIPLE),
              ElementsAre(PDU_COPST_EXECUTING, PDU_IT_RESULT, PDU_COPST_FINISHED));
}

TEST_F(CopTest, TemporaryComParamsAreForSendingOnlyAndNotPhysical) {
  link_->Open();
  T_PDU_ERROR result = PDU_STATUS_NOERROR;
  link_->Start({.type = PDU_COPT_UPDATEPARAM, .sendCycles = 0, .temporary = true}, &result);
  EXPECT_EQ(result, PDU_ERR_TEMPPARAM_NOT_ALLOWED);
  link_->Set("CP_Baudrate", 250000);
  link_->Start({.data = Message(0x123, {1}), .temporary = true}, &result);
  EXPECT_EQ(result, PDU_ERR_TEMPPARAM_NOT_ALLOWED);
}

TEST_F(CopTest, TemporaryComParamsHoldForOneComPrimitiveOnly) {
  link_->Open();
  TestLink listener(library_, module_);  // acknowledges what is sent
  listener.Open();
  const auto echoes = [&](bool temporary) {
    const UNUM32 cop = link_->Start({.data = Message(0x123, {1}), .temporary = temporary});
    return History(cop);
  };
  link_->Set("CP_Loopback", 1);
  EXPECT_THAT(echoes(true), ElementsAre(PDU_COPST_EXECUTING, PDU_IT_RESULT, PDU_COPST_FINISHED));
  EXPECT_EQ(link_->Get("CP_Loopback"), 0u) << "restored when the ComPrimitive has been started";
  EXPECT_THAT(echoes(true), ElementsAre(PDU_COPST_EXECUTING, PDU_COPST_FINISHED));
  link_->Set("CP_TransmitIndEnable", 1);
  EXPECT_THAT(echoes(false), ElementsAre(PDU_COPST_EXECUTING, PDU_COPST_FINISHED));
  EXPECT_THAT(echoes(true), ElementsAre(PDU_COPST_EXECUTING, PDU_IT_RESULT, PDU_COPST_FINISHED));
}

TEST_F(CopTest, TransmitQueueCanBeSuspendedAndCleared) {
  link_->Open();
  EXPECT_EQ(link_->IoCtl("PDU_IOCTL_SUSPEND_TX_QUEUE"), PDU_STATUS_NOERROR);
  const UNUM32 cleared = link_->Send(Message(0x123, {1}));
  EXPECT_EQ(Status(cleared), PDU_COPST_IDLE);
  EXPECT_EQ(link_->IoCtl("PDU_IOCTL_CLEAR_TX_QUEUE"), PDU_STATUS_NOERROR);
  EXPECT_THAT(History(cleared), ElementsAre(PDU_COPST_CANCELLED));
  const UNUM32 kept = link_->Send(Message(0x123, {2}));
  EXPECT_EQ(link_->IoCtl("PDU_IOCTL_RESUME_TX_QUEUE"), PDU_STATUS_NOERROR);
  EXPECT_THAT(History(kept), ElementsAre(PDU_COPST_EXECUTING, PDU_COPST_FINISHED));
  EXPECT_EQ(link_->IoCtl("PDU_IOCTL_SEND_BREAK"), PDU_ERR_ID_NOT_SUPPORTED);
  EXPECT_EQ(link_->IoCtl("PDU_IOCTL_READ_VBATT"), PDU_ERR_ID_NOT_SUPPORTED);
}

TEST_F(CopRealtimeTest, ClearingTheTransmitQueueLeavesWhatIsNoneOfIt) {
  TestLink slow(library_, module_, {.pins = {3, 11}});
  slow.Set("CP_Baudrate", 5000);  // a frame takes about 20 ms
  slow.Open();
  TestLink listener(library_, module_, {.pins = {3, 11}});
  listener.Set("CP_Baudrate", 5000);
  listener.Open();
  const auto awaitFrame = [&](UNUM8 first) {
    return listener.Await(
        [&](const Event& event) { return event.IsResult() && event.data[4] == first; });
  };
  const UNUM32 cyclic =
      slow.Start({.data = Message(0x100, {1}), .sendCycles = PDU_CYCLES_INFINITE, .time = 5});
  EXPECT_TRUE(awaitFrame(1));
  EXPECT_EQ(slow.IoCtl("PDU_IOCTL_CLEAR_TX_PENDING"), PDU_STATUS_NOERROR) << "it is on the wire";
  EXPECT_TRUE(awaitFrame(1));
  EXPECT_EQ(slow.Cancel(cyclic), PDU_STATUS_NOERROR);
  const UNUM32 asking = slow.Start({.data = Message(0x100, {2}), .receiveCycles = 1});
  EXPECT_TRUE(awaitFrame(2));
  EXPECT_EQ(slow.IoCtl("PDU_IOCTL_CLEAR_TX_PENDING"), PDU_STATUS_NOERROR);
  EXPECT_TRUE(slow.AwaitStatus(asking, PDU_COPST_FINISHED)) << "it waits for a response";
  const UNUM32 sending = slow.Send(Message(0x100, {3}));
  EXPECT_TRUE(slow.AwaitStatus(sending, PDU_COPST_EXECUTING));
  EXPECT_EQ(slow.IoCtl("PDU_IOCTL_CLEAR_TX_PENDING"), PDU_STATUS_NOERROR);
  EXPECT_TRUE(slow.AwaitStatus(sending, PDU_COPST_CANCELLED));
}

TEST_F(CopTest, ResetTellsOfWhatItCancels) {
  link_->Open();
  const UNUM32 cyclic =
      link_->Start({.data = Message(0x100, {1}), .sendCycles = PDU_CYCLES_INFINITE, .time = 5});
  EXPECT_TRUE(link_->AwaitStatus(cyclic, PDU_COPST_EXECUTING));
  EXPECT_EQ(link_->IoCtl("PDU_IOCTL_RESET"), PDU_STATUS_NOERROR);
  EXPECT_TRUE(link_->AwaitStatus(cyclic, PDU_COPST_CANCELLED));
}

TEST_F(CopTest, UnacknowledgedMessageIsRepeated) {
  TestLink alone(library_, module_, {.pins = {3, 11}});
  alone.Set("CP_CanTransmissionTime", 50000);
  alone.Open();
  const auto duration = [&](UNUM32 repetitions) {
    alone.Set("CP_RepeatReqCountApp", repetitions);
    alone.Update();
    const UNUM32 cop = alone.Send(Message(0x100, {1}));
    const auto begin = alone.AwaitStatus(cop, PDU_COPST_EXECUTING);
    const auto end = alone.AwaitStatus(cop, PDU_COPST_FINISHED);
    return begin && end ? end->timestamp - begin->timestamp : 0;
  };
  EXPECT_NEAR(duration(0), 50000, 3000);
  EXPECT_NEAR(duration(3), 4 * 50000, 4 * 3000);
}

TEST_F(CopTest, ClearingReceivedMessagesKeepsWhatSomebodyWaitsFor) {
  link_->Open();
  const UNUM32 cop = link_->Start({.data = Message(0x7E0, {2, 1, 0}), .receiveCycles = 1});
  while (Status(cop) != 0) std::this_thread::yield();
  EXPECT_EQ(link_->IoCtl("PDU_IOCTL_CLEAR_RX_QUEUE"), PDU_STATUS_NOERROR);
  EXPECT_THAT(History(cop), ElementsAre(PDU_COPST_EXECUTING, PDU_COPST_FINISHED));
}

TEST_F(CopTest, UnansweredRequestIsRepeated) {
  TestLink listener(library_, module_);
  listener.Open();
  link_->Open();
  link_->Set("CP_RepeatReqCountApp", 2);
  link_->Update();
  const UNUM32 cop = link_->Start({.data = Message(0x123, {2, 1, 0}), .receiveCycles = 1});
  const auto error = link_->Await([](const Event& event) { return event.type == PDU_IT_ERROR; });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->error.ErrorCodeId, PDU_ERR_EVT_RX_TIMEOUT);
  EXPECT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));
  const auto heard = listener.Drain();
  EXPECT_EQ(std::count_if(heard.begin(), heard.end(), [](auto& each) { return each.IsResult(); }),
            3);
}

TEST_F(CopTest, QueueLimits) {
  const struct {
    T_PDU_QUEUE_MODE mode;
    std::size_t kept;
    int first;
  } cases[] = {{PDU_QUE_LIMITED, 4, 0}, {PDU_QUE_CIRCULAR, 4, 6}, {PDU_QUE_UNLIMITED, 10, 0}};
  link_->Open();
  for (const auto& each : cases) {
    link_->Drain();
    PDU_IO_EVENT_QUEUE_PROPERTY_DATA properties{4, each.mode};
    PDU_DATA_ITEM item{PDU_IT_IO_EVENT_QUEUE_PROPERTY, &properties};
    EXPECT_EQ(link_->IoCtl("PDU_IOCTL_SET_EVENT_QUEUE_PROPERTIES", &item), PDU_STATUS_NOERROR);
    const int losses = link_->Losses();
    TestLink sender(library_, module_);
    sender.Open();
    for (int i = 0; i < 10; ++i) {  // of alternating kinds, so that they don't arrive packed
      const bool extended = i % 2 != 0;
      const UNUM32 cop = sender.Start(
          {.data = Message(0x123, {i}), .flags = {0, 0, extended ? UNUM8{1} : UNUM8{0}, 0}});
      ASSERT_TRUE(sender.AwaitStatus(cop, PDU_COPST_FINISHED));
    }
    const bool loses = each.mode != PDU_QUE_UNLIMITED;
    EXPECT_TRUE(link_->AwaitLosses(losses + (loses ? 1 : 0))) << each.mode;
    const auto events = link_->Drain();
    ASSERT_EQ(events.size(), each.kept) << each.mode;
    EXPECT_EQ(link_->Losses() != losses, loses) << each.mode;
    EXPECT_EQ(events[0].data[4], each.first) << each.mode;
  }
  PDU_IO_EVENT_QUEUE_PROPERTY_DATA properties{0, PDU_QUE_LIMITED};
  PDU_DATA_ITEM item{PDU_IT_IO_EVENT_QUEUE_PROPERTY, &properties};
  EXPECT_EQ(link_->IoCtl("PDU_IOCTL_SET_EVENT_QUEUE_PROPERTIES", &item),
            PDU_ERR_INVALID_PARAMETERS);
  properties = {4, 3};
  EXPECT_EQ(link_->IoCtl("PDU_IOCTL_SET_EVENT_QUEUE_PROPERTIES", &item),
            PDU_ERR_INVALID_PARAMETERS);
}

TEST_F(CopTest, SeveralItemsInOneCall) {
  link_->Open();
  const UNUM32 cop = link_->Send(Message(0x123, {1}));
  while (Status(cop) != 0) std::this_thread::yield();
  PDU_EVENT_ITEM* items[8];
  UNUM32 count = 8;
  ASSERT_EQ(library_.PDUGetEventItems(module_, link_->Handle(), &count, items), PDU_STATUS_NOERROR);
  EXPECT_EQ(count, 4u) << "online, receiving, executing, finished";
  EXPECT_EQ(library_.PDUDestroyItems(count, reinterpret_cast<PDU_ITEM**>(items)),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.PDUGetEventItems(module_, link_->Handle(), &(count = 8), items),
            PDU_ERR_EVENT_QUEUE_EMPTY);
}

TEST_F(CopTest, CallbackComesOnceForEachTimeTheQueueFills) {
  link_->Open();
  link_->Drain();
  for (int i = 0; i < 20; ++i) {
    const int before = link_->Callbacks();
    const UNUM32 cop = link_->Send(Message(0x123, {1}));
    ASSERT_TRUE(link_->AwaitStatus(cop, PDU_COPST_FINISHED));
    link_->Drain();
    EXPECT_LE(link_->Callbacks() - before, 3) << "two items, and one from the round before at most";
  }
}

}  // namespace
}  // namespace virtual_vci_test
