// Construction, modules, links, handles and arguments.
#include <array>
#include <atomic>
#include <set>
#include <thread>

#include "tests/virtual_vci/pdu_fixture.h"

namespace virtual_vci_test {
namespace {

class LifeCycleTest : public PduTest {
 protected:
  PDU_RSC_DATA CanResource(PDU_PIN_DATA* pins) {
    pins[0] = {6, 0};
    pins[1] = {14, 0};
    return {Id(PDU_OBJT_BUSTYPE, "ISO_11898_2_DWCAN"), Id(PDU_OBJT_PROTOCOL, "ISO_11898_RAW"), 2,
            pins};
  }
  T_PDU_STATUS StatusOf(UNUM32 module, UNUM32* extra = nullptr) {
    T_PDU_STATUS status = 0;
    UNUM32 timestamp = 0;
    UNUM32 unused = 0;
    EXPECT_EQ(library_.PDUGetStatus(module, PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, &status, &timestamp,
                                    extra == nullptr ? &unused : extra),
              PDU_STATUS_NOERROR);
    return status;
  }
};

TEST_F(LifeCycleTest, NothingWorksBeforeConstructAndAfterDestruct) {
  EXPECT_EQ(library_.PDUConstruct(nullptr, nullptr), PDU_ERR_SHARING_VIOLATION);
  ASSERT_EQ(library_.PDUDestruct(), PDU_STATUS_NOERROR);
  constructed_ = false;
  PDU_MODULE_ITEM* modules = nullptr;
  PDU_EVENT_ITEM* event = nullptr;
  PDU_ITEM item{PDU_IT_RESULT};
  PDU_VERSION_DATA version;
  EXPECT_EQ(library_.PDUDestruct(), PDU_ERR_PDUAPI_NOT_CONSTRUCTED);
  EXPECT_EQ(library_.PDUGetModuleIds(&modules), PDU_ERR_PDUAPI_NOT_CONSTRUCTED);
  EXPECT_EQ(library_.PDUModuleConnect(0x1001), PDU_ERR_PDUAPI_NOT_CONSTRUCTED);
  EXPECT_EQ(library_.PDUGetEventItem(0x1001, 1, &event), PDU_ERR_PDUAPI_NOT_CONSTRUCTED);
  EXPECT_EQ(library_.PDUDestroyItem(&item), PDU_ERR_PDUAPI_NOT_CONSTRUCTED);
  EXPECT_EQ(library_.PDUGetVersion(0x1001, &version), PDU_ERR_PDUAPI_NOT_CONSTRUCTED);
}

TEST_F(LifeCycleTest, OptionTextsAreUnderstoodOrRefused) {
  ASSERT_EQ(library_.PDUDestruct(), PDU_STATUS_NOERROR);
  constructed_ = false;
  const struct {
    const char* text;
    T_PDU_ERROR result;
  } cases[] = {{"", PDU_STATUS_NOERROR},
               {"VCIName='bench 7' Port='8080'", PDU_STATUS_NOERROR},
               {"  Clock='realtime' ", PDU_STATUS_NOERROR},
               {"Clock='sundial'", PDU_ERR_INVALID_PARAMETERS},
               {"Clock='instant", PDU_ERR_INVALID_PARAMETERS},
               {"Clock", PDU_ERR_INVALID_PARAMETERS},
               {"Scenario='no/such/file.json'", PDU_ERR_INVALID_PARAMETERS}};
  for (const auto& each : cases) {
    std::string text = each.text;
    EXPECT_EQ(library_.PDUConstruct(text.data(), nullptr), each.result) << text;
    library_.PDUDestruct();
  }
}

TEST_F(LifeCycleTest, ModuleListNamesVcisAndTheirInterfaces) {
  PDU_MODULE_ITEM* list = nullptr;
  ASSERT_EQ(library_.PDUGetModuleIds(&list), PDU_STATUS_NOERROR);
  std::vector<std::string> lines;
  for (UNUM32 i = 0; i < list->NumEntries; ++i) {
    const PDU_MODULE_DATA& module = list->pModuleData[i];
    lines.push_back(std::string(module.pVendorModuleName) + " " + module.pVendorAdditionalInfo +
                    " " + std::to_string(module.ModuleStatus - PDU_MODST_READY));
  }
  EXPECT_THAT(lines,
              testing::ElementsAre(
                  "4711 ConnectionType='USB' 3",
                  "4711 ConnectionType='Ethernet' IPAddress='192.168.0.11' 3",
                  "4712 ConnectionType='Wireless' IPAddress='192.168.0.12' WifiSigQuality='3' 3",
                  "4713 ConnectionType='Bluetooth' 1"));
  EXPECT_EQ(library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(list)), PDU_STATUS_NOERROR);
}

TEST_F(LifeCycleTest, ModuleConnectAndDisconnect) {
  const UNUM32 usb = ModuleNamed("4711", "USB");
  const UNUM32 ethernet = ModuleNamed("4711", "Ethernet");
  const UNUM32 outdated = ModuleNamed("4713", "Bluetooth");
  UNUM32 extra = 0;
  EXPECT_EQ(StatusOf(outdated, &extra), PDU_MODST_NOT_READY);
  EXPECT_EQ(extra, PDU_ERR_MODULE_FW_OUT_OF_DATE);
  EXPECT_EQ(library_.PDUModuleConnect(outdated), PDU_ERR_MODULE_FW_OUT_OF_DATE);
  EXPECT_EQ(library_.PDUModuleDisconnect(usb), PDU_ERR_MODULE_NOT_CONNECTED);
  EXPECT_EQ(StatusOf(usb), PDU_MODST_AVAIL);
  EXPECT_EQ(library_.PDUModuleConnect(usb), PDU_STATUS_NOERROR);
  EXPECT_EQ(StatusOf(usb), PDU_MODST_READY);
  EXPECT_EQ(library_.PDUModuleConnect(usb), PDU_ERR_SHARING_VIOLATION);
  EXPECT_EQ(library_.PDUModuleConnect(ethernet), PDU_ERR_DEVICE_IN_USE);
  EXPECT_EQ(library_.PDUModuleDisconnect(usb), PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.PDUModuleConnect(ethernet), PDU_STATUS_NOERROR);
  PDU_VERSION_DATA version{};
  EXPECT_EQ(library_.PDUGetVersion(ethernet, &version), PDU_STATUS_NOERROR);
  EXPECT_EQ(version.HwSerialNumber, 4711u);
  EXPECT_EQ(version.FwVersion, 0x02030400u);
  EXPECT_EQ(library_.PDUGetVersion(usb, &version), PDU_ERR_MODULE_NOT_CONNECTED);
  EXPECT_EQ(library_.PDUModuleDisconnect(ethernet), PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.VirtualVciSetStatus(4711, PDU_MODST_NOT_READY, PDU_ERR_API_SW_OUT_OF_DATE),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.PDUModuleConnect(usb), PDU_ERR_API_SW_OUT_OF_DATE);
  EXPECT_EQ(library_.VirtualVciSetStatus(4711, PDU_MODST_NOT_AVAIL, 0), PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.PDUModuleConnect(usb), PDU_ERR_MODULE_NOT_CONNECTED);
  EXPECT_EQ(library_.VirtualVciSetStatus(1, PDU_MODST_AVAIL, 0), PDU_ERR_INVALID_PARAMETERS);
}

TEST_F(LifeCycleTest, PinsAndBusTypesHaveToFit) {
  const UNUM32 module = Connect();
  const struct {
    const char* what;
    TestLink::Setup setup;
    T_PDU_ERROR result;
  } cases[] = {
      {"one pin", {.pins = {6}}, PDU_ERR_INVALID_PARAMETERS},
      {"the same pin twice", {.pins = {6, 6}}, PDU_ERR_INVALID_PARAMETERS},
      {"ground", {.pins = {4, 14}}, PDU_ERR_INVALID_PARAMETERS},
      {"battery", {.pins = {6, 16}}, PDU_ERR_INVALID_PARAMETERS},
      {"other pins", {.pins = {3, 11}}, PDU_STATUS_NOERROR},
      {"single wire", {.busType = "SAE_J2411_SWCAN", .pins = {1}}, PDU_STATUS_NOERROR},
      {"unknown bus", {.busType = "TOKEN_RING"}, PDU_ERR_RESOURCE_ERROR},
      {"protocol of another bus", {.busType = "SAE_J1850_PWM"}, PDU_ERR_RESOURCE_ERROR},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(TestLink(library_, module, each.setup).Created(), each.result) << each.what;
  }
  const TestLink first(library_, module);
  const TestLink second(library_, module);
  EXPECT_EQ(second.Created(), PDU_STATUS_NOERROR) << "CAN is shared";
  EXPECT_EQ(TestLink(library_, module, {.busType = "ISO_11898_3_DWFTCAN"}).Created(),
            PDU_ERR_RESOURCE_BUSY);
}

TEST_F(LifeCycleTest, ResourcesLocksAndConflicts) {
  const UNUM32 module = Connect();
  PDU_PIN_DATA pins[2];
  PDU_RSC_DATA resource = CanResource(pins);
  PDU_RSC_ID_ITEM* list = nullptr;
  ASSERT_EQ(library_.PDUGetResourceIds(PDU_HANDLE_UNDEF, &resource, &list), PDU_STATUS_NOERROR);
  ASSERT_EQ(list->NumModules, 1u);
  ASSERT_EQ(list->pResourceIdDataArray[0].NumIds, 1u);
  PDU_RSC_STATUS_DATA row{module, list->pResourceIdDataArray[0].pResourceIdArray[0], 0};
  library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(list));
  PDU_RSC_STATUS_ITEM status{PDU_IT_RSC_STATUS, 1, &row};
  const auto read = [&] {
    EXPECT_EQ(library_.PDUGetResourceStatus(&status), PDU_STATUS_NOERROR);
    return row.ResourceStatus;
  };
  EXPECT_EQ(read(), 0u);
  TestLink one(library_, module);
  TestLink other(library_, module);
  one.Open();
  other.Open();
  EXPECT_EQ(read(), PDU_RSC_STATUS_IN_USE);
  EXPECT_EQ(library_.PDULockResource(module, one.Handle(), PDU_LOCK_COMPARAMS | PDU_LOCK_TRANSMIT),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(read(), PDU_RSC_STATUS_IN_USE | PDU_RSC_STATUS_COMPARAMS_LOCKED |
                        PDU_RSC_STATUS_TRANSMIT_LOCKED);
  EXPECT_TRUE(
      other.Await([](const Event& event) { return event.info.InfoCode == PDU_INFO_RSC_LOCK_CHG; }));
  EXPECT_EQ(library_.PDULockResource(module, other.Handle(), PDU_LOCK_TRANSMIT),
            PDU_ERR_RSC_LOCKED_BY_OTHER_CLL);
  EXPECT_EQ(library_.PDUUnlockResource(module, other.Handle(), PDU_LOCK_TRANSMIT),
            PDU_ERR_RSC_LOCKED_BY_OTHER_CLL);
  EXPECT_EQ(other.Set("CP_Baudrate", 250000), PDU_ERR_COMPARAM_LOCKED);
  T_PDU_ERROR result = PDU_STATUS_NOERROR;
  other.Start({.data = Message(0x123, {1})}, &result);
  EXPECT_EQ(result, PDU_ERR_RSC_LOCKED);
  EXPECT_EQ(one.Set("CP_Baudrate", 250000), PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.PDUUnlockResource(module, one.Handle(), PDU_LOCK_TRANSMIT),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.PDUUnlockResource(module, one.Handle(), PDU_LOCK_TRANSMIT),
            PDU_ERR_RSC_NOT_LOCKED);
  EXPECT_NE(other.Send(Message(0x123, {1})), PDU_HANDLE_UNDEF);
  one.Update();
  EXPECT_TRUE(other.Await(
      [](const Event& event) { return event.info.InfoCode == PDU_INFO_PHYS_COMPARAM_CHG; }));

  {
    TestLink leaving(library_, module);
    EXPECT_EQ(library_.PDULockResource(module, leaving.Handle(), PDU_LOCK_TRANSMIT),
              PDU_STATUS_NOERROR);
    other.Drain();
  }
  EXPECT_TRUE(other.Await([](const Event& event) {
    return event.info.InfoCode == PDU_INFO_RSC_LOCK_CHG;
  })) << "a destroyed link leaves no lock";
  EXPECT_NE(other.Send(Message(0x123, {1})), PDU_HANDLE_UNDEF);

  PDU_MODULE_DATA moduleRow{0, module, nullptr, nullptr, 0};
  PDU_MODULE_ITEM modules{PDU_IT_MODULE_ID, 1, &moduleRow};
  PDU_RSC_CONFLICT_ITEM* conflicts = nullptr;
  ASSERT_EQ(library_.PDUGetConflictingResources(row.ResourceId, &modules, &conflicts),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(conflicts->NumEntries, 2u) << "SCI has each of its pins; CAN protocols share them";
  library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(conflicts));
}

TEST_F(LifeCycleTest, VoltagesAndCable) {
  const UNUM32 module = Connect();
  const auto read = [&](const char* name, T_PDU_ERROR expected = PDU_STATUS_NOERROR) {
    PDU_DATA_ITEM* item = nullptr;
    EXPECT_EQ(
        library_.PDUIoCtl(module, PDU_HANDLE_UNDEF, Id(PDU_OBJT_IO_CTRL, name), nullptr, &item),
        expected);
    if (item == nullptr) return UNUM32{0};
    EXPECT_EQ(item->ItemType, PDU_IT_IO_UNUM32);
    const UNUM32 value = *static_cast<UNUM32*>(item->pData);
    library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(item));
    return value;
  };
  const auto program = [&](UNUM32 voltage, UNUM32 pin) {
    PDU_IO_PROG_VOLTAGE_DATA data{voltage, pin};
    PDU_DATA_ITEM item{PDU_IT_IO_PROG_VOLTAGE, &data};
    return library_.PDUIoCtl(module, PDU_HANDLE_UNDEF,
                             Id(PDU_OBJT_IO_CTRL, "PDU_IOCTL_SET_PROG_VOLTAGE"), &item, nullptr);
  };
  EXPECT_EQ(read("PDU_IOCTL_READ_VBATT"), 12600u);
  EXPECT_EQ(read("PDU_IOCTL_GET_CABLE_ID"), 100u);
  EXPECT_EQ(program(18000, 12), PDU_STATUS_NOERROR);
  EXPECT_EQ(read("PDU_IOCTL_READ_PROG_VOLTAGE"), 18000u);
  EXPECT_EQ(program(0xFFFFFFFF, 12), PDU_STATUS_NOERROR);
  EXPECT_EQ(read("PDU_IOCTL_READ_PROG_VOLTAGE"), 0u);
  EXPECT_EQ(program(0xFFFFFFFE, 15), PDU_STATUS_NOERROR);
  EXPECT_EQ(program(4999, 12), PDU_ERR_VOLTAGE_NOT_SUPPORTED);
  EXPECT_EQ(program(12000, 3), PDU_ERR_MUX_RSC_NOT_SUPPORTED);
  EXPECT_EQ(library_.PDUIoCtl(module, PDU_HANDLE_UNDEF, 0x1234, nullptr, nullptr),
            PDU_ERR_ID_NOT_SUPPORTED);
  library_.PDUModuleDisconnect(module);
  EXPECT_EQ(library_.VirtualVciSetVoltages(4712, 11900, 0), PDU_STATUS_NOERROR);
  const UNUM32 wireless = ModuleNamed("4712", "Wireless");
  ASSERT_EQ(library_.PDUModuleConnect(wireless), PDU_STATUS_NOERROR);
  PDU_DATA_ITEM* item = nullptr;
  EXPECT_EQ(library_.PDUIoCtl(wireless, PDU_HANDLE_UNDEF,
                              Id(PDU_OBJT_IO_CTRL, "PDU_IOCTL_GET_CABLE_ID"), nullptr, &item),
            PDU_ERR_NO_CABLE_DETECTED);
}

