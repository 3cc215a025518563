#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "device_fixture.h"
#include "trace/method.h"

namespace passbridge {
namespace {

using DeviceChannelsTest = DeviceFixture;

TEST_F(DeviceChannelsTest, OneChannelAProtocolUnlessItsPinsAreSwitched) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  ASSERT_EQ(Connect(CAN), STATUS_NOERROR);
  const std::uint32_t first = channelId;
  EXPECT_EQ(Connect(CAN), ERR_CHANNEL_IN_USE);
  EXPECT_EQ(Failure(), "CJ2534Device::PassThruConnect() - 0C060005:00000000 Channel in Use.");
  EXPECT_EQ(Connect(CAN_CH1), STATUS_NOERROR) << "another ProtocolID of the same type";
  EXPECT_EQ(Connect(CAN_PS), STATUS_NOERROR);
  EXPECT_EQ(Connect(CAN_PS), STATUS_NOERROR);
  EXPECT_EQ(device->PassThruDisconnect(first), STATUS_NOERROR);
  EXPECT_EQ(Connect(CAN), STATUS_NOERROR);
  EXPECT_NE(channelId, first) << "identifiers are never used again";
}

TEST_F(DeviceChannelsTest, AConnectThatFailsLeavesNoChannel) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  EXPECT_EQ(device->PassThruConnect(CAN, 0, 0, AppValue(), channelId), ERR_NULL_PARAMETER);
  EXPECT_EQ(record.LastLocation(), 0x0C060003U);
  EXPECT_EQ(Connect(HONDA_DIAGH_PS), ERR_INVALID_PROTOCOL_ID);
  EXPECT_EQ(Failure(),
            "CJ2534Device::PassThruConnect() - 0C060004:00000000 Error getting ProtocolType.");
  EXPECT_EQ(record.LastLocation(), 0x0C060004U) << "a first cause";
  EXPECT_EQ(Connect(UBP_PS), ERR_NOT_SUPPORTED) << "no class";
  EXPECT_EQ(record.LastLocation(), 0x0C060006U);
  EXPECT_EQ(Connect(FGA7274), ERR_FAILED) << "no memory";
  EXPECT_EQ(record.Text(), "(0C060007:00000000) Error creating Channel\r\n");

  record.SetCodes(1, 0);
  script.initialize = ERR_INVALID_PROTOCOL_ID;
  EXPECT_EQ(Connect(CAN), ERR_INVALID_PROTOCOL_ID);
  EXPECT_EQ(Failure(),
            "CJ2534Device::PassThruConnect() - 0C060008:00000000 Error initializing Channel.");
  script.initialize = STATUS_NOERROR;
  script.result = ERR_INVALID_BAUDRATE;
  EXPECT_EQ(Connect(CAN), ERR_INVALID_BAUDRATE);
  EXPECT_EQ(Failure(),
            "CJ2534Device::PassThruConnect() - 0C060009:00000000 Error connecting to Channel.");
  EXPECT_EQ(record.LastLocation(), 1U) << "the channel has reported already";
  script.result = STATUS_NOERROR;
  EXPECT_EQ(Connect(CAN), STATUS_NOERROR) << "the protocol is free";
}

struct ForwardingCase {
  const char* name;
  const char* call;
  std::uint8_t method;
  std::uint16_t lookupPoint;
  Status lookupStatus;
  const char* lookupFailure;
  const char* channelFailure;
  std::function<Status(CJ2534Device&, std::uint32_t channelId)> run;
};

