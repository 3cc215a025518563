// GET_CONFIG and SET_CONFIG: pins and parameters.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "channel_fixture.h"
#include "support/trace_observer.h"

namespace passbridge {
namespace {

using test::CanMessage;

using ChannelConfigTest = test::ChannelFixture;

TEST_F(ChannelConfigTest, PinsConnectAPinSwitchedChannel) {
  ASSERT_EQ(Connect(CAN_PS), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUCreateComLogicalLink"), 0U);
  EXPECT_EQ(Read(1, 0), ERR_PIN_INVALID);
  EXPECT_EQ(numRead, 0U);
  EXPECT_EQ(Configure({{DATA_RATE, 0}}, GET_CONFIG), ERR_PIN_INVALID);

  ASSERT_EQ(Configure({{DATA_RATE, 125000}, {J1962_PINS, 0x030B}}), STATUS_NOERROR);
  EXPECT_EQ(pdu.ComParamValue("CP_Baudrate"), 125000U);
  const std::vector<std::string> created = pdu.Calls().Of("PDUCreateComLogicalLink");
  ASSERT_EQ(created.size(), 1U);
  EXPECT_NE(created[0].find("pin 3:0 pin 11:0"), std::string::npos) << created[0];
  EXPECT_EQ(Configure({{J1962_PINS, 0x030B}}), STATUS_NOERROR) << "the same pins";
  EXPECT_EQ(Configure({{J1962_PINS, 0x060E}}), ERR_CHANNEL_IN_USE);
  EXPECT_EQ(pdu.Calls().Count("PDUCreateComLogicalLink"), 1U);
  EXPECT_EQ(Configure({{ISO15765_BS, 0}}, GET_CONFIG), ERR_NOT_SUPPORTED);
}

TEST_F(ChannelConfigTest, WhatIsSetIsReadAndInForce) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  EXPECT_EQ(ConfigValue(LOOPBACK), 0U);
  const std::size_t cops = pdu.StartedCops().size();
  ASSERT_EQ(Configure({{LOOPBACK, 1}, {DATA_RATE, 250000}}), STATUS_NOERROR);
  EXPECT_EQ(ConfigValue(LOOPBACK), 1U);
  EXPECT_EQ(ConfigValue(DATA_RATE), 250000U);
  EXPECT_EQ(pdu.ComParamValue("CP_Loopback"), 1U);
  EXPECT_EQ(pdu.ComParamValue("CP_Baudrate"), 250000U);
  ASSERT_EQ(pdu.StartedCops().size(), cops + 1) << "one update for both";
  EXPECT_EQ(pdu.StartedCops().back().type, T_PDU_COPT{PDU_COPT_UPDATEPARAM});
}

TEST_F(ChannelConfigTest, FailuresAreReportedByTheirCause) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  const AppPointer unreadable{reinterpret_cast<void*>(8), FieldWidth::k32};
  struct {
    alignas(void*) std::uint32_t count = 1;
    void* entries = nullptr;
  } noEntries;
  const AppPointer list{&noEntries, FieldWidth::k32};
  struct Case {
    std::uint32_t ioctl;
    AppPointer input;
    Location location;
  };
  for (const Case& c :
       {Case{GET_CONFIG, {}, 0x02180002}, Case{GET_CONFIG, unreadable, 0x02180002},
        Case{GET_CONFIG, list, 0x02180003}, Case{SET_CONFIG, {}, 0x020E0001},
        Case{SET_CONFIG, unreadable, 0x020E0001}, Case{SET_CONFIG, list, 0x020E0002}}) {
    EXPECT_EQ(channel->PassThruIoctl(c.ioctl, c.input, {}), ERR_NULL_PARAMETER);
    EXPECT_EQ(LastLocation(), c.location);
  }
  pdu.PDUStartComPrimitive.Next({PDU_ERR_CLL_NOT_STARTED});
  test::ExpectReported(test::Observe([this] {
                         return Configure({{LOOPBACK, 1}});
                       }),
                       ERR_INVALID_CHANNEL_ID, "020E0007 Error committing Parameter Value.");
}

TEST_F(ChannelConfigTest, MixedFormatStartsAfresh) {
  ASSERT_EQ(Connect(ISO15765), STATUS_NOERROR);
  ASSERT_EQ(Configure({{CAN_MIXED_FORMAT, 1}}), STATUS_NOERROR);
  std::uint32_t filter = 0;
  ASSERT_EQ(StartFilter(PASS_FILTER, &filter, ISO15765), STATUS_NOERROR);
  DeliverAndLetTheThreadTakeIt({.data = {0, 0, 7, 0xE8, 1}});
  ASSERT_EQ(Configure({{CAN_MIXED_FORMAT, 1}}), STATUS_NOERROR);
  EXPECT_EQ(ConfigValue(CAN_MIXED_FORMAT), 1U);
  EXPECT_EQ(channel->PassThruStopMsgFilter(filter), ERR_INVALID_FILTER_ID);
  EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY);
}

TEST_F(ChannelConfigTest, RefusedConfigurationLeavesNoPinsWithoutALink) {
  ASSERT_EQ(Connect(CAN_PS), STATUS_NOERROR);
  EXPECT_EQ(Configure({{J1962_PINS, 0x060E}, {DATA_RATE, 4}}), ERR_INVALID_IOCTL_VALUE);
  pdu.Calls().Clear();
  EXPECT_EQ(Read(1, 0), ERR_PIN_INVALID);
  std::uint32_t sent = 0;
  EXPECT_EQ(Write({CanMessage({0, 0, 7, 0xE0}, CAN_PS)}, 0, &sent), ERR_PIN_INVALID);
  EXPECT_EQ(channel->PassThruIoctl(CLEAR_RX_BUFFER, {}, {}), ERR_PIN_INVALID);
  EXPECT_EQ(record.LastStatus(), STATUS_NOERROR) << "no lost device";
  EXPECT_EQ(pdu.Calls().Count("PDUIoCtl"), 0U) << "there is no link that it could be for";

  pdu.PDUCreateComLogicalLink.Next({PDU_ERR_RESOURCE_BUSY});
  EXPECT_EQ(Configure({{J1962_PINS, 0x060E}}), ERR_CHANNEL_IN_USE);
  EXPECT_EQ(Read(1, 0), ERR_PIN_INVALID);
  EXPECT_EQ(Configure({{J1962_PINS, 0x060E}}), STATUS_NOERROR);
  EXPECT_EQ(ConfigValue(J1962_PINS), 0x060EU);
  EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY);
}

TEST_F(ChannelConfigTest, ChangeOfSpeedByTheLinkIsFollowed) {
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

}  // namespace
}  // namespace passbridge
