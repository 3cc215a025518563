#include "server/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "device_fixture.h"

namespace passbridge {
namespace {

using DeviceTest = DeviceFixture;

struct ResultCase {
  T_PDU_ERROR result;
  Status status;
  const char* failure;
};

TEST_F(DeviceTest, OpenConnectsTheModuleAndListensToIt) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().All(),
            (std::vector<std::string>{"PDUModuleConnect(7)",
                                      "PDURegisterEventCallback(7, 0xFFFFFFFF, callback)"}));
  EXPECT_EQ(device->DeviceId(), kModule);
  EXPECT_TRUE(device->IsConnected());
  EXPECT_EQ(Open(), STATUS_NOERROR) << "again: nothing to do";
  EXPECT_EQ(pdu.Calls().Count("PDUModuleConnect"), 1U);
  EXPECT_EQ(trace.Take().back(), "Leaving CJ2534Device::PassThruOpen() - Already Open!");
}

TEST_F(DeviceTest, OpenSaysWhyAModuleCannotBeConnected) {
  EXPECT_EQ(device->PassThruOpen(nullptr, nullptr), ERR_FAILED);
  EXPECT_EQ(record.Text(), "(0C040002:00000000) Module handle was not valid.\r\n");
  const ResultCase cases[] = {
      {0x10, ERR_DEVICE_NOT_CONNECTED,
       "0C040003:00000010 Error connecting to the Module - Device Not Connected."},
      {0x20, ERR_FAILED,
       "0C040004:00000020 Error connecting to the Module - PDU API Not Constructed."},
      {0x21, ERR_DEVICE_IN_USE,
       "0C040005:00000021 Error connecting to the Module - Sharing Violation."},
      {0x60, ERR_DEVICE_NOT_CONNECTED,
       "0C040006:00000060 Error connecting to the Module - Invalid Handle."},
      {0xA3, ERR_DEVICE_NOT_CONNECTED,
       "0C040007:000000A3 Error connecting to the Module - Module Not Connected."},
      {0xA4, ERR_FAILED,
       "0C040008:000000A4 Error connecting to the Module - PC Software out of Date."},
      {0xA5, ERR_FAILED,
       "0C040009:000000A5 Error connecting to the Module - Firmware out of Date."},
      {0x900, ERR_DEVICE_IN_USE,
       "0C04000A:00000900 Error connecting to the Module - Device in use."},
      {0x01, ERR_FAILED, "0C04000B:00000001 Error connecting to the Module."},
  };
  for (const ResultCase& test : cases) {
    pdu.PDUModuleConnect.Next({test.result});
    EXPECT_EQ(Open(), test.status);
    EXPECT_EQ(Failure(), std::string("CJ2534Device::PassThruOpen() - ") + test.failure);
    EXPECT_EQ(record.LastPduCode(), test.result) << "a first cause";
    EXPECT_FALSE(device->IsConnected());
  }
}