const ForwardingCase kForwardings[] = {
    {"PassThruReadMsgs", "Read", 0x0A, 4, ERR_INVALID_DEVICE_ID, "Error locating channel.",
     "Error reading messages from Channel.",
     [](CJ2534Device& d, std::uint32_t id) { return d.PassThruReadMsgs(id, {}, {}, 0); }},
    {"PassThruWriteMsgs", "Write", 0x0B, 4, ERR_INVALID_CHANNEL_ID, "Error locating Channel.",
     "Error writing messages to channel.",
     [](CJ2534Device& d, std::uint32_t id) { return d.PassThruWriteMsgs(id, {}, {}, 0); }},
    {"PassThruStartPeriodicMsg", "StartPeriodic", 0x0D, 4, ERR_INVALID_DEVICE_ID,
     "Error locating channel.", "Channel. Return Value =",
     [](CJ2534Device& d, std::uint32_t id) { return d.PassThruStartPeriodicMsg(id, {}, {}, 10); }},
    {"PassThruStopPeriodicMsg", "StopPeriodic", 0x0E, 4, ERR_INVALID_DEVICE_ID,
     "Error locating channel.", "Error stopping periodic message in channel.",
     [](CJ2534Device& d, std::uint32_t id) { return d.PassThruStopPeriodicMsg(id, 1); }},
    {"PassThruStartMsgFilter", "StartFilter", 0x0F, 4, ERR_INVALID_CHANNEL_ID,
     "Error locating channel.", "Error starting filter in channel.",
     [](CJ2534Device& d,
        std::uint32_t id) { return d.PassThruStartMsgFilter(id, PASS_FILTER, {}, {}, {}, {}); }},
    {"PassThruStopMsgFilter", "StopFilter", 0x10, 5, ERR_INVALID_DEVICE_ID,
     "Error locating channel.", "Error stopping filter in channel.",
     [](CJ2534Device& d, std::uint32_t id) { return d.PassThruStopMsgFilter(id, 1); }},
    {"PassThruDisconnect", "Disconnect", 0x07, 4, ERR_INVALID_CHANNEL_ID,
     "Attempting to get device.", "Error disconnecting channel.",
     [](CJ2534Device& d, std::uint32_t id) { return d.PassThruDisconnect(id); }},
    {"PassThruIoctl", "Ioctl", 0x0C, 4, ERR_INVALID_CHANNEL_ID, "Error locating channel.",
     "Error executing IOCTL in channel.",
     [](CJ2534Device& d, std::uint32_t id) { return d.PassThruIoctl(id, GET_CONFIG, {}, {}); }},
};

TEST_F(DeviceChannelsTest, OperationsReachTheChannelAndPassItsFailuresOn) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  script.result = ERR_TIMEOUT;
  for (const ForwardingCase& test : kForwardings) {
    script.calls.clear();
    record.SetCodes(1, 0);
    EXPECT_EQ(test.run(*device, channelId), ERR_TIMEOUT) << test.name;
    EXPECT_EQ(script.calls, std::vector<std::string>{test.call});
    EXPECT_EQ(Failure(),
              "CJ2534Device::" + std::string(test.name) + "() - " +
                  Formatted("%08X", MakeLocation(Module::Device, test.method,
                                                 static_cast<std::uint16_t>(test.lookupPoint + 1)))
                      .Text() +
                  ":00000000 " + test.channelFailure);
    EXPECT_EQ(record.LastLocation(), 1U) << "the channel has reported already";
  }
  script.result = STATUS_NOERROR;
}

TEST_F(DeviceChannelsTest, AnUnknownChannelIsAFirstCause) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  for (const ForwardingCase& test : kForwardings) {
    EXPECT_EQ(test.run(*device, 0xFFFFFF), test.lookupStatus) << test.name;
    EXPECT_EQ(record.LastLocation(), MakeLocation(Module::Device, test.method, test.lookupPoint));
    const std::string failure = Failure();
    EXPECT_EQ(failure.substr(failure.find(":0000") + 10), test.lookupFailure);
  }
  EXPECT_EQ(device->PassThruStopMsgFilter(0xFFFFFF, 0), ERR_INVALID_FILTER_ID);
  EXPECT_EQ(record.LastLocation(), 0x0C100004U);
}

TEST_F(DeviceChannelsTest, AChannelThatIsDisconnectedUnderACallIsNotALostDevice) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  script.meanwhile = [this] {
    EXPECT_EQ(device->PassThruDisconnect(channelId), STATUS_NOERROR);
    script.result = ERR_DEVICE_NOT_CONNECTED;
  };
  EXPECT_EQ(device->PassThruReadMsgs(channelId, {}, {}, 0), ERR_INVALID_CHANNEL_ID);
  EXPECT_EQ(Failure(),
            "CJ2534Device::PassThruReadMsgs() - 0C0A0005:00000000 Error reading messages from "
            "Channel.");
  script.meanwhile = nullptr;
  script.result = STATUS_NOERROR;
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  script.result = ERR_DEVICE_NOT_CONNECTED;
  EXPECT_EQ(device->PassThruReadMsgs(channelId, {}, {}, 0), ERR_DEVICE_NOT_CONNECTED)
      << "but a lost one is";
}

TEST_F(DeviceChannelsTest, ALostVciDisconnectsTheChannels) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  ChannelPtr channel;
  ASSERT_EQ(device->GetChannelFromChannelID(channelId, &channel), STATUS_NOERROR);
  channel->SetVehicleConnected(true);
  device->SetConnected(false);
  EXPECT_FALSE(channel->IsVehicleConnected());
  EXPECT_EQ(device->PassThruReadMsgs(channelId, {}, {}, 0), ERR_DEVICE_NOT_CONNECTED);
  channel.reset();
  EXPECT_EQ(script.alive, 1);
  device->Abandon();
  EXPECT_EQ(script.alive, 0) << "what it holds of its D-PDU library goes before that does";
}

}  // namespace
}  // namespace passbridge
