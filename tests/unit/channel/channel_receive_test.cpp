// How a channel receives, and how an application reads.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "channel_fixture.h"

namespace passbridge {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using test::kLongTimeout;
using test::ResultSpec;

struct ChannelReceiveTest : test::ChannelFixture {
  ChannelReceiveTest() {
    EXPECT_EQ(Connect(), STATUS_NOERROR);
    AcceptFramesOnly();
  }
  static std::vector<UNUM8> Record(UNUM8 time, UNUM8 length, UNUM8 last) {
    return {time, 0, 0, 0, length, 0, 0, 7, 0xE8, last, 0, 0, 0, 0, 0, 0, 0};
  }
  static ResultSpec Packed(UNUM8 count, const std::vector<std::vector<UNUM8>>& records) {
    std::vector<UNUM8> data{count, 0, 0, 0};
    for (const auto& record : records) data.insert(data.end(), record.begin(), record.end());
    return {.data = data, .rxFlags = {0, 0, 0, 0x20}};
  }
};

TEST_F(ChannelReceiveTest, ReadGivesWhatCameWithinItsTimeOut) {
  EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY);
  EXPECT_EQ(Read(5, 20), ERR_BUFFER_EMPTY);
  EXPECT_EQ(LastLocation(), 0x02250007U);

  Deliver({.data = {0, 0, 7, 0xE8, 1}, .timestamp = 77});
  ASSERT_EQ(Read(1, 10000), STATUS_NOERROR) << "wakes as soon as it is there";
  EXPECT_EQ(received[0].protocolId, std::uint32_t{CAN});
  EXPECT_EQ(received[0].timestamp, 77U);
  EXPECT_EQ(received[0].dataSize, 5U);

  Deliver({.data = {0, 0, 7, 0xE8, 2}});
  Deliver({.data = {0, 0, 7, 0xE8, 3}});
  EXPECT_EQ(Read(3, 50), ERR_TIMEOUT);
  EXPECT_EQ(numRead, 2U);
  EXPECT_EQ(received[1].data[4], 3);
}

TEST_F(ChannelReceiveTest, UnpacksRecordsAndRefusesMalformedOnes) {
  // The records that are good are delivered; what is too long, too short or missing is not; and
  // the event thread goes on.
  Deliver(Packed(3, {Record(1, 5, 0xA), Record(2, 13, 0xB), Record(3, 5, 0xC)}));
  Deliver(Packed(9, {Record(4, 5, 0xD)}));
  Deliver({.data = {1, 0}, .rxFlags = {0, 0, 0, 0x20}});
  Deliver({.data = {0, 0, 7}});
  Deliver({.data = std::vector<UNUM8>(13)});
  pdu.Deliver(kModule, pdu.LastLink(), pdu.Items().MakeEvent(PDU_IT_RESULT, nullptr));
  pdu.Deliver(kModule, pdu.LastLink(), pdu.Items().MakeInfo(PDU_INFO_RSC_LOCK_CHG));
  Deliver({.data = {0, 0, 7, 0xE8, 0xE}});
  ASSERT_EQ(Read(4, 10000), STATUS_NOERROR);
  EXPECT_EQ(received[0].timestamp, 1U);
  EXPECT_EQ(received[0].data[4], 0xA);
  EXPECT_EQ(received[1].data[4], 0xC);
  EXPECT_EQ(received[2].data[4], 0xD);
  EXPECT_EQ(received[3].data[4], 0xE);
  EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY);
}

TEST_F(ChannelReceiveTest, RefusesWhatCannotBeRead) {
  received.assign(1, {});
  const AppMessage none;
  struct Case {
    AppMessage messages;
    AppValue count;
    Location location;
  };
  const AppMessage unwritable(reinterpret_cast<void*>(8), FieldWidth::k32);
  for (const Case& c :
       {Case{none, AppValue(numRead), 0x02250002}, Case{unwritable, AppValue(numRead), 0x02250002},
        Case{AppMessage(received[0]), AppValue(), 0x02250003}}) {
    numRead = 1;
    EXPECT_EQ(channel->PassThruReadMsgs(c.messages, c.count, 0), ERR_NULL_PARAMETER);
    EXPECT_EQ(LastLocation(), c.location);
  }
}

TEST_F(ChannelReceiveTest, ReaderLeavesTheOthersWhatItDoesNotTake) {
  // Three frames come in one event, which releases one reader: each hands over to the next one.
  std::atomic<int> read{0};
  std::vector<std::thread> readers;
  for (int i = 0; i < 3; ++i) {
    readers.emplace_back([&] {
      PassThruMsg message;
      std::uint32_t count = 1;
      if (channel->PassThruReadMsgs(AppMessage(message), AppValue(count), kLongTimeout) ==
          STATUS_NOERROR) {
        ++read;
      }
    });
  }
  std::this_thread::sleep_for(milliseconds(50));
  const auto start = steady_clock::now();
  Deliver(Packed(3, {Record(1, 4, 0), Record(2, 4, 0), Record(3, 4, 0)}));
  for (std::thread& reader : readers) reader.join();
  EXPECT_EQ(read, 3);
  EXPECT_LT(steady_clock::now() - start, milliseconds(kLongTimeout / 4));
}

TEST_F(ChannelReceiveTest, FailureAfterStoringWakesTheReaderAllTheSame) {
  TheTestChannel().postProcess = [](CJ2534PassThruMsg*) { return Status{ERR_FAILED}; };
  Deliver({.data = {0, 0, 7, 0xE8, 1}});
  EXPECT_EQ(Read(1, 5000), STATUS_NOERROR);
}

}  // namespace
}  // namespace passbridge
