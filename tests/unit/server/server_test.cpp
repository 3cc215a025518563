#include "server/server.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <new>
#include <string>

#include "passbridge/j2534.h"
#include "server/device.h"
#include "support/pdu_fixture.h"
#include "support/trace_observer.h"
#include "trace/method.h"

namespace passbridge {
namespace {

/// The process's server with one open device, on module 7.
struct ServerTest : test::PduFixture {
  static constexpr UNUM32 kModule = 7;
  static constexpr std::uint32_t kSerial = 4711;

  ServerTest() {
    EXPECT_EQ(Open(), STATUS_NOERROR);
    trace.Take();
    pdu.Calls().Clear();
  }
  ~ServerTest() override {
    record.SetLastStatus(STATUS_NOERROR);
    server.Uninitialize();
    server.PassThruOpen(&kModule, &kSerial, AppValue(deviceId));  // in place of a lost one
    EXPECT_EQ(server.PassThruClose(kModule), STATUS_NOERROR);
  }

  Status Open() { return server.PassThruOpen(&kModule, &kSerial, AppValue(deviceId)); }
  /// A channel that waits for its pins: it has no link yet.
  Status Connect() {
    return server.PassThruConnect(kModule, CAN_PS, 0, 500000, AppValue(channelId));
  }
  /// The failure that a call reported last; event threads report theirs at any time.
  std::string Failure() {
    std::vector<std::string> failures = trace.TakeFailures();
    std::erase_if(failures, [](const std::string& line) {
      return line.starts_with("CJ2534EventProcessor::");
    });
    return failures.empty() ? "" : failures.back();
  }
  DevicePtr Device() {
    DevicePtr device;
    server.GetDeviceFromDeviceID(kModule, &device);
    return device;
  }

