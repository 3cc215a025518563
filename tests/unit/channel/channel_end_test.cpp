// How what an application waits for ends when its channel does, or the VCI is lost.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "channel_fixture.h"

namespace passbridge {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using test::CanMessage;
using test::kLongTimeout;

/// Readers and a writer that wait on one channel.
class Waiting {
 public:
  explicit Waiting(CJ2534Channel& channel) : channel_(channel) {
    for (int i = 0; i < 2; ++i) threads_.emplace_back([this, i] { results_[i] = Read(); });
    threads_.emplace_back([this] { results_[2] = Write(); });
    std::this_thread::sleep_for(milliseconds(50));
  }

  /// Waits for the end of all; every one ended with the status, and long before its time.
  void ExpectAllEnded(Status status) {
    const auto start = steady_clock::now();
    for (std::thread& thread : threads_) thread.join();
    EXPECT_LT(steady_clock::now() - start, milliseconds(kLongTimeout / 4));
    for (const Status result : results_) EXPECT_EQ(result, status);
  }

 private:
  Status Read() {
    PassThruMsg message;
    std::uint32_t count = 1;
    return channel_.PassThruReadMsgs(AppMessage(message), AppValue(count), kLongTimeout);
  }
  Status Write() {
    PassThruMsg message = CanMessage({0, 0, 7, 0xE0});
    std::uint32_t count = 1;
    return channel_.PassThruWriteMsgs(AppMessage(message), AppValue(count), kLongTimeout);
  }

  CJ2534Channel& channel_;
  std::array<Status, 3> results_{};
  std::vector<std::thread> threads_;
};

struct ChannelEndTest : test::ChannelFixture {
  ChannelEndTest() {
    EXPECT_EQ(Connect(), STATUS_NOERROR);
    pdu.FinishComPrimitives(false);
  }
};

TEST_F(ChannelEndTest, DisconnectEndsEveryWaitWithoutALostDevice) {
  Waiting waiting(*channel);
  EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR);
  waiting.ExpectAllEnded(ERR_INVALID_CHANNEL_ID);
  EXPECT_EQ(record.LastStatus(), STATUS_NOERROR) << "the gate stays open";
}

TEST_F(ChannelEndTest, LossOfTheVciEndsEveryWait) {
  for (const bool noticedByTheEventThread : {false, true}) {
    pdu.FinishComPrimitives(true);
    ASSERT_EQ(Connect(), STATUS_NOERROR);
    pdu.FinishComPrimitives(false);
    Waiting waiting(*channel);
    if (noticedByTheEventThread) {
      pdu.PDUGetEventItem.Next({PDU_ERR_MODULE_NOT_CONNECTED});
      pdu.Signal(kModule, pdu.LastLink());
    } else {
      channel->SetVehicleConnected(false);
    }
    waiting.ExpectAllEnded(ERR_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR);
  }
}

TEST_F(ChannelEndTest, LossKeepsWhatCame) {
  DeliverAndLetTheThreadTakeIt({.data = {0, 0, 7, 0xE8, 1}});
  pdu.PDUGetEventItem.Next({PDU_ERR_COMM_PC_TO_VCI_FAILED});
  std::thread reader([this] {
    EXPECT_EQ(Read(2, 20000), ERR_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(numRead, 1U);
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  pdu.Signal(kModule, pdu.LastLink());
  reader.join();
  EXPECT_EQ(record.LastStatus(), std::uint32_t{ERR_DEVICE_NOT_CONNECTED});
  std::uint32_t sent = 0;
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 0, &sent), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(pdu.Items().Alive(), 0U) << "the link's items are given back at once";
  EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR);
}

TEST_F(ChannelEndTest, LossWaitsForNobody) {
  // The D-PDU library is inside a call that ends only after its callback has told of the loss.
  std::atomic<bool> told{false};
  pdu.PDUSetComParam.Does([&](auto...) {
    std::thread callback([&] {
      channel->SetVehicleConnected(false);
      told = true;
    });
    callback.join();
    return T_PDU_ERROR{PDU_STATUS_NOERROR};
  });
  EXPECT_EQ(Configure({{LOOPBACK, 1}}), STATUS_NOERROR);
  EXPECT_TRUE(told);
  pdu.PDUSetComParam.Does({});
  EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR);
}

