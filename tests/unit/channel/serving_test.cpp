// Who takes the items of a link's queue: the event thread, or a thread that waits for them.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <numeric>
#include <thread>
#include <vector>

#include "channel/event_processor.h"
#include "support/pdu_fixture.h"

namespace passbridge {
namespace {

constexpr UNUM32 kServedModule = 1;
constexpr UNUM32 kServedLink = 0x100;
constexpr std::uint32_t kLong = 10000;  // ms

/// Notes which thread handles which result, and does then what the test says.
struct NotingSink final : EventSink {
  Status AddResultData(pdu::SharedEventItem item) override {
    const UNUM32 handle = item->hCop;
    {
      const platform::MutexLock lock(mutex);
      handles.push_back(handle);
      threads.push_back(std::this_thread::get_id());
    }
    if (onResult) onResult(handle);
    ++handled;
    return STATUS_NOERROR;
  }
  void NotePduError(UNUM32 /*code*/) override {}
  void LoseVehicle() override {}

  std::function<void(UNUM32 handle)> onResult;
  platform::Mutex mutex;
  std::vector<UNUM32> handles;
  std::vector<std::thread::id> threads;
  std::atomic<std::size_t> handled{0};
};

struct ServingTest : test::PduFixture {
  ServingTest() {
    EXPECT_EQ(processor.Initialize(&sink), STATUS_NOERROR);
    processor.Serve({kServedModule, kServedLink});
    while (pdu.Calls().Of("PDUGetEventItem").empty()) std::this_thread::yield();
  }
  ~ServingTest() override { processor.Stop(); }

  void Queue(UNUM32 handle) {
    pdu.Queue(kServedModule, kServedLink, pdu.Items().MakeResult({.hCop = handle}));
  }
  /// What the callback of the D-PDU library does.
  void Announce() {
    if (platform::WakeUp* const sleeper = processor.Signal()) sleeper->Wake();
  }
  bool WaitUntilHandled(std::size_t count) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLong);
    while (sink.handled < count && std::chrono::steady_clock::now() < end) {
      std::this_thread::yield();
    }
    return sink.handled == count;
  }
  /// Has this thread wait until a result comes.
  void AwaitResult(UNUM32 handle) {
    const std::size_t before = sink.handled;
    sink.onResult = [this](UNUM32) { event.Set(); };
    std::thread vci([&] {
      while (!isWaiting) std::this_thread::yield();
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
      Queue(handle);
      Announce();
    });
    isWaiting = true;
    EXPECT_TRUE(processor.Await(event, kLong));
    vci.join();
    isWaiting = false;
    EXPECT_TRUE(WaitUntilHandled(before + 1));
  }
  /// Has this thread wait for results until it has handled one of them itself: the event thread may
  /// be quicker when a busy machine lets it.
  /// @return the results that came until then
  UNUM32 ServeOnce(UNUM32 firstHandle) {
    constexpr UNUM32 kMostTries = 100;
    for (UNUM32 count = 1; count <= kMostTries; ++count) {
      AwaitResult(firstHandle + count - 1);
      if (sink.threads.back() == std::this_thread::get_id()) return count;
    }
    ADD_FAILURE() << "it never handles what it waits for";
    return kMostTries;
  }

  NotingSink sink;
  CJ2534Event event;
  std::atomic<bool> isWaiting{false};
  const std::shared_ptr<CJ2534EventProcessor> shared = std::make_shared<CJ2534EventProcessor>();
  CJ2534EventProcessor& processor = *shared;
};

TEST_F(ServingTest, WaitingThreadHandlesWhatItWaitsForItself) {
  ServeOnce(1);
  event.Set();
  EXPECT_TRUE(processor.Await(event, 0)) << "set before";
  EXPECT_FALSE(processor.Await(event, 20)) << "nothing comes";
}

TEST_F(ServingTest, WhatNobodyWaitsForIsHandledByTheEventThread) {
  Queue(1);
  Announce();
  EXPECT_TRUE(WaitUntilHandled(1));
  EXPECT_NE(sink.threads.front(), std::this_thread::get_id());
  UNUM32 last = 1 + ServeOnce(2);
  // For a while after that nobody is woken for what comes.
  for (int i = 0; i < 3; ++i) {
    Queue(++last);
    Announce();
    EXPECT_TRUE(WaitUntilHandled(last));
    EXPECT_NE(sink.threads.back(), std::this_thread::get_id());
    std::this_thread::sleep_for(std::chrono::milliseconds(2 * ServingRole::kGrace));
  }
  std::vector<UNUM32> inOrder(last);
  std::iota(inOrder.begin(), inOrder.end(), 1U);
  EXPECT_EQ(sink.handles, inOrder);
}