TEST_F(LifeCycleTest, DestructEndsWhateverIsOpen) {
  const UNUM32 module = Connect();
  auto link = std::make_unique<TestLink>(library_, module);
  link->Open();
  link->Start({.data = Message(0x100, {1}), .sendCycles = PDU_CYCLES_INFINITE, .time = 1});
  PDU_MODULE_ITEM* list = nullptr;
  ASSERT_EQ(library_.PDUGetModuleIds(&list), PDU_STATUS_NOERROR);
  ASSERT_EQ(library_.PDUDestruct(), PDU_STATUS_NOERROR);
  constructed_ = false;
  VVCI_LEDGER ledger{};
  library_.VirtualVciGetLedger(&ledger);
  EXPECT_EQ(ledger.LeftAtDestruct, 1u) << "the module list";
  library_.VirtualVciReset();
}

TEST(UnloadTest, LibraryCanBeUnloadedAndLoadedAgain) {
  for (int i = 0; i < 5; ++i) {
    PduLibrary library(LibraryPath());
    ASSERT_TRUE(library.Loaded());
    std::string options = "Clock='instant'";
    ASSERT_EQ(library.PDUConstruct(options.data(), nullptr), PDU_STATUS_NOERROR);
    ASSERT_EQ(library.PDUModuleConnect(0x1001), PDU_STATUS_NOERROR);
    {
      TestLink link(library, 0x1001);
      link.Open();
      link.Send(Message(0x7E0, {2, 1, 0}));
      EXPECT_TRUE(link.AwaitResult());
    }
    ASSERT_EQ(library.PDUDestruct(), PDU_STATUS_NOERROR);
  }
}