TEST_F(DeviceTest, OperationsCheckTheDeviceFirst) {
  EXPECT_EQ(device->PassThruSetProgrammingVoltage(6, 12000), ERR_INVALID_DEVICE_ID);
  EXPECT_EQ(record.LastLocation(), 0x0C080001U) << "not opened";
  ASSERT_EQ(Open(), STATUS_NOERROR);
  record.SetLastStatus(ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(device->PassThruSetProgrammingVoltage(6, 12000), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(Failure(),
            "CJ2534Device::PassThruSetProgrammingVoltage() - 0C080003:00000000 The Device is not "
            "connected, open device.");
  EXPECT_EQ(Connect(), STATUS_NOERROR) << "a connect does not look at the last status";
  EXPECT_EQ(device->PassThruDisconnect(channelId), ERR_DEVICE_NOT_CONNECTED);
  record.SetLastStatus(STATUS_NOERROR);
  device->SetConnected(false);
  EXPECT_EQ(device->PassThruClose(), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(record.LastLocation(), 0x0C050002U);
}

TEST_F(DeviceTest, CloseDisconnectsTheChannelsThenTheModule) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  ASSERT_EQ(Connect(CAN), STATUS_NOERROR);
  ASSERT_EQ(Connect(ISO15765), STATUS_NOERROR);
  ASSERT_EQ(device->PassThruClose(), STATUS_NOERROR);
  EXPECT_EQ(script.calls,
            (std::vector<std::string>{"Connect", "Connect", "Disconnect", "Disconnect"}));
  EXPECT_EQ(pdu.Calls().All().back(), "PDUModuleDisconnect(7)");
  EXPECT_EQ(device->PassThruClose(), ERR_INVALID_DEVICE_ID);
}

TEST_F(DeviceTest, CloseHasNoGateForItsChannelsEither) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  record.SetLastStatus(ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(device->PassThruClose(), STATUS_NOERROR);
  EXPECT_EQ(script.calls, (std::vector<std::string>{"Connect", "Disconnect"}));
}

TEST_F(DeviceTest, AFailedCloseLeavesTheDeviceOpen) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  script.result = ERR_TIMEOUT;
  EXPECT_EQ(device->PassThruClose(), ERR_TIMEOUT);
  EXPECT_EQ(Failure(),
            "CJ2534Device::PassThruClose() - 0C050004:00000000 Error disconnecting a Channel.");
  script.result = ERR_INVALID_CHANNEL_ID;
  EXPECT_EQ(device->PassThruClose(), ERR_FAILED);
  std::array<char, 80> text{};
  std::snprintf(text.data(), text.size(),
                "(0C050003:00000000) Error disconnection ChannelID: 0x%08X\r\n", channelId);
  EXPECT_EQ(record.Text(), text.data());

  script.result = STATUS_NOERROR;
  const ResultCase cases[] = {
      {0x21, ERR_DEVICE_IN_USE, "00000021"},
      {0x20, ERR_FAILED, "00000020"},
      {0x60, ERR_FAILED, "00000060"},
      {0x10, ERR_DEVICE_NOT_CONNECTED, "00000010"},
  };
  for (const ResultCase& test : cases) {
    pdu.PDUModuleDisconnect.Next({test.result});
    EXPECT_EQ(device->PassThruClose(), test.status);
    EXPECT_EQ(Failure(), std::string("CJ2534Device::PassThruClose() - 0C050005:") + test.failure +
                             " Error disconnecting from the Module.");
  }
  EXPECT_FALSE(device->IsConnected()) << "a missing device is a lost one";
}

TEST_F(DeviceTest, ReadingsComeFromTheModule) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  pdu.SetIoValue("PDU_IOCTL_READ_VBATT", 12345);
  pdu.SetIoValue("PDU_IOCTL_READ_PROG_VOLTAGE", 5000);
  std::uint64_t value = ~0ULL;
  const AppPointer output{&value, FieldWidth::k64};
  EXPECT_EQ(device->PassThruIoctl(0, READ_VBATT, {}, output), STATUS_NOERROR);
  EXPECT_EQ(value, 12345U) << "written at its full width";
  EXPECT_EQ(device->PassThruIoctl(0, READ_PROG_VOLTAGE, {}, output), STATUS_NOERROR);
  EXPECT_EQ(value, 5000U);
  EXPECT_EQ(device->PassThruIoctl(0, GET_VCI_SERIAL_NUMBER, {}, output), STATUS_NOERROR);
  EXPECT_EQ(value, kSerial);
  const struct {
    UNUM32 given;
    std::uint32_t told;
  } cables[] = {{3, 3}, {100, 0x100}, {101, 0x200}, {102, 102}};
  for (const auto& cable : cables) {
    pdu.SetIoValue("PDU_IOCTL_GET_CABLE_ID", cable.given);
    EXPECT_EQ(device->PassThruIoctl(0, READ_CABLE_ID, {}, output), STATUS_NOERROR);
    EXPECT_EQ(value, cable.told);
  }
  pdu.PDUIoCtl.Next({PDU_ERR_NO_CABLE_DETECTED});
  EXPECT_EQ(device->PassThruIoctl(0, READ_CABLE_ID, {}, output), STATUS_NOERROR);
  EXPECT_EQ(value, 0U);
}