TEST_F(ServingTest, WhatIsQueuedIsHandledAtOnceWhenItIsAskedFor) {
  const UNUM32 next = ServeOnce(1) + 1;
  Queue(next);
  Announce();
  processor.ServeQueued();
  EXPECT_TRUE(WaitUntilHandled(next)) << "by this thread, or by the event thread just now";
}

TEST_F(ServingTest, ManyItemsAreHandledInTheirOrderWhoeverServes) {
  constexpr UNUM32 kMany = 1500;  // more than one thread takes in a row
  sink.onResult = [this](UNUM32 handle) {
    if (handle == 3) event.Set();
  };
  std::vector<UNUM32> expected;
  for (UNUM32 handle = 0; handle < kMany; ++handle) {
    Queue(handle);
    expected.push_back(handle);
  }
  std::thread vci([this] { Announce(); });
  EXPECT_TRUE(processor.Await(event, kLong));
  vci.join();
  EXPECT_TRUE(WaitUntilHandled(kMany));
  EXPECT_EQ(sink.handles, expected);
}

TEST_F(ServingTest, ThreadThatWaitsBesideTheOneThatServesIsToldToo) {
  CJ2534Event other;
  sink.onResult = [&](UNUM32 handle) { (handle == 1 ? other : event).Set(); };
  std::thread serving([&] { EXPECT_TRUE(processor.Await(event, kLong)); });
  std::thread beside([&] { EXPECT_TRUE(processor.Await(other, kLong)); });
  std::this_thread::sleep_for(std::chrono::milliseconds(10));
  Queue(1);
  Announce();
  EXPECT_TRUE(WaitUntilHandled(1));
  // Whichever serves is gone, and the other one still hears of what comes.
  Queue(2);
  Announce();
  serving.join();
  beside.join();
  EXPECT_EQ(sink.handles, (std::vector<UNUM32>{1, 2}));
}

TEST_F(ServingTest, StopWaitsForTheOneThatServesAndLetsItGoOnWaiting) {
  std::atomic<bool> isBusy{false};
  std::atomic<bool> goOn{false};
  std::atomic<bool> isStopped{false};
  sink.onResult = [&](UNUM32) {
    isBusy = true;
    while (!goOn) std::this_thread::yield();
  };
  std::thread serving([&] { EXPECT_TRUE(processor.Await(event, kLong)); });
  std::this_thread::sleep_for(std::chrono::milliseconds(10));
  Queue(1);
  Announce();
  while (!isBusy) std::this_thread::yield();
  std::thread stopper([&] {
    processor.Stop();
    isStopped = true;
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_FALSE(isStopped) << "the sink is in use";
  goOn = true;
  stopper.join();
  Queue(2);
  Announce();
  std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(sink.handles, std::vector<UNUM32>{1}) << "nothing is handled any more";
  event.Set();  // by someone else
  serving.join();
  processor.ProcessEventItem();  // what is left of it
}

/// Runs `act` a little later on another thread, and expects that it ends a wait well before its
/// deadline.
void ExpectEndsWait(CJ2534EventProcessor& processor, CJ2534Event& event,
                    const std::function<void()>& act) {
  const auto start = std::chrono::steady_clock::now();
  std::thread elsewhere([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    act();
  });
  EXPECT_TRUE(processor.Await(event, kLong));
  elsewhere.join();
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(kLong / 2));
}

TEST_F(ServingTest, OthersEndTheWaitOfTheOneThatServes) {
  ExpectEndsWait(processor, event, [this] { event.Set(); });
  ExpectEndsWait(processor, event, [this] {
    processor.Stop();  // which it does not outlast
    event.Set();
  });
  ExpectEndsWait(processor, event, [this] { event.End(); });
}

TEST_F(ServingTest, EventOutlivesTheProcessorThatServedForIt) {
  {
    NotingSink otherSink;
    CJ2534EventProcessor other;
    EXPECT_EQ(other.Initialize(&otherSink), STATUS_NOERROR);
    EXPECT_FALSE(other.Await(event, 1));
    other.Stop();
  }
  event.Set();  // tells nobody
  EXPECT_TRUE(event.TryTake());
}

}  // namespace
}  // namespace passbridge
