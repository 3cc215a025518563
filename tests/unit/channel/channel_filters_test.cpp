// The message filters of a channel.

#include <gtest/gtest.h>

#include "channel_fixture.h"

namespace passbridge {
namespace {

using test::CanMessage;

struct ChannelFiltersTest : test::ChannelFixture {
  ChannelFiltersTest() {
    EXPECT_EQ(Connect(), STATUS_NOERROR);
    pdu.Calls().Clear();
  }
  std::size_t IoCtls() { return pdu.Calls().Count("PDUIoCtl"); }

  std::uint32_t ids[3] = {};
};

TEST_F(ChannelFiltersTest, AreDownloadedAndNumbered) {
  EXPECT_EQ(StartFilter(PASS_FILTER, ids), STATUS_NOERROR);
  EXPECT_EQ(ids[0], 1U);
  EXPECT_EQ(IoCtls(), 2U);  // clear, then start
  EXPECT_EQ(StartFilter(PASS_FILTER, ids), STATUS_NOERROR);
  EXPECT_EQ(IoCtls(), 2U) << "an equal filter changes nothing on the link";
  EXPECT_EQ(StartFilter(0x80030000U | BLOCK_FILTER, ids), STATUS_NOERROR);
  EXPECT_EQ(ids[0], 3U);
  EXPECT_EQ(ids[2], 5U);
  EXPECT_EQ(channel->PassThruStopMsgFilter(1), STATUS_NOERROR);
  EXPECT_EQ(channel->PassThruStopMsgFilter(1), ERR_INVALID_FILTER_ID) << "once only";
}

TEST_F(ChannelFiltersTest, RefusalsAreReportedByTheirCause) {
  const auto start = [this](std::uint32_t type, PassThruMsg mask) {
    return channel->PassThruStartMsgFilter(type, AppMessage(mask), AppMessage(mask), {},
                                           AppValue(ids[0]));
  };
  const PassThruMsg good = CanMessage({0, 0, 7, 0xE8});
  EXPECT_EQ(start(PASS_FILTER, CanMessage(std::vector<UNUM8>(13))), ERR_INVALID_MSG);
  EXPECT_EQ(start(PASS_FILTER, CanMessage({0, 0, 7, 0xE8}, ISO15765)), ERR_MSG_PROTOCOL_ID);
  EXPECT_EQ(start(FLOW_CONTROL_FILTER, good), ERR_INVALID_FILTER_ID);
  EXPECT_EQ(channel->PassThruStartMsgFilter(PASS_FILTER, {}, {}, {}, AppValue(ids[0])),
            ERR_NULL_PARAMETER);
  PassThruMsg mask = good;
  EXPECT_EQ(channel->PassThruStartMsgFilter(PASS_FILTER, AppMessage(mask), AppMessage(mask), {},
                                            AppValue()),
            ERR_NULL_PARAMETER);
  EXPECT_EQ(LastLocation(), 0x022A0002U);
  for (const std::uint32_t unknown : {0U, 9U}) {
    EXPECT_EQ(channel->PassThruStopMsgFilter(unknown), ERR_INVALID_FILTER_ID);
  }
  EXPECT_EQ(IoCtls(), 0U);
  pdu.PDUIoCtl.Next({PDU_ERR_INVALID_HANDLE});
  EXPECT_EQ(start(PASS_FILTER, good), ERR_INVALID_CHANNEL_ID) << "what the link says";
}

TEST_F(ChannelFiltersTest, ClearingTakesThemAllOffTheLink) {
  ASSERT_EQ(StartFilter(PASS_FILTER, ids), STATUS_NOERROR);
  ASSERT_EQ(StartFilter(BLOCK_FILTER, ids + 1), STATUS_NOERROR);
  pdu.Calls().Clear();
  EXPECT_EQ(Ioctl(CLEAR_MSG_FILTERS), STATUS_NOERROR);
  EXPECT_GT(IoCtls(), 0U) << "the link is told";
  EXPECT_EQ(channel->PassThruStopMsgFilter(ids[0]), ERR_INVALID_FILTER_ID);
  EXPECT_EQ(channel->PassThruStopMsgFilter(ids[1]), ERR_INVALID_FILTER_ID);
}

TEST_F(ChannelFiltersTest, NeedPins) {
  ASSERT_EQ(Connect(CAN_PS), STATUS_NOERROR);
  EXPECT_EQ(StartFilter(PASS_FILTER, ids, CAN_PS), ERR_PIN_INVALID);
  EXPECT_EQ(channel->PassThruStopMsgFilter(1), ERR_PIN_INVALID);
  EXPECT_EQ(Ioctl(CLEAR_MSG_FILTERS), ERR_PIN_INVALID);
}

}  // namespace
}  // namespace passbridge
