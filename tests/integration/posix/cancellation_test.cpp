#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>

#include "library_fixture.h"

namespace passbridge::test {
namespace {

/// A thread that may be cancelled.
class Cancellable {
 public:
  explicit Cancellable(std::function<void()> work) : work_(std::move(work)) {
    EXPECT_EQ(::pthread_create(&thread_, nullptr, &Cancellable::Run, this), 0);
  }

  void Cancel() {
    while (!runs_) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(::pthread_cancel(thread_), 0);
  }
  /// Waits for its end; whether it was cancelled.
  bool Join() {
    void* result = nullptr;
    EXPECT_EQ(::pthread_join(thread_, &result), 0);
    return result == PTHREAD_CANCELED;
  }

 private:
  static void* Run(void* argument) {
    auto& self = *static_cast<Cancellable*>(argument);
    self.runs_ = true;
    self.work_();
    return nullptr;
  }

  const std::function<void()> work_;
  std::atomic<bool> runs_{false};
  pthread_t thread_{};
};

struct Cancellation : LibraryFixture {
  long Read(j2534_ulong timeout) {
    PASSTHRU_MSG message{};
    j2534_ulong count = 1;
    return library.PassThruReadMsgs(channel, &message, &count, timeout);
  }
  /// Nobody is left in the library, and nothing is held.
  void ExpectWorks() {
    StartPassFilter(0x100);
    EXPECT_EQ(Read(5000), long{STATUS_NOERROR});
  }
};

TEST_F(Cancellation, AThreadThatWaitsInACallIsCancelledThere) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer does not follow a thread that is cancelled in sem_clockwait";
#endif
  OpenAndConnect();
  const auto start = std::chrono::steady_clock::now();
  Cancellable reader([this] { Read(30000); });
  reader.Cancel();
  EXPECT_TRUE(reader.Join());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  ExpectWorks();
  Close();
}

TEST_F(Cancellation, AThreadThatMayNotBeCancelledIsNot) {
  OpenAndConnect();
  std::atomic<long> status{-1};
  Cancellable reader([&] {
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    status = Read(500);
  });
  reader.Cancel();
  EXPECT_FALSE(reader.Join());
  EXPECT_EQ(status, long{ERR_BUFFER_EMPTY});
  ExpectWorks();
  Close();
}

TEST_F(Cancellation, OutsideOfItsWaitsACallGoesOn) {
  for (const int type : {PTHREAD_CANCEL_DEFERRED, PTHREAD_CANCEL_ASYNCHRONOUS}) {
    std::atomic<long> status{-1};
    std::atomic<bool> cancelled{false};
    Cancellable opener([&, type] {
      ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
      while (!cancelled) std::this_thread::yield();
      ::pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
      // Opening reads files and loads the D-PDU library.
      const long result = library.PassThruOpen(const_cast<char*>(kUsbVci), &device);
      status = result;
      ::pthread_setcanceltype(type, nullptr);
      ::pthread_testcancel();
    });
    opener.Cancel();
    cancelled = true;
    EXPECT_TRUE(opener.Join()) << "at the first opportunity after the call";
    EXPECT_EQ(status, long{STATUS_NOERROR});
    ASSERT_EQ(library.PassThruConnect(device, CAN, 0, 500000, &channel), long{STATUS_NOERROR});
    ExpectWorks();
    Close();
  }
}

}  // namespace
}  // namespace passbridge::test