std::atomic<PduLibrary*> callbackLibrary;
std::atomic<T_PDU_ERROR> destructInCallback;
std::atomic<T_PDU_ERROR> disconnectInCallback;
std::atomic<bool> callbackDone;

void PDUAPI OnModuleEvent(T_PDU_EVT_DATA, UNUM32 module, UNUM32 link, void*, void*) {
  PduLibrary& library = *callbackLibrary.load();
  PDU_EVENT_ITEM* item = nullptr;
  while (library.PDUGetEventItem(module, link, &item) == PDU_STATUS_NOERROR)
    TakeEvent(library, item);
  destructInCallback = library.PDUDestruct();
  disconnectInCallback = library.PDUModuleDisconnect(module);
  callbackDone = true;
}

TEST_F(LifeCycleTest, LostVciIsToldAndCanBeDisconnectedInItsOwnCallback) {
  const UNUM32 module = Connect();
  auto link = std::make_unique<TestLink>(library_, module);
  link->Open();
  callbackLibrary = &library_;
  callbackDone = false;
  ASSERT_EQ(library_.PDURegisterEventCallback(module, PDU_HANDLE_UNDEF, &OnModuleEvent),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.VirtualVciUnplug(4711), PDU_STATUS_NOERROR);
  for (int i = 0; i < 2000 && !callbackDone; ++i) std::this_thread::sleep_for(milliseconds(1));
  ASSERT_TRUE(callbackDone);
  EXPECT_EQ(destructInCallback, PDU_ERR_FCT_FAILED);
  EXPECT_EQ(disconnectInCallback, PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.PDUModuleConnect(module), PDU_ERR_DEVICE_NOT_CONNECTED);
  EXPECT_EQ(ModuleNamed("4711", "USB"), PDU_HANDLE_UNDEF) << "it has left the list";
  EXPECT_EQ(library_.VirtualVciPlug(4711), PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.PDUModuleConnect(module), PDU_STATUS_NOERROR);
}

