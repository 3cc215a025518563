#include "channel/event_processor.h"

#include <gtest/gtest.h>

#include <thread>

#include "passbridge/j2534.h"
#include "support/scripted_pdu.h"

namespace passbridge {
namespace {

using test::ScriptedPdu;

/// A processor whose thread is not running: items are handed to its handlers directly.
struct EventProcessorTest : testing::Test {
  pdu::Item<PDU_EVENT_ITEM> StatusItem(T_PDU_STATUS status, UNUM32 hCop) {
    return pdu::Item<PDU_EVENT_ITEM>(pdu.Items().MakeStatus(status, hCop));
  }

  ScriptedPdu pdu;
  CopWaiter waiter;
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
  EXPECT_EQ(pdu.Items().Alive(), 0U);
}

TEST_F(EventProcessorTest, StatusCodesOutsideTheirRangeFail) {
  struct Case {
    UNUM32 hCop;
    T_PDU_STATUS code;
    Status status;
  };
  for (const Case& c : {Case{PDU_HANDLE_UNDEF, PDU_CLLST_OFFLINE, STATUS_NOERROR},
                        Case{PDU_HANDLE_UNDEF, PDU_CLLST_COMM_STARTED, STATUS_NOERROR},
                        Case{PDU_HANDLE_UNDEF, 0x8053, ERR_FAILED},
                        Case{7, PDU_COPST_IDLE, STATUS_NOERROR}, Case{7, 0x8015, ERR_FAILED}}) {
    EXPECT_EQ(processor.ProcessStatusCode(StatusItem(c.code, c.hCop)), c.status) << c.code;
  }
  EXPECT_EQ(processor.ProcessStatusCode({}), ERR_NULL_PARAMETER);
  EXPECT_EQ(processor.ProcessErrorData({}), ERR_NULL_PARAMETER);
  EXPECT_EQ(pdu.Items().Alive(), 0U);
}

TEST_F(EventProcessorTest, FailingDestroyIsMapped) {
  pdu.PDUDestroyItem.Next({PDU_ERR_INVALID_HANDLE});
  EXPECT_EQ(processor.ProcessStatusCode(StatusItem(PDU_COPST_FINISHED, 7)), ERR_INVALID_CHANNEL_ID);
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

  {
    CopWait neverWaited(shared, 0);  // an exception came between its start and its wait
    processor.AddCopCondition(8, neverWaited.Waiter(), true);
  }
  processor.ProcessStatusCode(StatusItem(PDU_COPST_FINISHED, 8));  // tells nobody
}

TEST_F(EventProcessorTest, StopEndsEveryWaitAndWhatOutlivesItIsHarmless) {
  CopWait mine(shared, 10000);
  processor.AddCopCondition(1, mine.Waiter(), true);
  std::thread stopper([&] { processor.Stop(); });
  EXPECT_EQ(mine.Wait(1), CopEnd::Abandoned);
  stopper.join();
  EXPECT_EQ(processor.GetPendingTxCopCount(), 0U);
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