TEST_F(ChannelEndTest, LossDuringTheConnectionFailsIt) {
  Drop();
  pdu.FinishComPrimitives(true);
  pdu.PDUConnect.Does([this](auto...) {
    channel->SetVehicleConnected(false);
    return T_PDU_ERROR{PDU_STATUS_NOERROR};
  });
  EXPECT_EQ(Connect(), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(pdu.Calls().Count("PDUDestroyComLogicalLink"), pdu.Calls().Count("PDUConnect"));
  EXPECT_EQ(pdu.Items().Alive(), 0U);
  pdu.PDUConnect.Does({});
}

TEST_F(ChannelEndTest, ExceptionDuringTheConnectionLeavesNoLink) {
  Drop();
  const std::size_t before = pdu.Calls().Count("PDUDestroyComLogicalLink");
  pdu.PDUConnect.Does([](auto...) -> T_PDU_ERROR { throw std::bad_alloc(); });
  EXPECT_EQ(Connect(), ERR_FAILED);
  EXPECT_FALSE(channel->HasLink());
  EXPECT_EQ(pdu.Calls().Count("PDUDestroyComLogicalLink"), before + 1);
  pdu.PDUConnect.Does({});
}

TEST_F(ChannelEndTest, FailedDisconnectLeavesWhatCanBeUsedAndTriedAgain) {
  pdu.PDUDisconnect.Next({PDU_ERR_FCT_FAILED});
  EXPECT_EQ(channel->PassThruDisconnect(), ERR_FAILED);
  // The lists are gone, the link is there.
  EXPECT_EQ(Configure({}), ERR_FAILED);
  EXPECT_EQ(Configure({{J1962_PINS, 0x060E}}), ERR_FAILED) << "the pins that it has";
  EXPECT_EQ(Configure({{LOOPBACK, 1}}), ERR_FAILED);
  EXPECT_EQ(Configure({{LOOPBACK, 1}}, GET_CONFIG), ERR_FAILED);
  PassThruMsg mask = CanMessage({0, 0, 0, 0});
  std::uint32_t filterId = 0;
  EXPECT_EQ(channel->PassThruStartMsgFilter(PASS_FILTER, AppMessage(mask), AppMessage(mask), {},
                                            AppValue(filterId)),
            ERR_FAILED);
  EXPECT_EQ(channel->PassThruStopMsgFilter(1), ERR_FAILED);
  EXPECT_EQ(channel->PassThruIoctl(CLEAR_MSG_FILTERS, {}, {}), STATUS_NOERROR);
  EXPECT_EQ(Read(1, 5), ERR_BUFFER_EMPTY) << "a time-out as ever";

  // What was done of the end is not done again.
  pdu.PDUDestroyComLogicalLink.Next({PDU_ERR_FCT_FAILED});
  EXPECT_EQ(channel->PassThruDisconnect(), ERR_FAILED);
  pdu.Calls().Clear();
  EXPECT_EQ(channel->PassThruDisconnect(), STATUS_NOERROR);
  EXPECT_EQ(test::NamesOf(pdu.Calls().All()),
            (std::vector<std::string>{"PDUDestroyComLogicalLink"}));
}

TEST_F(ChannelEndTest, CallbackOfAChannelThatHasGoneIsIgnored) {
  const CALLBACKFNC callback = pdu.CallbackOf(kModule, pdu.LastLink());
  void* const tag = channel.get();
  channel->PassThruDisconnect();
  channel.reset();
  callback(PDU_EVT_DATA_AVAILABLE, kModule, pdu.LastLink(), tag, nullptr);
  callback(PDU_EVT_DATA_AVAILABLE, kModule, pdu.LastLink(), nullptr, nullptr);
}

TEST_F(ChannelEndTest, ThreadEndsBeforeAnythingThatItUses) {
  pdu.FinishComPrimitives(true);
  std::atomic<bool> go{true};
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  // A member of the subclass, which its thread uses to the last.
  std::string text(100, 'x');
  TheTestChannel().postProcess = [text](CJ2534PassThruMsg*) { return Status(text[50] == 'y'); };
  const UNUM32 link = pdu.LastLink();
  std::thread source([&] {
    while (go) pdu.Deliver(kModule, link, pdu.Items().MakeResult({.data = {0, 0, 7, 0xE8}}));
  });
  std::this_thread::sleep_for(milliseconds(20));
  channel.reset();  // without a disconnect, while its thread stores messages
  go = false;
  source.join();
}

}  // namespace
}  // namespace passbridge