std::atomic<int> inCallback;
std::atomic<int> othersEnded;

/// Ends the other one of the modules 0x1001 and 0x1003 while that one's callback runs, too.
void PDUAPI OnModuleEventEndOther(T_PDU_EVT_DATA, UNUM32 module, UNUM32, void*, void*) {
  ++inCallback;
  for (int i = 0; i < 2000 && inCallback < 2; ++i) std::this_thread::sleep_for(milliseconds(1));
  callbackLibrary.load()->PDUModuleDisconnect(0x1001 + 0x1003 - module);
  ++othersEnded;
}

TEST_F(LifeCycleTest, CallbacksOfTwoModulesMayEndEachOther) {
  const UNUM32 modules[] = {Connect(), ModuleNamed("4712", "Wireless")};
  ASSERT_THAT(modules, testing::ElementsAre(0x1001u, 0x1003u));
  ASSERT_EQ(library_.PDUModuleConnect(modules[1]), PDU_STATUS_NOERROR);
  callbackLibrary = &library_;
  inCallback = othersEnded = 0;
  for (const UNUM32 module : modules) {
    ASSERT_EQ(library_.PDURegisterEventCallback(module, PDU_HANDLE_UNDEF, &OnModuleEventEndOther),
              PDU_STATUS_NOERROR);
  }
  library_.VirtualVciUnplug(4711);
  library_.VirtualVciUnplug(4712);
  for (int i = 0; i < 15000 && othersEnded < 2; ++i) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_EQ(inCallback, 2);
  EXPECT_EQ(othersEnded, 2);
}