  using PduFixture::pdu;  // for the tables of tests
  test::TraceObserver trace;
  CJ2534Server& server = CJ2534Server::Instance();
  std::uint32_t deviceId = 0;
  std::uint32_t channelId = 0;
  PassThruMsg message;
  std::uint32_t count = 1;
};

TEST_F(ServerTest, TheDeviceIdIsTheModuleHandle) {
  EXPECT_EQ(deviceId, kModule);
  EXPECT_EQ(server.PassThruOpen(&kModule, &kSerial, AppValue()), ERR_NULL_PARAMETER);
  EXPECT_EQ(LastErrorText(),
            "(14060001:00000000) NULL pointer supplied where a valid pointer is required");
  pdu.PDUModuleConnect.Next({PDU_ERR_DEVICE_IN_USE});
  EXPECT_EQ(Open(), ERR_DEVICE_IN_USE);
  EXPECT_EQ(Failure(), "CJ2534Server::PassThruOpen() - 14060004:00000000 Error opening device.");
  EXPECT_EQ(LastErrorText(), "(0C04000A:00000900) Device is currently open.") << "the first cause";
}

TEST_F(ServerTest, CloseEndsTheDeviceAndItsChannels) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  EXPECT_EQ(server.PassThruClose(99), ERR_INVALID_DEVICE_ID);
  EXPECT_EQ(LastErrorText(), "(14070001:00000000) Device ID invalid");
  pdu.PDUModuleDisconnect.Next({PDU_ERR_SHARING_VIOLATION});
  EXPECT_EQ(server.PassThruClose(kModule), ERR_DEVICE_IN_USE);
  EXPECT_EQ(Failure(), "CJ2534Server::PassThruClose() - 14070003:00000000 Error closing device");
  EXPECT_NE(Device(), nullptr) << "the application may try again";
  EXPECT_EQ(server.PassThruClose(kModule), STATUS_NOERROR);
  EXPECT_EQ(server.PassThruDisconnect(channelId), ERR_INVALID_DEVICE_ID);
  EXPECT_EQ(server.PassThruDisconnect(channelId + 1), ERR_INVALID_DEVICE_ID)
      << "without a device no channel is asked about";
}

struct Operation {
  const char* name;
  std::uint8_t method;
  std::uint16_t gatePoint;
  std::uint16_t lookupPoint;
  bool byDevice;
  const char* lookupFailure;
  const char* deviceFailure;
  std::function<Status(ServerTest&, std::uint32_t id)> run;
};

std::array<std::array<char, 80>, 3> texts;

const Operation kOperations[] =
    {
        {"PassThruConnect", 0x08, 1, 2, true,
         "GetDeviceFromDeviceID() lRet =", "Error in Device Connection.",
         [](ServerTest& t, std::uint32_t id) {
  return t.server.PassThruConnect(id, 0x9100, 0, 0, AppValue(t.channelId));
         }},
        {"PassThruDisconnect", 0x09, 1, 2, false, "Attempting to get device.",
         "Error disconnecting channel.",
         [](ServerTest& t, std::uint32_t id) { return t.server.PassThruDisconnect(id); }},
        {"PassThruReadMsgs", 0x0A, 3, 4, false, "Getting Device From ChannelID.",
         "Error reading Msgs from device.",
         [](ServerTest& t, std::uint32_t id) {
  return t.server.PassThruReadMsgs(id, AppMessage(t.message), AppValue(t.count), 0);
         }},
                {"PassThruWriteMsgs", 0x12, 1, 2, false, "Could not identify the Channel.",
                 "Error writing message.",
                 [](ServerTest& t, std::uint32_t id) {
  return t.server.PassThruWriteMsgs(id, AppMessage(t.message), AppValue(t.count), 0);
                 }},
    {"PassThruStartPeriodicMsg", 0x0B, 1, 2, false,
     "GetDeviceFromChannelID lRet =", "Error starting periodic message",
     [](ServerTest& t, std::uint32_t id) {
  return t.server.PassThruStartPeriodicMsg(id, AppMessage(t.message), AppValue(t.count), 10);
     }},
    {"PassThruStopPeriodicMsg", 0x0C, 1, 2, false, "Getting Device from ChannelID.",
     "Error stopping Periodic message.",
     [](ServerTest& t, std::uint32_t id) { return t.server.PassThruStopPeriodicMsg(id, 1); }},
    {"PassThruStartMsgFilter", 0x0D, 1, 3, false,
     "GetDeviceFromChannelID() =", "Error starting message filter.",
     [](ServerTest& t, std::uint32_t id) {
  return t.server.PassThruStartMsgFilter(id, PASS_FILTER, {}, {}, {}, AppValue(t.count));
     }},
    {"PassThruStopMsgFilter", 0x0E, 1, 2, false, "Device was not found.",
     "Error stopping message filter.",
     [](ServerTest& t, std::uint32_t id) { return t.server.PassThruStopMsgFilter(id, 0); }},
    {"PassThruSetProgrammingVoltage", 0x0F, 1, 2, true, "Attempting to get device.",
     "Error setting Programming Voltage.",
     [](ServerTest& t, std::uint32_t id) {
  return t.server.PassThruSetProgrammingVoltage(id, 12, 1);
     }},
    {"PassThruReadVersion", 0x10, 1, 5, true, "Device was not found",
     "Error reading Version information.",
     [](ServerTest& t, std::uint32_t id) {
  t.pdu.PDUGetVersion.Next({PDU_ERR_FCT_FAILED});
  return t.server.PassThruReadVersion(id, texts[0].data(), texts[1].data(), texts[2].data());
     }},
    {"PassThruIoctl", 0x11, 1, 2, true, "Device was not found", "NULL Channel.",
     [](ServerTest& t, std::uint32_t id) {
  return t.server.PassThruIoctl(id, READ_VBATT, {}, {});
     }},
    };

TEST_F(ServerTest, AnUnknownHandleIsAFirstCause) {
  for (const Operation& test : kOperations) {
    const Status expected = test.byDevice ? ERR_INVALID_DEVICE_ID : ERR_INVALID_CHANNEL_ID;
    EXPECT_EQ(test.run(*this, 0xFFFFFF), expected) << test.name;
    EXPECT_EQ(record.LastStatus(), expected);
    EXPECT_EQ(record.LastLocation(), MakeLocation(Module::Server, test.method, test.lookupPoint));
    const std::string failure = Failure();
    EXPECT_EQ(failure.substr(failure.find(":0000") + 10), test.lookupFailure);
  }
  EXPECT_EQ(count, 0U) << "nothing was read";
}

TEST_F(ServerTest, TheGateRefusesEverythingUntilAnOpenOrAClose) {
  record.SetLastStatus(ERR_DEVICE_NOT_CONNECTED);
  pdu.Calls().Clear();
  for (const Operation& test : kOperations) {
    count = 1;
    EXPECT_EQ(test.run(*this, kModule), ERR_DEVICE_NOT_CONNECTED) << test.name;
    EXPECT_EQ(
        Failure(),
        "CJ2534Server::" + std::string(test.name) + "() - " +
            Formatted("%08X", MakeLocation(Module::Server, test.method, test.gatePoint)).Text() +
            ":00000000 Return the device is not connected, reopen device.");
    if (test.method == 0x0A) {
      EXPECT_EQ(count, 0U) << "nothing was read";
    }
  }
  EXPECT_TRUE(pdu.Calls().All().empty());
  EXPECT_EQ(server.PassThruClose(99), ERR_INVALID_DEVICE_ID);
  EXPECT_EQ(Connect(), STATUS_NOERROR) << "the gate is lifted";
}

TEST_F(ServerTest, WhatTheDeviceReportedIsPassedOn) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  const std::uint32_t channel = channelId;
  for (const Operation& test : kOperations) {
    if (test.method == 0x09) continue;  // disconnecting such a channel does not fail
    const Status status = test.run(*this, test.byDevice ? kModule : channel);
    EXPECT_NE(status, STATUS_NOERROR) << test.name;
    EXPECT_EQ(record.LastStatus(), status);
    const std::uint16_t point = static_cast<std::uint16_t>(test.lookupPoint + 1);
    EXPECT_EQ(Failure(),
              "CJ2534Server::" + std::string(test.name) + "() - " +
                  Formatted("%08X", MakeLocation(Module::Server, test.method, point)).Text() +
                  ":00000000 " + test.deviceFailure);
    EXPECT_NE(record.LastLocation() >> 24U, 0x14U) << "the cause lies below the server";
  }
}

