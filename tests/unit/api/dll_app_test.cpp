#include "api/dll_app.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "passbridge/j2534.h"
#include "pdu/com_param.h"
#include "platform/registry.h"
#include "server/device.h"
#include "support.h"
#include "support/scripted_pdu.h"
#include "trace/last_error.h"
#include "trace/trace.h"
#include "version_info.h"

namespace passbridge {
namespace {

std::atomic<int> loads{0};
std::atomic<int> unloads{0};
std::atomic<bool> isLoadable{true};

constexpr PduLoader kScripted{[] {
  ++loads;
  return isLoadable.load();
                              },
                              [] { ++unloads; }};

constexpr const char* kByName = "J2534-2:SN='4711' CXN='USB'";

struct DllAppTest : testing::Test {
  DllAppTest() {
    loads = 0;
    unloads = 0;
    isLoadable = true;
    LastErrorRecord::Instance().SetLastStatus(STATUS_NOERROR);
    pdu.SetModules({{7, "4711", "USB", PDU_MODST_AVAIL}, {8, "4712", "USB", PDU_MODST_AVAIL}});
  }
  ~DllAppTest() override { EXPECT_EQ(pdu.Items().Alive(), 0U); }

  Status Open(const char* name = kByName) { return app.PassThruOpen(name, AppValue(deviceId)); }
  /// The line to the VCI breaks.
  void Lose(std::uint32_t device) {
    std::uint32_t value = 0;
    pdu.PDUIoCtl.Next({PDU_ERR_COMM_PC_TO_VCI_FAILED});
    EXPECT_EQ(app.PassThruIoctl(device, READ_VBATT, {}, {&value, FieldWidth::k32}),
              ERR_DEVICE_NOT_CONNECTED);
  }
  static Status LastStatus() { return LastErrorRecord::Instance().LastStatus(); }

