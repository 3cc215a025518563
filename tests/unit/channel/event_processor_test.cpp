#include "channel/event_processor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "passbridge/j2534.h"
#include "support/pdu_fixture.h"
#include "support/trace_observer.h"

namespace passbridge {
namespace {

/// The channel behind a processor: it notes what it is told, and answers as the test says.
struct ScriptedSink final : EventSink {
  Status AddResultData(pdu::SharedEventItem item) override {
    handles.push_back(item->hCop);
    return add ? add() : Status{STATUS_NOERROR};
  }
  void NotePduError(UNUM32 code) override { pduError = code; }
  void LoseVehicle() override { ++losses; }

  std::function<Status()> add;
  std::vector<UNUM32> handles;  // of the results
  UNUM32 pduError = 0;
  int losses = 0;
};

/// A processor whose thread has ended: items are handled when the test says so.
struct EventProcessorTest : test::PduFixture {
  EventProcessorTest() {
    EXPECT_EQ(processor.Initialize(&sink), STATUS_NOERROR);
    processor.Stop();
    processor.Serve({kModule, kLink});
  }
  ~EventProcessorTest() override { processor.Stop(); }

  pdu::Item<PDU_EVENT_ITEM> StatusItem(T_PDU_STATUS status, UNUM32 hCop) {
    return pdu::Item<PDU_EVENT_ITEM>(pdu.Items().MakeStatus(status, hCop));
  }
  /// Hands an item to the processor as the D-PDU library's queue does.
  Status Process(PDU_EVENT_ITEM* item) {
    pdu.Queue(kModule, kLink, item);
    return processor.ProcessEventItem();
  }