TEST_F(DeviceTest, AReadingThatFailsIsMapped) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  std::uint32_t value = 0;
  const AppPointer output{&value, FieldWidth::k32};
  const ResultCase cases[] = {
      {0x01, ERR_FAILED, nullptr},
      {0x10, ERR_FAILED, nullptr},
      {0x20, ERR_INVALID_DEVICE_ID, nullptr},
      {0x60, ERR_INVALID_DEVICE_ID, nullptr},
      {0x62, ERR_NOT_SUPPORTED, nullptr},
      {0x80, ERR_FAILED, nullptr},
      {0x83, ERR_FAILED, nullptr},
  };
  for (const ResultCase& test : cases) {
    pdu.PDUIoCtl.Next({test.result});
    EXPECT_EQ(device->PassThruIoctl(0, READ_VBATT, {}, output), test.status) << test.result;
  }
  EXPECT_EQ(record.Text(), "(0C020002:00000083) Error performing PDU READ VBATT IOCTL.\r\n");
  pdu.PDUIoCtl.Does([](UNUM32, UNUM32, UNUM32, PDU_DATA_ITEM*, PDU_DATA_ITEM**) { return 0; });
  EXPECT_EQ(device->PassThruIoctl(0, READ_PROG_VOLTAGE, {}, output), ERR_FAILED) << "no item";
  EXPECT_EQ(record.Text(), "(0C030003:00000000) Error performing PDU IOCTL.\r\n");
  pdu.PDUIoCtl.Does({});
  pdu.PDUDestroyItem.Does([&](PDU_ITEM* item) {
    pdu.PDUDestroyItem.BuiltIn(item);
    return PDU_ERR_INVALID_HANDLE;
  });
  trace.Take();
  EXPECT_EQ(device->PassThruIoctl(0, READ_CABLE_ID, {}, output), ERR_INVALID_DEVICE_ID);
  EXPECT_THAT(
      trace.TakeFailures(),
      testing::ElementsAre(
          "CJ2534Device::PassThruIoctl_READ_CABLE_ID() - 0C030004:00000060 Error Destroying Item.",
          "CJ2534Device::PassThruIoctl() - 0C0C0005:00000000 Error executing IOCTL in channel."));
  pdu.PDUIoCtl.Next({PDU_ERR_COMM_PC_TO_VCI_FAILED});
  EXPECT_EQ(device->PassThruIoctl(0, READ_VBATT, {}, output), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_FALSE(device->IsConnected()) << "the line to the VCI is broken";
}

TEST_F(DeviceTest, BadOutputsAndUnsupportedIoctlsAreRefused) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  auto* const nowhere = reinterpret_cast<void*>(8);
  for (const std::uint32_t ioctl : {READ_VBATT, READ_PROG_VOLTAGE, READ_CABLE_ID}) {
    EXPECT_EQ(device->PassThruIoctl(0, ioctl, {}, {}), ERR_NULL_PARAMETER);
    EXPECT_EQ(device->PassThruIoctl(0, ioctl, {}, {nowhere, FieldWidth::k64}), ERR_NULL_PARAMETER);
  }
  EXPECT_EQ(device->PassThruIoctl(0, GET_VCI_SERIAL_NUMBER, {}, {}), ERR_FAILED);
  EXPECT_EQ(record.Text(), "(0C0C00FF:00000000) Unhandled exception.\r\n");
  EXPECT_EQ(device->PassThruIoctl(0, GET_DEVICE_CONFIG, {}, {}), ERR_NOT_SUPPORTED);
  EXPECT_EQ(record.LastLocation(), 0x0C120001U);
  EXPECT_EQ(device->PassThruIoctl(0, SET_DEVICE_CONFIG, {}, {}), ERR_NOT_SUPPORTED);
  EXPECT_EQ(record.LastLocation(), 0x0C110001U);
  EXPECT_EQ(Failure(),
            "CJ2534Device::PassThruIoctl() - 0C0C0005:00000000 Error executing IOCTL in channel.");
}

struct VoltageCase {
  std::uint32_t pin;
  std::uint32_t voltage;
  Status status;
  std::uint16_t point;
};