  platform::testing::SettingsSandbox sandbox;
  test::ScriptedPdu pdu;
  CJ2534Server server;
  CJ2534DllApp app{server, kScripted};
  std::uint32_t deviceId = 0;
};

TEST_F(DllAppTest, TheLibraryIsLoadedForTheFirstOpenAndUnloadedAfterTheLastClose) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  EXPECT_EQ(deviceId, 7U);
  EXPECT_EQ(pdu.Calls().Of("PDUConstruct"), std::vector<std::string>{"PDUConstruct(\"\", tag)"});
  ASSERT_EQ(Open("J2534-2:SN='4712' CXN='USB'"), STATUS_NOERROR);
  EXPECT_EQ(app.PassThruClose(99), ERR_INVALID_DEVICE_ID);
  EXPECT_EQ(app.PassThruClose(7), STATUS_NOERROR);
  EXPECT_EQ(unloads, 0);
  EXPECT_EQ(app.PassThruClose(8), STATUS_NOERROR);
  EXPECT_EQ(loads, 1);
  EXPECT_EQ(unloads, 1);
  EXPECT_EQ(pdu.Calls().All().back(), "PDUDestruct()");
  EXPECT_EQ(app.PassThruClose(8), ERR_INVALID_DEVICE_ID);
  EXPECT_EQ(Open(), STATUS_NOERROR);
  EXPECT_EQ(loads, 2) << "from scratch";
  EXPECT_EQ(pdu.Calls().Count("PDUGetObjectIds"), 1U) << "but for the identifiers";
  EXPECT_EQ(app.PassThruClose(7), STATUS_NOERROR);
}

TEST_F(DllAppTest, AnOpenThatFailsUnloadsUnlessNothingWasChosen) {
  EXPECT_EQ(Open("ABC"), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(LastStatus(), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(Open(nullptr), ERR_DEVICE_NOT_CONNECTED) << "no strategies";
  EXPECT_EQ(Open("J2534-2:SN='99' CXN='USB'"), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(loads, 1);
  EXPECT_EQ(unloads, 0);
  pdu.PDUModuleConnect.Next({PDU_ERR_DEVICE_IN_USE});
  EXPECT_EQ(Open(), ERR_DEVICE_IN_USE);
  EXPECT_EQ(unloads, 1);
  EXPECT_EQ(app.PassThruOpen(kByName, AppValue()), ERR_NULL_PARAMETER);
  EXPECT_EQ(unloads, 2);
  ASSERT_EQ(Open(), STATUS_NOERROR);
  EXPECT_EQ(app.PassThruOpen(kByName, AppValue()), ERR_NULL_PARAMETER);
  EXPECT_EQ(unloads, 2) << "a device is open";
  EXPECT_EQ(app.PassThruClose(7), STATUS_NOERROR);
}

TEST_F(DllAppTest, WithoutALibraryNothingIsSelected) {
  isLoadable = false;
  EXPECT_EQ(Open(), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(LastStatus(), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_TRUE(pdu.Calls().All().empty()) << "nobody calls through an empty table";
  EXPECT_EQ(unloads, 0);
  EXPECT_TRUE(app.ReleasePduApi());
  EXPECT_EQ(unloads, 0);
}

TEST_F(DllAppTest, ACloseThatFailsCountsAndCutsTheDeviceOff) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  pdu.PDUModuleDisconnect.Next({PDU_ERR_FCT_FAILED});
  EXPECT_EQ(app.PassThruClose(7), ERR_FAILED);
  EXPECT_EQ(unloads, 1);
  pdu.Calls().Clear();
  EXPECT_EQ(app.PassThruSetProgrammingVoltage(7, 12, 12000), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(app.PassThruClose(7), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_TRUE(pdu.Calls().All().empty()) << "the library is gone";
  EXPECT_EQ(unloads, 1);
  EXPECT_EQ(Open(), STATUS_NOERROR) << "a new device in its place";
  EXPECT_EQ(app.PassThruClose(7), STATUS_NOERROR);
}

TEST_F(DllAppTest, WhatFailedIsWhatTheFailingCloseSays) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  std::uint32_t channel = 0;
  ASSERT_EQ(app.PassThruConnect(7, CAN, 0, 500000, AppValue(channel)), STATUS_NOERROR);
  pdu.PDUDisconnect.Next({PDU_ERR_FCT_FAILED});
  pdu.PDUDestroyComLogicalLink.Does([&](UNUM32 hMod, UNUM32 hCLL) {
    pdu.PDUDestroyComLogicalLink.BuiltIn(hMod, hCLL);
    return PDU_ERR_RSC_LOCKED;
  });
  EXPECT_EQ(app.PassThruClose(7), ERR_FAILED);
  EXPECT_EQ(pdu.Calls().Count("PDUDestroyComLogicalLink"), 1U)
      << "the channel is cut off, which fails, too";
  EXPECT_EQ(LastErrorRecord::Instance().LastPduCode(), T_PDU_ERROR{PDU_ERR_FCT_FAILED});
  EXPECT_EQ(LastErrorRecord::Instance().Text(),
            "(02240003:00000001) Error disconnecting from vehicle.\r\n");
}

TEST_F(DllAppTest, ADeviceCountsOnce) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  ASSERT_EQ(Open("J2534-2:SN='4712' CXN='USB'"), STATUS_NOERROR);
  Lose(7);
  EXPECT_EQ(app.PassThruClose(7), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(app.PassThruClose(7), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(unloads, 0) << "the other device is open";
  EXPECT_EQ(app.PassThruClose(8), STATUS_NOERROR);
  EXPECT_EQ(unloads, 1);
}

TEST_F(DllAppTest, ALostVciThatIsOpenedAgainCountsOnce) {
  for (const UNUM32 handle : {7U, 9U}) {
    ASSERT_EQ(Open(), STATUS_NOERROR);
    Lose(deviceId);
    pdu.SetModules({{handle, "4711", "USB", PDU_MODST_AVAIL}});
    const int before = unloads;
    ASSERT_EQ(Open(), STATUS_NOERROR);
    EXPECT_EQ(deviceId, handle);
    EXPECT_EQ(app.PassThruClose(handle), STATUS_NOERROR);
    EXPECT_EQ(unloads, before + 1) << handle;
  }
}

TEST_F(DllAppTest, AConstructionThatFailsIsTriedAgain) {
  pdu.PDUConstruct.Next({PDU_ERR_FCT_FAILED});
  EXPECT_EQ(Open(), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(LastStatus(), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(pdu.Calls().All().size(), 1U) << "what is not constructed is not used";
  EXPECT_EQ(unloads, 1);
  pdu.PDUGetModuleIds.Next({PDU_ERR_PDUAPI_NOT_CONSTRUCTED});
  EXPECT_EQ(Open(), ERR_DEVICE_NOT_CONNECTED) << "success that was none";
  EXPECT_EQ(unloads, 2);
  EXPECT_EQ(Open(), STATUS_NOERROR);
  EXPECT_EQ(app.PassThruClose(7), STATUS_NOERROR);
}

TEST_F(DllAppTest, IdentifiersThatAreMissingAreAskedForAtTheNextConstruction) {
  pdu.PDUGetObjectIds.Next({PDU_ERR_FCT_FAILED});
  pdu.PDUGetObjectId.Always(PDU_ERR_FCT_FAILED);
  ASSERT_EQ(Open(), STATUS_NOERROR);
  EXPECT_EQ(pdu::ComParamId(pdu::ComParam::CP_Baudrate), PDU_ID_UNDEF);
  ASSERT_EQ(app.PassThruClose(7), STATUS_NOERROR);
  pdu.PDUGetObjectId.Always(PDU_STATUS_NOERROR);
  ASSERT_EQ(Open(), STATUS_NOERROR);
  EXPECT_EQ(pdu::ComParamId(pdu::ComParam::CP_Baudrate),
            pdu.IdOf(PDU_OBJT_COMPARAM, "CP_Baudrate"));
  EXPECT_EQ(app.PassThruClose(7), STATUS_NOERROR);
}

TEST_F(DllAppTest, AVciNameThatIsTooLongIsRefusedBeforeAnythingIsLoaded) {
  const std::string name =
      "J2534-2:SN='4712' CXN='ETHERNET,USB' VCIName='Workshop bay three, left-hand lift'";
  EXPECT_EQ(Open(name.c_str()), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(LastStatus(), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(loads, 0);
  ASSERT_EQ(Open(), STATUS_NOERROR);
  EXPECT_EQ(Open(name.c_str()), STATUS_NOERROR) << "nothing is constructed with it any more";
  EXPECT_EQ(app.PassThruClose(7), STATUS_NOERROR);
  EXPECT_EQ(app.PassThruClose(8), STATUS_NOERROR);
}

TEST_F(DllAppTest, AVciNameGoesToTheLibrary) {
  EXPECT_EQ(Open("J2534-2:SN='1' VCIName"), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(pdu.Calls().Of("PDUConstruct").front(),
            "PDUConstruct(\"VCIName='J2534-2:SN='1' VCIName' Port='8080'\", tag)");
  EXPECT_EQ(Open("J2534-2:SN='2' VCIName"), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(pdu.Calls().Count("PDUConstruct"), 1U) << "the first one only";
}

TEST_F(DllAppTest, TheSameVciIsOpenedAgainUnlessItIsToBeForgotten) {
  ASSERT_EQ(Open(), STATUS_NOERROR);
  ASSERT_EQ(app.PassThruClose(7), STATUS_NOERROR);
  EXPECT_EQ(Open(nullptr), STATUS_NOERROR);
  ASSERT_EQ(app.PassThruClose(7), STATUS_NOERROR);
  EXPECT_EQ(app.PassThruOpen(reinterpret_cast<void*>(8), AppValue(deviceId)), STATUS_NOERROR)
      << "a name that cannot be read is none";
  ASSERT_EQ(app.PassThruClose(7), STATUS_NOERROR);
  EXPECT_EQ(app.PassThruIoctl(0, FORGET_LAST_USED_VCI, {}, {}), STATUS_NOERROR);
  EXPECT_EQ(Open(nullptr), ERR_DEVICE_NOT_CONNECTED);
}

TEST_F(DllAppTest, TheDialogIsSuppressedByAnIoctl) {
  const std::string key = "SOFTWARE\\QUARN\\QUARN_VCI\\AutoConnectionOrder\\Connection00";
  auto entry = platform::RegistryKey::Create(platform::RegistryRoot::User, key);
  ASSERT_TRUE(entry->WriteDword("Number", 3) && entry->WriteDword("Enabled", 1));
  int asked = 0;
  app.Selection().SetDialog([&] {
    ++asked;
    return VciChoice{VciChoice::kCancelled, 0, InterfaceType::None};
  });
  EXPECT_EQ(Open(nullptr), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(unloads, 1) << "cancelled";
  std::uint32_t value = 0;
  const AppPointer input{&value, FieldWidth::k32};
  EXPECT_EQ(app.PassThruIoctl(0, SUPPRESS_VCI_DIALOG, input, {}), ERR_NULL_PARAMETER);
  EXPECT_EQ(app.PassThruIoctl(0, SUPPRESS_VCI_DIALOG, {}, {}), ERR_NULL_PARAMETER);
  value = 1;
  EXPECT_EQ(app.PassThruIoctl(0, SUPPRESS_VCI_DIALOG, input, {}), STATUS_NOERROR);
  EXPECT_EQ(Open(nullptr), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(asked, 1);
  value = 2;
  EXPECT_EQ(app.PassThruIoctl(0, SUPPRESS_VCI_DIALOG, input, {}), STATUS_NOERROR);
  EXPECT_EQ(Open(nullptr), ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(asked, 2);
}

TEST_F(DllAppTest, TheTraceSwitchIsReadWithTheLibrary) {
  auto key = platform::RegistryKey::Create(platform::RegistryRoot::User,
                                           "SOFTWARE\\QUARN\\QUARN_VCI\\Monitoring");
  for (const std::uint32_t value : {2U, 0U}) {
    ASSERT_TRUE(key->WriteDword("VCI Logging", value));
    app.InitializePduApi(nullptr);
    EXPECT_EQ(IsTraceEnabled(), value != 0);
    SetTraceEnabled(0);
    app.ReleasePduApi();
  }
}

TEST_F(DllAppTest, TheVersionOfTheLibraryIsGivenEvenWhenTheRestFails) {
  std::array<char, 80> firmware{};
  std::array<char, 80> dll{};
  std::array<char, 80> api{};
  EXPECT_EQ(app.PassThruReadVersion(99, firmware.data(), dll.data(), api.data()),
            ERR_INVALID_DEVICE_ID);
  EXPECT_STREQ(dll.data(), kProductVersion);
  EXPECT_STREQ(firmware.data(), "");
}

TEST_F(DllAppTest, OpensAndClosesOfManyThreadsStayInOrder) {
  std::vector<std::thread> threads;
  std::atomic<int> opened{0};
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      const std::string name = "J2534-2:SN='" + std::to_string(5000 + i) + "' CXN='USB'";
      for (int round = 0; round < 20; ++round) {
        std::uint32_t id = 0;
        if (app.PassThruOpen(name.c_str(), AppValue(id)) != STATUS_NOERROR) continue;
        ++opened;
        app.PassThruClose(id);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(opened, 0) << "there are no such VCIs";
  EXPECT_TRUE(app.ReleasePduApi());
  EXPECT_EQ(loads, unloads.load());

  threads.clear();
  pdu.SetModules({{1, "5000", "USB", PDU_MODST_AVAIL},
                  {2, "5001", "USB", PDU_MODST_AVAIL},
                  {3, "5002", "USB", PDU_MODST_AVAIL},
                  {4, "5003", "USB", PDU_MODST_AVAIL}});
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      const std::string name = "J2534-2:SN='" + std::to_string(5000 + i) + "' CXN='USB'";
      for (int round = 0; round < 20; ++round) {
        std::uint32_t id = 0;
        if (app.PassThruOpen(name.c_str(), AppValue(id)) != STATUS_NOERROR) continue;
        EXPECT_EQ(id, static_cast<std::uint32_t>(i + 1));
        ++opened;
        EXPECT_EQ(app.PassThruClose(id), STATUS_NOERROR);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(opened, 80);
  EXPECT_EQ(loads, unloads.load()) << "each load was undone";
  EXPECT_EQ(pdu.Calls().Count("PDUConstruct"), pdu.Calls().Count("PDUDestruct"));
}

}  // namespace
}  // namespace passbridge