TEST_F(ServerTest, OnlyTheDevicesOwnIoctlsComeWithItsIdentifier) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  std::uint32_t value = 0;
  const AppPointer output{&value, FieldWidth::k32};
  for (const std::uint32_t ioctl :
       {READ_VBATT, READ_PROG_VOLTAGE, GET_VCI_SERIAL_NUMBER, READ_CABLE_ID}) {
    EXPECT_EQ(server.PassThruIoctl(kModule, ioctl, {}, output), STATUS_NOERROR) << ioctl;
    EXPECT_EQ(server.PassThruIoctl(channelId, ioctl, {}, output), ERR_INVALID_DEVICE_ID) << ioctl;
  }
  for (const std::uint32_t ioctl : {GET_DEVICE_CONFIG, SET_DEVICE_CONFIG}) {
    EXPECT_EQ(server.PassThruIoctl(channelId, ioctl, {}, {}), ERR_NOT_SUPPORTED) << ioctl;
  }
  for (const std::uint32_t ioctl : {GET_DEVICE_CONFIG, SET_DEVICE_CONFIG, CLEAR_RX_BUFFER}) {
    EXPECT_EQ(server.PassThruIoctl(kModule, ioctl, {}, {}), ERR_INVALID_CHANNEL_ID) << ioctl;
  }
}