std::atomic<int> fetching;
void PDUAPI OnLinkEventFetchLate(T_PDU_EVT_DATA, UNUM32 module, UNUM32 link, void*, void*) {
  fetching = 1;
  std::this_thread::sleep_for(milliseconds(200));  // the module is being disconnected by now
  PDU_EVENT_ITEM* item = nullptr;
  callbackLibrary.load()->PDUGetEventItem(module, link, &item);
  fetching = 2;
}

TEST_F(LifeCycleTest, DisconnectWaitsForACallbackThatFetchesAnEvent) {
  const UNUM32 module = Connect();
  callbackLibrary = &library_;
  fetching = 0;
  const TestLink link(library_, module);
  ASSERT_EQ(library_.PDURegisterEventCallback(module, link.Handle(), &OnLinkEventFetchLate),
            PDU_STATUS_NOERROR);
  library_.PDUConnect(module, link.Handle());
  while (fetching == 0) std::this_thread::yield();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(library_.PDUModuleDisconnect(module), PDU_STATUS_NOERROR);
  EXPECT_EQ(fetching, 2);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, milliseconds(4000));
}

TEST_F(LifeCycleTest, LinkOfALostVciSaysSo) {
  const UNUM32 module = Connect();
  TestLink link(library_, module);
  link.Open();
  library_.VirtualVciUnplug(4711);
  const auto error = link.Await([](const Event& event) { return event.type == PDU_IT_ERROR; });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->error.ErrorCodeId, PDU_ERR_EVT_LOST_COMM_TO_VCI);
  EXPECT_EQ(error->cop, PDU_HANDLE_UNDEF);
  link.Drain();
  PDU_EVENT_ITEM* item = nullptr;
  EXPECT_EQ(library_.PDUGetEventItem(module, link.Handle(), &item), PDU_ERR_COMM_PC_TO_VCI_FAILED);
  EXPECT_EQ(library_.PDUConnect(module, link.Handle()), PDU_ERR_COMM_PC_TO_VCI_FAILED);
  EXPECT_EQ(StatusOf(module), PDU_MODST_NOT_AVAIL);
  library_.PDUGetEventItem(module, PDU_HANDLE_UNDEF, &item);
  EXPECT_EQ(TakeEvent(library_, item).error.ErrorCodeId, PDU_ERR_EVT_LOST_COMM_TO_VCI);
}