TEST_F(DeviceTest, ProgrammingVoltagesObeyTheirRules) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  const VoltageCase cases[] = {
      {14, SHORT_TO_GROUND, ERR_NOT_SUPPORTED, 4},
      {12, 4999, ERR_FAILED, 5},
      {12, 20001, ERR_FAILED, 6},
      {15, 12000, ERR_NOT_SUPPORTED, 8},
      {1, 12000, ERR_PIN_INVALID, 9},
      {16, VOLTAGE_OFF, ERR_PIN_INVALID, 9},
      {12, 20000, STATUS_NOERROR, 0},
      {12, 5000, STATUS_NOERROR, 0},
      {13, 12000, ERR_NOT_SUPPORTED, 7},
      {13, VOLTAGE_OFF, ERR_NOT_SUPPORTED, 7},
      {15, SHORT_TO_GROUND, STATUS_NOERROR, 0},
      {12, VOLTAGE_OFF, STATUS_NOERROR, 0},
      {13, 12000, STATUS_NOERROR, 0},
      {13, VOLTAGE_OFF, STATUS_NOERROR, 0},
      {0, 12000, STATUS_NOERROR, 0},
  };
  for (const VoltageCase& test : cases) {
    EXPECT_EQ(device->PassThruSetProgrammingVoltage(test.pin, test.voltage), test.status)
        << test.pin << " " << test.voltage;
    if (test.status != STATUS_NOERROR) {
      EXPECT_EQ(record.LastLocation(), 0x0C080000U + test.point);
    }
  }
  const std::string control =
      test::Render(pdu.IdOf(PDU_OBJT_IO_CTRL, "PDU_IOCTL_SET_PROG_VOLTAGE"));
  EXPECT_EQ(pdu.Calls().Of("PDUIoCtl")[2],
            "PDUIoCtl(7, 0xFFFFFFFF, " + control + ", {0x1001 0xFFFFFFFE pin 15}, null)");
}

TEST_F(DeviceTest, APinStaysClaimedWhenItsVoltageFails) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  const ResultCase cases[] = {
      {0x01, ERR_NOT_SUPPORTED, nullptr}, {0x80, ERR_NOT_SUPPORTED, nullptr},
      {0x81, ERR_NOT_SUPPORTED, nullptr}, {0x62, ERR_NOT_SUPPORTED, nullptr},
      {0x10, ERR_FAILED, nullptr},        {0x60, ERR_INVALID_DEVICE_ID, nullptr},
  };
  for (const ResultCase& test : cases) {
    pdu.PDUIoCtl.Next({test.result});
    EXPECT_EQ(device->PassThruSetProgrammingVoltage(9, 12000), test.status) << test.result;
  }
  EXPECT_EQ(Failure(),
            "CJ2534Device::PassThruSetProgrammingVoltage() - 0C08000A:00000060 Error setting "
            "Programming Voltage.");
  EXPECT_EQ(device->PassThruSetProgrammingVoltage(11, 12000), ERR_NOT_SUPPORTED);
}

TEST_F(DeviceTest, VersionsAreTexts) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  PDU_VERSION_DATA version{};
  version.FwVersion = 0x020A0005;
  pdu.SetVersion(version);
  std::array<char, 80> firmware{};
  std::array<char, 80> dll{};
  std::array<char, 80> api{};
  ASSERT_EQ(device->PassThruReadVersion(firmware.data(), dll.data(), api.data()), STATUS_NOERROR);
  EXPECT_STREQ(firmware.data(), "  2. 10.  0");
  EXPECT_STREQ(dll.data(), "00.00");
  EXPECT_STREQ(api.data(), "04.04");
  pdu.PDUGetVersion.Next({PDU_ERR_ID_NOT_SUPPORTED, PDU_ERR_INVALID_HANDLE});
  EXPECT_EQ(device->PassThruReadVersion(firmware.data(), dll.data(), api.data()), ERR_FAILED);
  EXPECT_EQ(record.Text(), "(0C090007:00000062) Error getting PDU Version Information.\r\n");
  EXPECT_EQ(device->PassThruReadVersion(firmware.data(), dll.data(), api.data()),
            ERR_INVALID_DEVICE_ID);
  EXPECT_EQ(device->PassThruReadVersion(firmware.data(), nullptr, api.data()), ERR_NULL_PARAMETER);
  EXPECT_EQ(record.LastLocation(), 0x0C090005U);
}

}  // namespace
}  // namespace passbridge