TEST_F(ServerTest, PointersAreCheckedBeforeTheDeviceIsLookedFor) {
  auto* const nowhere = reinterpret_cast<char*>(8);
  char* const text = texts[0].data();
  record.SetLastStatus(ERR_TIMEOUT);
  EXPECT_EQ(server.PassThruReadMsgs(1, {nowhere, FieldWidth::k64}, AppValue(count), 0),
            ERR_NULL_PARAMETER);
  EXPECT_EQ(Failure(),
            "CJ2534Channel::PassThruReadMsgs() - 140A0001:00000000 NULL Message pointer.");
  EXPECT_EQ(server.PassThruReadMsgs(1, AppMessage(message), {}, 0), ERR_NULL_PARAMETER);
  EXPECT_EQ(Failure(),
            "CJ2534Channel::PassThruReadMsgs() - 140A0002:00000000 NULL Number of "
            "Messages pointer.");
  EXPECT_EQ(record.LastStatus(), ERR_TIMEOUT) << "these two leave the last status alone";
  EXPECT_EQ(server.PassThruStartMsgFilter(1, PASS_FILTER, {}, {}, {}, {nowhere, FieldWidth::k64}),
            ERR_NULL_PARAMETER);
  EXPECT_EQ(Failure(),
            "CJ2534Server::PassThruStartMsgFilter() - 140D0002:00000000 NULL Filter ID "
            "pointer.");
  EXPECT_EQ(server.PassThruReadVersion(99, nowhere, text, text), ERR_NULL_PARAMETER);
  EXPECT_EQ(record.LastLocation(), 0x14100002U);
  EXPECT_EQ(server.PassThruReadVersion(99, text, nullptr, text), ERR_NULL_PARAMETER);
  EXPECT_EQ(record.LastLocation(), 0x14100003U);
  EXPECT_EQ(server.PassThruReadVersion(99, text, text, nowhere), ERR_NULL_PARAMETER);
  EXPECT_EQ(record.LastLocation(), 0x14100004U);
}

TEST_F(ServerTest, AChannelIsKnownFromItsConnectToItsDisconnect) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  std::uint32_t device = 0;
  EXPECT_EQ(server.GetDeviceIDFromChannelID(channelId, &device), STATUS_NOERROR);
  EXPECT_EQ(device, kModule);
  EXPECT_EQ(server.GetDeviceIDFromChannelID(channelId, nullptr), ERR_NULL_PARAMETER);
  EXPECT_EQ(server.GetDeviceFromDeviceID(kModule, nullptr), ERR_NULL_PARAMETER);
  EXPECT_EQ(server.PassThruDisconnect(channelId), STATUS_NOERROR);
  EXPECT_EQ(server.PassThruDisconnect(channelId), ERR_INVALID_CHANNEL_ID);
  EXPECT_EQ(LastErrorText(), "(14090002:00000000) Invalid ChannelID value");
}

TEST_F(ServerTest, ALostVciIsNoticedAndItsItemsAreDestroyed) {
  auto& items = pdu.Items();
  pdu.Queue(kModule, PDU_HANDLE_UNDEF, items.MakeInfo(PDU_INFO_MODULE_LIST_CHG));
  pdu.Queue(kModule, PDU_HANDLE_UNDEF, items.MakeEvent(PDU_IT_ERROR, nullptr));
  pdu.Queue(kModule, PDU_HANDLE_UNDEF, items.MakeError(PDU_ERR_EVT_VCI_HARDWARE_FAULT));
  pdu.Signal(kModule, PDU_HANDLE_UNDEF, PDU_EVT_DATA_LOST);
  EXPECT_EQ(items.Alive(), 3U) << "not that event";
  pdu.Signal(kModule, PDU_HANDLE_UNDEF);
  EXPECT_EQ(items.Alive(), 0U);
  EXPECT_TRUE(Device()->IsConnected());

  pdu.Queue(kModule, PDU_HANDLE_UNDEF, items.MakeError(PDU_ERR_EVT_LOST_COMM_TO_VCI));
  pdu.Queue(kModule, PDU_HANDLE_UNDEF, items.MakeStatus(PDU_MODST_NOT_AVAIL));
  pdu.Signal(kModule, PDU_HANDLE_UNDEF);
  EXPECT_EQ(items.Alive(), 0U);
  EXPECT_FALSE(Device()->IsConnected());
  EXPECT_EQ(pdu.Calls().All().back(), "PDUModuleDisconnect(7)");
  EXPECT_EQ(server.PassThruClose(kModule), ERR_DEVICE_NOT_CONNECTED);
}

