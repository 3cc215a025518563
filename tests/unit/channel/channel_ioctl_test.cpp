// The ioctls of a channel that have no test file of their own.

#include <gtest/gtest.h>

#include "channel_fixture.h"

namespace passbridge {
namespace {

using test::CanMessage;

struct ChannelIoctlTest : test::ChannelFixture {
  ChannelIoctlTest() { EXPECT_EQ(Connect(), STATUS_NOERROR); }
  /// The call of an I/O control of the channel's link, by its name.
  std::string IoCtl(const std::string& name) {
    return "PDUIoCtl(1, " + test::Render(pdu.LastLink()) + ", " +
           test::Render(pdu.IdOf(PDU_OBJT_IO_CTRL, name)) + ", null, null)";
  }
};

TEST_F(ChannelIoctlTest, WhatTheBaseDoesNotHaveIsRefused) {
  for (const std::uint32_t id :
       {READ_VBATT, FIVE_BAUD_INIT, FAST_INIT, CLEAR_FUNCT_MSG_LOOKUP_TABLE,
        ADD_TO_FUNCT_MSG_LOOKUP_TABLE, DELETE_FROM_FUNCT_MSG_LOOKUP_TABLE, SW_CAN_HS, SW_CAN_NS,
        SET_POLL_RESPONSE, BECOME_MASTER, 0x10000U, 0x10005U}) {
    EXPECT_EQ(Ioctl(id), ERR_INVALID_IOCTL_ID) << std::hex << id;
  }
  for (const std::uint32_t id : {START_REPEAT_MESSAGE, QUERY_REPEAT_MESSAGE, STOP_REPEAT_MESSAGE,
                                 PROTECT_J1939_ADDR, J1850PWM_TERMINATION}) {
    EXPECT_EQ(Ioctl(id), ERR_NOT_SUPPORTED) << std::hex << id;
  }
}

TEST_F(ChannelIoctlTest, ClearingTransmissionTellsTheLinkWhenSomethingIsPending) {
  pdu.Calls().Clear();
  EXPECT_EQ(Ioctl(CLEAR_TX_BUFFER), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Count("PDUIoCtl"), 0U) << "nothing is pending";
  pdu.FinishComPrimitives(false);
  std::uint32_t sent = 0;
  ASSERT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 0, &sent), STATUS_NOERROR);
  EXPECT_EQ(Ioctl(CLEAR_TX_BUFFER), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Of("PDUIoCtl"),
            (std::vector<std::string>{IoCtl("PDU_IOCTL_CLEAR_TX_PENDING")}));
}

TEST_F(ChannelIoctlTest, ClearingReceptionForgetsWhatCame) {
  Deliver({.data = {0, 0, 7, 0xE8, 1}});
  ASSERT_EQ(Read(1, 10000), STATUS_NOERROR);
  DeliverAndLetTheThreadTakeIt({.data = {0, 0, 7, 0xE8, 1}});
  pdu.Calls().Clear();
  EXPECT_EQ(Ioctl(CLEAR_RX_BUFFER), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Of("PDUIoCtl"),
            (std::vector<std::string>{IoCtl("PDU_IOCTL_CLEAR_RX_QUEUE")}));
  EXPECT_EQ(Read(1, 0), ERR_BUFFER_EMPTY);
}

TEST_F(ChannelIoctlTest, FailuresOfTheLinkAreMapped) {
  struct Case {
    T_PDU_ERROR result;
    Status status;
  };
  pdu.FinishComPrimitives(false);
  std::uint32_t sent = 0;
  ASSERT_EQ(Write({CanMessage({0, 0, 7, 0xE0})}, 0, &sent), STATUS_NOERROR);
  for (const Case& c :
       {Case{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
        Case{PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
        Case{PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID},
        Case{PDU_ERR_ID_NOT_SUPPORTED, ERR_NOT_SUPPORTED}, Case{PDU_ERR_FCT_FAILED, ERR_FAILED}}) {
    for (const std::uint32_t id : {CLEAR_TX_BUFFER, CLEAR_RX_BUFFER}) {
      pdu.PDUIoCtl.Next({c.result});
      EXPECT_EQ(Ioctl(id), c.status);
      EXPECT_EQ(LastLocation(), id == CLEAR_TX_BUFFER ? 0x02110002U : 0x02120002U);
    }
  }
}

TEST_F(ChannelIoctlTest, NeedPins) {
  ASSERT_EQ(Connect(CAN_PS), STATUS_NOERROR);
  for (const std::uint32_t id :
       {CLEAR_TX_BUFFER, CLEAR_RX_BUFFER, CLEAR_PERIODIC_MSGS, CLEAR_MSG_FILTERS}) {
    EXPECT_EQ(Ioctl(id), ERR_PIN_INVALID);
  }
}

}  // namespace
}  // namespace passbridge