std::atomic<int> systemCalls;
void PDUAPI OnSystemEvent(T_PDU_EVT_DATA, UNUM32 module, UNUM32 link, void*, void* apiTag) {
  if (module == PDU_HANDLE_UNDEF && link == PDU_HANDLE_UNDEF && apiTag == nullptr) ++systemCalls;
}

TEST_F(LifeCycleTest, SystemEventsTellOfModuleListChanges) {
  systemCalls = 0;
  ASSERT_EQ(library_.PDURegisterEventCallback(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, &OnSystemEvent),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.VirtualVciSetPresent(4712, 0), PDU_STATUS_NOERROR);
  for (int i = 0; i < 2000 && systemCalls == 0; ++i) std::this_thread::sleep_for(milliseconds(1));
  EXPECT_EQ(systemCalls, 1);
  PDU_EVENT_ITEM* item = nullptr;
  ASSERT_EQ(library_.PDUGetEventItem(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, &item),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(TakeEvent(library_, item).info.InfoCode, PDU_INFO_MODULE_LIST_CHG);
  EXPECT_EQ(library_.PDUGetEventItem(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, &item),
            PDU_ERR_EVENT_QUEUE_EMPTY);
  EXPECT_EQ(ModuleNamed("4712", "Wireless"), PDU_HANDLE_UNDEF);
}

TEST_F(LifeCycleTest, DestroyItemKnowsBadPointers) {
  PDU_ITEM onStack{PDU_IT_RESULT};
  EXPECT_EQ(library_.PDUDestroyItem(&onStack), PDU_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(library_.PDUDestroyItem(reinterpret_cast<PDU_ITEM*>(8)), PDU_ERR_INVALID_PARAMETERS);
  PDU_MODULE_ITEM* list = nullptr;
  library_.PDUGetModuleIds(&list);
  auto* item = reinterpret_cast<PDU_ITEM*>(list);
  EXPECT_EQ(library_.PDUDestroyItem(item), PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.PDUDestroyItem(item), PDU_ERR_INVALID_PARAMETERS);
  VVCI_LEDGER ledger{};
  library_.VirtualVciGetLedger(&ledger);
  EXPECT_EQ(ledger.BadDestroys, 3u);
  library_.VirtualVciReset();
}

TEST_F(LifeCycleTest, InjectedResultsAndCallLog) {
  EXPECT_EQ(library_.VirtualVciLogCalls(1), PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.VirtualVciInjectResult("PDUModuleConnect", 2, PDU_ERR_COMM_PC_TO_VCI_FAILED),
            PDU_STATUS_NOERROR);
  EXPECT_EQ(library_.VirtualVciInjectResult("PDUTeleport", 1, 1), PDU_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(library_.PDUModuleConnect(0x1001), PDU_ERR_COMM_PC_TO_VCI_FAILED);
  EXPECT_EQ(library_.PDUModuleConnect(0x1001), PDU_ERR_COMM_PC_TO_VCI_FAILED);
  EXPECT_EQ(library_.PDUModuleConnect(0x1001), PDU_STATUS_NOERROR);
  std::array<VVCI_CALL, 10> calls{};
  UNUM32 count = static_cast<UNUM32>(calls.size());
  EXPECT_EQ(library_.VirtualVciGetCalls(calls.data(), &count), PDU_STATUS_NOERROR);
  ASSERT_EQ(count, 3u);
  EXPECT_STREQ(calls[0].Function, "PDUModuleConnect");
  EXPECT_EQ(calls[0].hMod, 0x1001u);
  EXPECT_EQ(calls[0].Result, PDU_ERR_COMM_PC_TO_VCI_FAILED);
  EXPECT_EQ(calls[2].Result, PDU_STATUS_NOERROR);
}

TEST_F(LifeCycleTest, ObjectIdentifiers) {
  UNUM32 id = 0;
  char unknown[] = "CP_NoSuchThing";
  EXPECT_EQ(library_.PDUGetObjectId(PDU_OBJT_COMPARAM, unknown, &id), PDU_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(library_.PDUGetObjectId(PDU_OBJT_BUSTYPE, unknown, &id), PDU_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(library_.PDUGetObjectId(PDU_OBJT_IO_CTRL, unknown, &id), PDU_ERR_ID_NOT_SUPPORTED);
  EXPECT_EQ(Id(PDU_OBJT_COMPARAM, "CP_CanFillerByteHandling"), 0x37u);
  std::set<UNUM32> ids;
  for (const char* name :
       {"CP_5BaudAddressFunc", "CP_UartConfig", "CP_CanFillerByteHandling", "CP_BrTxMin"}) {
    ids.insert(Id(PDU_OBJT_COMPARAM, name));
  }
  EXPECT_EQ(ids.size(), 4u);
  char known[] = "CP_Loopback";
  char* names[] = {known, unknown};
  UNUM32 cells[2] = {0, 0};
  UNUM32* pointers[] = {&cells[0], &cells[1]};
  EXPECT_EQ(library_.PDUGetObjectIds(PDU_OBJT_COMPARAM, 2, names, pointers),
            PDU_ERR_INVALID_PARAMETERS);
  EXPECT_EQ(cells[0], Id(PDU_OBJT_COMPARAM, known));
  EXPECT_EQ(cells[1], PDU_ID_UNDEF);
}

}  // namespace
}  // namespace virtual_vci_test