TEST_F(ServerTest, TheCallbackTracesWhatItDoes) {
  trace.Take();
  pdu.Deliver(kModule, PDU_HANDLE_UNDEF, pdu.Items().MakeError(PDU_ERR_EVT_LOST_COMM_TO_VCI));
  const std::vector<std::string> lines = trace.Take();
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), "Entering CJ2534Server::ModuleEventCallback()");
  EXPECT_EQ(lines.back(), "Leaving CJ2534Server::ModuleEventCallback()");
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Entering CJ2534Device::SetConnected()"), 1);
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Leaving CJ2534Device::SetConnected()"), 1);
  Device()->IsConnected();
  const std::vector<std::string> asked = trace.Take();
  EXPECT_EQ(std::count(asked.begin(), asked.end(), "Entering CJ2534Device::IsConnected()"), 1);
  EXPECT_EQ(std::count(asked.begin(), asked.end(), "Leaving CJ2534Device::IsConnected()"), 1);

  pdu.PDUGetEventItem.Does(
      [](UNUM32, UNUM32, PDU_EVENT_ITEM**) -> T_PDU_ERROR { throw std::bad_alloc(); });
  pdu.Signal(kModule, PDU_HANDLE_UNDEF);
  EXPECT_EQ(Failure(),
            "CJ2534Server::ModuleEventCallback() - 141300FF:00000000 Unhandled exception.");
}

TEST_F(ServerTest, AQueueThatGivesNothingDoesNotHoldTheCallback) {
  pdu.PDUGetEventItem.Does([](UNUM32, UNUM32, PDU_EVENT_ITEM**) { return PDU_STATUS_NOERROR; });
  CJ2534Server::ModuleEventCallback(PDU_EVT_DATA_AVAILABLE, kModule, PDU_HANDLE_UNDEF, nullptr,
                                    nullptr);
  EXPECT_EQ(pdu.Calls().Count("PDUGetEventItem"), 1U);
  CJ2534Server::ModuleEventCallback(PDU_EVT_DATA_AVAILABLE, kModule, 0x100, nullptr, nullptr);
  EXPECT_EQ(pdu.Calls().Count("PDUGetEventItem"), 1U) << "a link's event is not ours";
}

TEST_F(ServerTest, TheDPduApiIsConstructedWithTheVciName) {
  CJ2534Server fresh;
  record.SetLastStatus(ERR_TIMEOUT);
  EXPECT_TRUE(fresh.Initialize(true, nullptr));
  EXPECT_EQ(record.LastStatus(), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Of("PDUConstruct"), std::vector<std::string>{"PDUConstruct(\"\", tag)"});
  EXPECT_EQ(pdu.ApiTag(), &fresh);
  EXPECT_TRUE(fresh.Initialize(true, "x"));
  EXPECT_EQ(pdu.Calls().Of("PDUConstruct").back(),
            "PDUConstruct(\"VCIName='x' Port='8080'\", tag)");
  const std::string longest(99 - std::strlen("VCIName='' Port='8080'"), 'n');
  EXPECT_TRUE(fresh.Initialize(true, longest.c_str()));
  EXPECT_EQ(pdu.Calls().Count("PDUConstruct"), 3U);
  EXPECT_FALSE(fresh.Initialize(true, (longest + "n").c_str())) << "never with a cut name";
  EXPECT_EQ(pdu.Calls().Count("PDUConstruct"), 3U);
  pdu.PDUConstruct.Next({PDU_ERR_FCT_FAILED});
  EXPECT_FALSE(fresh.Initialize(true, nullptr));
}

TEST_F(ServerTest, ADeviceThatCouldNotBeClosedIsCutOffBeforeTheLibraryGoes) {
  ASSERT_EQ(Connect(), STATUS_NOERROR);
  EXPECT_TRUE(server.Uninitialize());
  EXPECT_EQ(pdu.Calls().All().back(), "PDUDestruct()");
  pdu.Calls().Clear();
  EXPECT_EQ(server.PassThruSetProgrammingVoltage(kModule, 12, 12000), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_TRUE(pdu.Calls().All().empty()) << "nothing calls through the table any more";
  record.SetLastStatus(STATUS_NOERROR);
  EXPECT_EQ(server.PassThruStopPeriodicMsg(channelId, 1), ERR_DEVICE_NOT_CONNECTED)
      << "its channel is still known as its";
}

}  // namespace
}  // namespace passbridge