  static constexpr UNUM32 kModule = 1;
  static constexpr UNUM32 kLink = 0x100;
  CopWaiter waiter;
  ScriptedSink sink;
  const std::shared_ptr<CJ2534EventProcessor> shared = std::make_shared<CJ2534EventProcessor>();
  CJ2534EventProcessor& processor = *shared;
};

TEST_F(EventProcessorTest, EndOfACopWakesItsWaiterAndRemovesItsCondition) {
  for (const T_PDU_STATUS end :
       {T_PDU_STATUS{PDU_COPST_FINISHED}, T_PDU_STATUS{PDU_COPST_CANCELLED}}) {
    waiter.event.Reopen();
    processor.AddCopCondition(7, &waiter, true);
    EXPECT_EQ(processor.GetPendingTxCopCount(), 1U);
    EXPECT_EQ(processor.ProcessStatusCode(StatusItem(PDU_COPST_EXECUTING, 7)), STATUS_NOERROR);
    EXPECT_EQ(processor.CheckCopCondition(7, &waiter), STATUS_NOERROR) << "still to be waited for";
    EXPECT_FALSE(waiter.event.TimedWait(0));

    EXPECT_EQ(processor.ProcessStatusCode(StatusItem(end, 7)), STATUS_NOERROR);
    EXPECT_TRUE(waiter.event.TimedWait(0));
    EXPECT_EQ(processor.CheckCopCondition(7, &waiter), ERR_FAILED);
    EXPECT_EQ(processor.GetPendingTxCopCount(), 0U);
  }
}

TEST_F(EventProcessorTest, FetchFailuresAreReportedAndOnlyALossIsOne) {
  struct Case {
    T_PDU_ERROR result;
    Status status;
    const char* report;
    int losses = 0;
  };
  const char* const lost = "0D090005 Device is disconnecte.";
  for (const Case& c :
       {Case{PDU_ERR_EVENT_QUEUE_EMPTY, ERR_BUFFER_EMPTY, "0D090001 The Event Queue was empty."},
        Case{PDU_STATUS_NOERROR, ERR_FAILED, "0D090002 NULL Event Item was returned."},
        Case{PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID, "0D090003 CLL Handle was invalid."},
        Case{PDU_ERR_CLL_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED,
             "0D090004 CLL was not connected."},
        Case{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED, lost, 1},
        Case{PDU_ERR_MODULE_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED, lost, 1},
        Case{PDU_ERR_FCT_FAILED, ERR_FAILED, "0D090006 Unknown Error getting Event Item."}}) {
    sink.losses = 0;
    pdu.PDUGetEventItem.Does([&](UNUM32, UNUM32, PDU_EVENT_ITEM** item) {
      // What a failed call leaves in its output is no item.
      if (c.result != PDU_STATUS_NOERROR) *item = reinterpret_cast<PDU_EVENT_ITEM*>(8);
      return c.result;
    });
    bool fetched = false;
    const test::Outcome outcome =
        test::Observe([&] { return processor.ProcessEventItem(&fetched); });
    test::ExpectReport(outcome, c.status, c.report);
    EXPECT_EQ(outcome.recorded, 0U) << "nothing that an application would be told";
    EXPECT_EQ(sink.losses, c.losses) << c.report;
    EXPECT_FALSE(fetched);
  }
  pdu.PDUGetEventItem.Does({});
  EXPECT_EQ(pdu.Calls().Of("PDUGetEventItem").back(), "PDUGetEventItem(1, 0x100, out)");
}

TEST_F(EventProcessorTest, ItemsThatCannotBeHandledAreReportedAndGivenBack) {
  auto& items = pdu.Items();
  const std::string unhandled = "0D090007 Error Processing Event Item.";
  struct Case {
    PDU_EVENT_ITEM* item;
    Status status;
    std::string report;  // of the handler
    Location recorded = 0;
  };
  const std::vector<Case> cases{
      Case{items.MakeEvent(PDU_IT_STATUS, nullptr), ERR_NULL_PARAMETER,
           "0D070001 Invalid pointer to EventItem."},
      Case{items.MakeStatus(0x8053, PDU_HANDLE_UNDEF), ERR_FAILED,
           "0D070002 Unknown CLL Status Code (00008053)."},
      Case{items.MakeStatus(0x804F, PDU_HANDLE_UNDEF), ERR_FAILED,
           "0D070002 Unknown CLL Status Code (0000804F)."},
      Case{items.MakeStatus(0x8015, 7), ERR_FAILED, "0D070003 Unknown COP Status Code (00008015)."},
      Case{items.MakeEvent(PDU_IT_ERROR, nullptr), ERR_NULL_PARAMETER,
           "0D080002 Error creating J2534 PassThruMsg."},
      Case{items.MakeError(0x101, PDU_HANDLE_UNDEF, nullptr, 0x22), ERR_FAILED,
           "0D080004 Unknown CLL Error Code (00000101), Extra Info (00000022).", 0x0D080005},
      Case{items.MakeInfo(PDU_INFO_RSC_LOCK_CHG), ERR_FAILED, unhandled},
      Case{items.MakeEvent(0x1234, nullptr), ERR_FAILED, unhandled}};
  std::size_t left = items.Alive();
  for (const Case& c : cases) {
    const test::Outcome outcome = test::Observe([&] { return Process(c.item); });
    test::ExpectReported(outcome, c.status, c.report);
    test::ExpectReport(outcome, c.status, unhandled);
    EXPECT_EQ(outcome.recorded, c.recorded) << c.report;
    EXPECT_EQ(items.Alive(), --left) << c.report;
  }
  EXPECT_EQ(processor.ProcessStatusCode({}), ERR_NULL_PARAMETER);
  test::ExpectReport(test::Observe([&] { return processor.ProcessErrorData({}); }),
                     ERR_NULL_PARAMETER, "0D080001 NULL Event Item Pointer.");
  for (const T_PDU_STATUS code : {T_PDU_STATUS{PDU_CLLST_OFFLINE}, T_PDU_STATUS{PDU_CLLST_ONLINE},
                                  T_PDU_STATUS{PDU_CLLST_COMM_STARTED}}) {
    EXPECT_EQ(Process(items.MakeStatus(code, PDU_HANDLE_UNDEF)), STATUS_NOERROR) << code;
  }
  EXPECT_EQ(Process(items.MakeStatus(PDU_COPST_IDLE, 7)), STATUS_NOERROR);
}

TEST_F(EventProcessorTest, FailingDestroyIsMappedAndEndsNoWait) {
  struct Case {
    T_PDU_ERROR result;
    Status status;
  };
  processor.AddCopCondition(7, &waiter, true);
  for (const Case& c :
       {Case{PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
        Case{PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID},
        Case{PDU_ERR_ID_NOT_SUPPORTED, ERR_NOT_SUPPORTED}, Case{PDU_ERR_FCT_FAILED, ERR_FAILED}}) {
    for (const bool isError : {false, true}) {
      PDU_EVENT_ITEM* const item =
          isError ? pdu.Items().MakeError(0x101, 7) : pdu.Items().MakeStatus(PDU_COPST_FINISHED, 7);
      pdu.PDUDestroyItem.Next({c.result});
      test::ExpectReported(
          test::Observe([&] { return Process(item); }), c.status,
          (isError ? "0D080003" : "0D070001") + std::string(" Error Destroying Event Item."));
      pdu.Items().Destroy(item);
      EXPECT_FALSE(waiter.event.TimedWait(0));
    }
  }
}

TEST_F(EventProcessorTest, ErrorOfACopIsNotedAndEndsItsWait) {
  processor.AddCopCondition(7, &waiter, true);
  const test::Outcome outcome =
      test::Observe([&] { return Process(pdu.Items().MakeError(0x101, 7, nullptr, 0x22)); });
  test::ExpectReported(outcome, STATUS_NOERROR, "0D080005 Code (00000101), Extra Info (00000022).");
  EXPECT_EQ(LastErrorText(), "(0D080005:00000101) Code (00000101), Extra Info (00000022).\r\n");
  EXPECT_EQ(record.LastStatus(), std::uint32_t{ERR_FAILED});
  EXPECT_EQ(sink.pduError, 0x101U);
  EXPECT_TRUE(waiter.event.TimedWait(0));
  EXPECT_EQ(processor.GetPendingTxCopCount(), 0U);
  test::ExpectReport(test::Observe([&] { return processor.CheckCopCondition(7, &waiter); }),
                     ERR_FAILED, "0D040001 CoP was not Found");
  Process(pdu.Items().MakeStatus(PDU_COPST_CANCELLED, 7));
  test::ExpectReport(test::Observe([&] { return processor.CheckCopCondition(7, &waiter); }),
                     ERR_FAILED, "0D040000 CoP completed");
  test::ExpectReport(test::Observe([&] { return processor.RemoveCopCondition(7, &waiter); }),
                     ERR_FAILED, "0D030001 CoP was not Found");
}

TEST_F(EventProcessorTest, ResultsGoToTheSinkAndItsFailuresAreReported) {
  EXPECT_EQ(Process(pdu.Items().MakeResult({.hCop = 9})), STATUS_NOERROR);
  sink.add = [] { return Status{ERR_INVALID_MSG}; };
  const auto process = [this] { return Process(pdu.Items().MakeResult({.hCop = 10})); };
  test::ExpectReported(test::Observe(process), ERR_INVALID_MSG,
                       "0D050001 Error adding J2534 PassThruMsg to Receive Buffer.");
  sink.add = []() -> Status { throw std::bad_alloc(); };
  test::ExpectReport(test::Observe(process), ERR_FAILED, "0D090007 Error Processing Event Item.");
  EXPECT_EQ(sink.handles, (std::vector<UNUM32>{9, 10, 10}));
  EXPECT_EQ(pdu.Items().Alive(), 0U) << "the sink kept none";
}

TEST_F(EventProcessorTest, ThreadGoesOnAfterAnyFailure) {
  test::ExpectReport(test::Observe([] { return CJ2534EventProcessor().Initialize(nullptr); }),
                     ERR_NULL_PARAMETER, "0D010001 Invalid pointer to J2534 Channel.");
  processor.AddCopCondition(7, &waiter, true);
  pdu.Queue(kModule, kLink, pdu.Items().MakeInfo(PDU_INFO_RSC_LOCK_CHG));
  pdu.Queue(kModule, kLink, pdu.Items().MakeEvent(PDU_IT_STATUS, nullptr));
  pdu.Queue(kModule, kLink, pdu.Items().MakeStatus(PDU_COPST_FINISHED, 7));
  EXPECT_EQ(processor.Initialize(&sink), STATUS_NOERROR);
  EXPECT_TRUE(waiter.event.TimedWait(10000)) << "one signal for all";
  EXPECT_EQ(waiter.end, CopEnd::Completed);
}

TEST_F(EventProcessorTest, HandleThatIsUsedAgainIsPendingAgain) {
  processor.AddCopCondition(7, nullptr, true);
  processor.ProcessStatusCode(StatusItem(PDU_COPST_FINISHED, 7));
  processor.AddCopCondition(7, &waiter, true);
  EXPECT_EQ(processor.CheckCopCondition(7, &waiter), STATUS_NOERROR);
}

TEST_F(EventProcessorTest, WaitEndsWithItsOwnCopOnly) {
  CopWait mine(shared, 1);
  processor.AddCopCondition(1, mine.Waiter(), true);
  processor.AddCopCondition(2, &waiter, true);
  processor.ProcessStatusCode(StatusItem(PDU_COPST_FINISHED, 2));
  EXPECT_EQ(mine.Wait(1), CopEnd::Pending) << "the other CoP's end is not this one's";
  EXPECT_EQ(processor.RemoveCopCondition(1, nullptr), ERR_FAILED)
      << "a wait that gave up is forgotten";

  CopWait next(shared, 10000);
  processor.AddCopCondition(3, next.Waiter(), true);
  std::thread ender([&] { processor.ProcessStatusCode(StatusItem(PDU_COPST_FINISHED, 3)); });
  EXPECT_EQ(next.Wait(3), CopEnd::Completed);
  ender.join();
}

TEST_F(EventProcessorTest, WaitForgetsOnlyItself) {
  // A library that gives the handle of a CoP whose end nobody has seen yet to the next one.
  auto first = std::make_unique<CopWait>(shared, 0);
  CopWait second(shared, 0);
  processor.AddCopCondition(7, first->Waiter(), true);
  processor.AddCopCondition(7, second.Waiter(), true);
  processor.ProcessStatusCode(StatusItem(PDU_COPST_FINISHED, 7));
  EXPECT_EQ(first->Wait(7), CopEnd::Completed) << "the one that was started first";
  EXPECT_EQ(processor.CheckCopCondition(7, second.Waiter()), STATUS_NOERROR);
  first.reset();
  processor.ProcessStatusCode(StatusItem(PDU_COPST_FINISHED, 7));
  EXPECT_EQ(second.Wait(7), CopEnd::Completed);

  auto neverWaited = std::make_unique<CopWait>(shared, 0);
  CopWaiter* const gone = neverWaited->Waiter();
  processor.AddCopCondition(8, gone, true);
  neverWaited.reset();  // an exception came between its start and its wait
  EXPECT_EQ(processor.CheckCopCondition(8, gone), ERR_FAILED) << "nobody is to be told";
  EXPECT_EQ(processor.GetPendingTxCopCount(), 1U) << "of the CoP that is pending all the same";
  processor.ProcessStatusCode(StatusItem(PDU_COPST_FINISHED, 8));
  EXPECT_EQ(processor.GetPendingTxCopCount(), 0U);
}

TEST_F(EventProcessorTest, StopEndsEveryWaitAndWhatOutlivesItIsHarmless) {
  CopWait mine(shared, 10000);
  processor.AddCopCondition(1, mine.Waiter(), true);
  std::thread stopper([&] { processor.Stop(); });
  EXPECT_EQ(mine.Wait(1), CopEnd::Abandoned);
  stopper.join();
  EXPECT_EQ(processor.GetPendingTxCopCount(), 0U);
}

TEST_F(EventProcessorTest, StopEndsTheWaitForACopThatIsStartedMeanwhile) {
  std::atomic<bool> isBusy{false};
  std::atomic<bool> goOn{false};
  sink.add = [&] {
    isBusy = true;
    while (!goOn) std::this_thread::yield();
    return Status{STATUS_NOERROR};
  };
  processor.AddCopCondition(1, &waiter, true);
  pdu.Queue(kModule, kLink, pdu.Items().MakeResult({}));
  EXPECT_EQ(processor.Initialize(&sink), STATUS_NOERROR);
  while (!isBusy) std::this_thread::yield();
  std::thread stopper([this] { processor.Stop(); });
  waiter.event.Wait();
  CopWaiter late;
  processor.AddCopCondition(2, &late, true);
  goOn = true;
  stopper.join();
  EXPECT_TRUE(late.event.TimedWait(0));
  EXPECT_EQ(late.end, CopEnd::Abandoned);
}

TEST(EventTest, EndReleasesEveryWaitUntilItIsReopened) {
  CJ2534Event event;
  event.End();
  EXPECT_TRUE(event.TimedWait(10000));
  event.Wait();
  event.Reopen();
  EXPECT_FALSE(event.TimedWait(0));
}

TEST(EventTest, RemembersOneSetForOneWait) {
  CJ2534Event event;
  event.Set();
  event.Set();
  EXPECT_TRUE(event.TimedWait(0));
  EXPECT_FALSE(event.TimedWait(0));
  event.Set();
  event.Reset();
  EXPECT_FALSE(event.TimedWait(1));
}

}  // namespace
}  // namespace passbridge
