// Pins, parameters and what else an application sets on a channel.

#include <gtest/gtest.h>

#include <vector>

#include "channel_fixture.h"
#include "protocols/channel_can.h"
#include "support/observed.h"
#include "trace/last_error.h"

namespace passbridge {
namespace {

using test::CanMessage;

struct ChannelSettingsTest : test::ChannelFixture {
  Location LastLocation() { return LastErrorRecord::Instance().LastLocation(); }
};

TEST_F(ChannelSettingsTest, RefusedConfigurationLeavesNoPinsWithoutALink) {
  ASSERT_EQ(Connect(CAN_PS), STATUS_NOERROR);
  EXPECT_EQ(Configure({{J1962_PINS, 0x060E}, {DATA_RATE, 4}}), ERR_INVALID_IOCTL_VALUE);
  pdu.Calls().Clear();
  EXPECT_EQ(Read(1, 0), ERR_PIN_INVALID);
  std::uint32_t sent = 0;
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0}, CAN_PS)}, 0, &sent), ERR_PIN_INVALID);
  EXPECT_EQ(channel->PassThruIoctl(CLEAR_RX_BUFFER, {}, {}), ERR_PIN_INVALID);
  EXPECT_EQ(LastErrorRecord::Instance().LastStatus(), STATUS_NOERROR) << "no lost device";
  EXPECT_EQ(pdu.Calls().Count("PDUIoCtl"), 0U) << "there is no link that it could be for";

  pdu.PDUCreateComLogicalLink.Next({PDU_ERR_RESOURCE_BUSY});
  EXPECT_EQ(Configure({{J1962_PINS, 0x060E}}), ERR_CHANNEL_IN_USE);
  EXPECT_EQ(Read(1, 0), ERR_PIN_INVALID);
  EXPECT_EQ(Configure({{J1962_PINS, 0x060E}}), STATUS_NOERROR);
  EXPECT_EQ(ConfigValue(J1962_PINS), 0x060EU);
  EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY);
}

TEST_F(ChannelSettingsTest, EachStepOfAConnectionHasALocationOfItsOwn) {
  pdu.PDUConnect.Next({PDU_ERR_FCT_FAILED});
  test::ExpectReported(test::Observe([this] { return Connect(); }), ERR_FAILED,
                       "0223000E Error connecting to vehicle.");
  EXPECT_EQ(LastLocation(), 0x020D0007U) << "the first cause";
  pdu.PDUStartComPrimitive.Next(
      {PDU_STATUS_NOERROR, PDU_STATUS_NOERROR, PDU_ERR_CLL_NOT_STARTED});  // the update
  test::ExpectReported(test::Observe([this] { return Connect(); }), ERR_INVALID_CHANNEL_ID,
                       "02230010 Error committing Parameter Value.");
}

TEST_F(ChannelSettingsTest, LastStepOfAConnectionThatFailsLeavesNoLink) {
  pdu.PDUStartComPrimitive.Next(
      {PDU_STATUS_NOERROR, PDU_STATUS_NOERROR, PDU_ERR_CLL_NOT_STARTED});  // the update
  EXPECT_EQ(Connect(), ERR_INVALID_CHANNEL_ID);
  EXPECT_FALSE(channel->HasLink());
  EXPECT_EQ(pdu.Calls().Count("PDUDestroyComLogicalLink"), 1U);
}

TEST_F(ChannelSettingsTest, PeriodicStartBeforePinsIsReportedByTheStart) {
  channel = OwnedChannel(new CJ2534Channel_CAN);
  ASSERT_EQ(channel->Initialize(kModule, CAN_PS, 0, 500000), STATUS_NOERROR);
  ASSERT_EQ(channel->PassThruConnect(CAN_PS, 0, 500000), STATUS_NOERROR);
  PassThruMsg message = CanMessage({0, 0, 7, 0xE0}, CAN_PS);
  std::uint32_t id = 0;
  EXPECT_EQ(channel->PassThruStartPeriodicMsg(AppMessage(message), AppValue(id), 100),
            ERR_PIN_INVALID);
  EXPECT_EQ(LastLocation(), 0x02280001U);
}

TEST_F(ChannelSettingsTest, ChangeOfSpeedByTheLinkIsFollowed) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  ASSERT_EQ(ConfigValue(DATA_RATE), 500000U);
  pdu.SetComParam("CP_Baudrate", test::ParamSpec::Number(83333, PDU_PT_UNUM32));
  const std::size_t writes = pdu.Calls().Count("PDUSetComParam");
  DeliverAndLetTheThreadTakeIt({.rxFlags = {0, 4, 0, 0}});
  ASSERT_EQ(Read(1, 1000), STATUS_NOERROR);
  EXPECT_EQ(received[0].rxStatus, RX_SPD_CHG_EVENT) << "the application sees it, too";
  EXPECT_EQ(ConfigValue(DATA_RATE), 83333U);
  EXPECT_EQ(Configure({{LOOPBACK, 0}}), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUSetComParam"), writes) << "what the link has is not written back";
}

TEST_F(ChannelSettingsTest, FailureAfterStoringWakesTheReaderAllTheSame) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  TheTestChannel().postProcess = [](CJ2534PassThruMsg*) { return Status{ERR_FAILED}; };
  Deliver({.data = {0, 0, 7, 0xE8, 1}});
  EXPECT_EQ(Read(1, 5000), STATUS_NOERROR);
}

}  // namespace
}  // namespace passbridge
