#include "server/device_selection.h"

#include <gtest/gtest.h>

#include <string>

#include "passbridge/j2534.h"
#include "platform/process_info.h"
#include "platform/registry.h"
#include "server/server.h"
#include "support.h"
#include "support/scripted_pdu.h"

namespace passbridge {
namespace {

using platform::RegistryKey;
using platform::RegistryRoot;

constexpr const char* kProduct = "SOFTWARE\\QUARN\\QUARN_VCI\\";
constexpr const char* kDefaults = "SOFTWARE\\QUARN\\QUARN_VCI\\DefaultSettings\\";

struct Row {
  std::uint32_t number;
  std::uint32_t enabled;
};

/// The user's and the installation's settings are in a folder of the test.
struct DeviceSelectionTest : testing::Test {
  DeviceSelectionTest() {
    pdu.SetModules({{1, "4711", "USB", PDU_MODST_AVAIL},
                    {2, "4711", "Ethernet IPAddress='10.0.0.7'", PDU_MODST_AVAIL},
                    {3, "4712", "Wireless", PDU_MODST_AVAIL},
                    {4, "4713", "USB", PDU_MODST_NOT_AVAIL}});
  }
  ~DeviceSelectionTest() override { EXPECT_EQ(pdu.Items().Alive(), 0U); }

  static void Write(RegistryRoot root, const std::string& key, const char* name,
                    std::uint32_t value) {
    EXPECT_TRUE(RegistryKey::Create(root, key)->WriteDword(name, value));
  }
  static std::uint32_t Read(RegistryRoot root, const std::string& key, const char* name) {
    const auto opened = RegistryKey::Open(root, key, platform::RegistryAccess::Read);
    return opened ? opened->ReadDword(name).value_or(0xDEAD) : 0xDEAD;
  }
  static void WriteOrder(const std::string& name, const std::string& stem,
                         const std::vector<Row>& rows) {
    Write(RegistryRoot::User, kProduct + name, "Version", 1);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const std::string key = kProduct + name + "\\" + stem + "0" + std::to_string(i);
      Write(RegistryRoot::User, key, "Number", rows[i].number);
      Write(RegistryRoot::User, key, "Enabled", rows[i].enabled);
    }
  }
  void WriteStrategies(const std::vector<Row>& rows) {
    WriteOrder("AutoConnectionOrder", "Connection", rows);
    selection.Load();
  }
  static std::string Text(const VciChoice& choice) {
    if (choice.IsCancelled()) return "cancelled";
    if (!choice.IsMade()) return "nothing";
    return std::to_string(choice.moduleHandle) + " " + std::to_string(choice.serialNumber) + " " +
           std::to_string(static_cast<std::uint32_t>(choice.interfaceType));
  }

  platform::testing::SettingsSandbox sandbox;
  test::ScriptedPdu pdu;
  CJ2534Server server;
  DeviceSelection selection{server};
};

TEST_F(DeviceSelectionTest, ANameChoosesTheFirstThatIsThere) {
  const struct {
    const char* name;
    const char* choice;
  } cases[] = {
      {"SN='4711' CXN='ETHERNET,USB'", "2 4711 2"},
      {"sn='4711'cxn='wireless,usb'", "1 4711 1"},
      {"SN='99' CXN='USB';SN='4712' CXN='USB,WIRELESS'", "3 4712 3"},
      {"SN='4713' CXN='USB'", "nothing"},  // not available
      {"SN='4711'", "nothing"},
      {"VQXLIST", "nothing"},
      {"", "nothing"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(Text(selection.FindVciByName(test.name)), test.choice) << test.name;
  }
  pdu.PDUGetModuleIds.Always(PDU_ERR_FCT_FAILED);
  EXPECT_EQ(Text(selection.FindVciByName("SN='4711' CXN='USB'")), "nothing");
}

TEST_F(DeviceSelectionTest, TheOnlyUsbVciIsChosenIfThereIsOne) {
  EXPECT_EQ(Text(selection.FindOnlyUsbVci()), "1 4711 1");
  pdu.SetModules({{1, "4711", "USB", PDU_MODST_AVAIL}, {4, "4713", "USB", PDU_MODST_AVAIL}});
  EXPECT_EQ(Text(selection.FindOnlyUsbVci()), "nothing");
  pdu.SetModules({});
  EXPECT_EQ(Text(selection.FindOnlyUsbVci()), "nothing");
}

TEST_F(DeviceSelectionTest, TheDefaultDeviceIsReachedInTheOrderOfInterfaces) {
  WriteOrder("InterfaceTypeOrder", "InterfaceType", {{3, 1}, {2, 0}, {1, 1}});
  selection.Load();
  EXPECT_EQ(Text(selection.FindDefaultDeviceVci()), "nothing") << "no default device yet";
  Write(RegistryRoot::User, std::string(kProduct) + "DefaultDevice", "SerialNumber", 4711);
  EXPECT_EQ(Text(selection.FindDefaultDeviceVci()), "1 4711 1") << "it is read again";
  Write(RegistryRoot::User, std::string(kProduct) + "DefaultDevice", "SerialNumber", 4713);
  EXPECT_EQ(Text(selection.FindDefaultDeviceVci()), "4 4713 1") << "available or not";
}

TEST_F(DeviceSelectionTest, StrategiesRunInTheirOrder) {
  EXPECT_EQ(Text(selection.FindVciByStrategies()), "nothing") << "no settings";
  WriteStrategies({{2, 1}, {7, 1}, {1, 0}, {1, 1}});
  EXPECT_EQ(Text(selection.FindVciByStrategies()), "1 4711 1");
  int asked = 0;
  selection.SetDialog([&] {
    ++asked;
    return VciChoice{VciChoice::kCancelled, 0, InterfaceType::None};
  });
  WriteStrategies({{4, 1}, {3, 1}, {1, 1}});
  EXPECT_EQ(Text(selection.FindVciByStrategies()), "cancelled");
  EXPECT_EQ(asked, 2) << "the first cancel lets the walk go on";
  selection.AllowDialog(false);
  EXPECT_EQ(Text(selection.FindVciByStrategies()), "1 4711 1");
  EXPECT_EQ(asked, 3);
  EXPECT_EQ(Text(selection.FindVciByName("VQXLIST")), "nothing") << "it may not be asked";
  selection.AllowDialog(true);
  EXPECT_EQ(Text(selection.FindVciByName("VQXLIST;SN='4711' CXN='USB'")), "cancelled");
}

TEST_F(DeviceSelectionTest, AProcessFindsWhatItUsedLast) {
  EXPECT_EQ(Text(selection.FindLastUsedVci()), "nothing");
  DeviceSelection::StoreLastUsedVci(4711, InterfaceType::Ethernet);
  EXPECT_EQ(Text(selection.FindLastUsedVci()), "2 4711 2");
  pdu.SetModules({{1, "4711", "USB", PDU_MODST_AVAIL}});
  EXPECT_EQ(Text(selection.FindLastUsedVci()), "nothing") << "no longer on Ethernet";
  DeviceSelection::StoreLastUsedVci(4711, InterfaceType::Usb);
  EXPECT_EQ(Text(selection.FindLastUsedVci()), "1 4711 1");
  const std::string key =
      std::string(kProduct) + "LastUsed\\PID_" + std::to_string(platform::CurrentProcessId());
  auto record = RegistryKey::Create(RegistryRoot::User, key, platform::RegistryLife::Volatile);
  ASSERT_TRUE(record->WriteDword("LowDateTime", *record->ReadDword("LowDateTime") + 1));
  EXPECT_EQ(Text(selection.FindLastUsedVci()), "nothing") << "another process had that number";
}

TEST_F(DeviceSelectionTest, NewerDefaultsReplaceTheUsersSettingsOnce) {
  const std::string user = std::string(kProduct) + "AutoConnectionOrder";
  const std::string defaults = std::string(kDefaults) + "AutoConnectionOrder";
  WriteOrder("AutoConnectionOrder", "Connection", {{4, 1}, {3, 1}});
  Write(RegistryRoot::Machine, defaults, "Version", 2);
  Write(RegistryRoot::Machine, defaults + "\\Connection00", "Number", 1);
  Write(RegistryRoot::Machine, defaults + "\\Connection00", "Enabled", 1);
  OrderList order = OrderList::AutoConnectionOrder();
  order.Load();
  ASSERT_EQ(order.Count(), 1U);
  EXPECT_EQ(order.Number(0), 1U);
  EXPECT_EQ(Read(RegistryRoot::User, user, "Version"), 2U);
  EXPECT_EQ(Read(RegistryRoot::User, user + "\\Connection00", "Number"), 1U);
  EXPECT_EQ(Read(RegistryRoot::User, user + "\\Connection01", "Number"), 0xDEADU);
  Write(RegistryRoot::User, user + "\\Connection00", "Number", 2);
  order.Load();
  EXPECT_EQ(order.Number(0), 2U) << "the user's copy is as new now";
}

TEST_F(DeviceSelectionTest, AGapInAListReadsAsZero) {
  const std::string user = std::string(kProduct) + "AutoConnectionOrder\\";
  Write(RegistryRoot::User, user + "Connection00", "Number", 1);
  Write(RegistryRoot::User, user + "Connection02", "Number", 3);
  Write(RegistryRoot::User, user + "Connection77", "Number", 4);
  OrderList order = OrderList::AutoConnectionOrder();
  order.Load();
  EXPECT_EQ(order.Count(), 3U);
  EXPECT_EQ(order.Number(1), 0U);
  EXPECT_EQ(order.Number(2), 3U);
  EXPECT_EQ(order.Number(3), 0U);
  order.SetEnabled(3, 1);
  EXPECT_EQ(order.Enabled(3), 0U);
}

TEST_F(DeviceSelectionTest, OtherSubkeysAreNoEntries) {
  const std::string user = std::string(kProduct) + "AutoConnectionOrder\\";
  Write(RegistryRoot::User, user + "connection00", "Number", 1);
  for (const char* other :
       {"Description of it", "Connection", "Connection 1", "Connection1a", "Preference07"}) {
    Write(RegistryRoot::User, user + other, "Number", 3);
  }
  OrderList order = OrderList::AutoConnectionOrder();
  order.Load();
  EXPECT_EQ(order.Count(), 1U);
  EXPECT_EQ(order.Number(0), 1U);
}

TEST_F(DeviceSelectionTest, PreferredDevicesAreKept) {
  Write(RegistryRoot::User, std::string(kProduct) + "PreferredDevices\\PreferredDevice00",
        "SerialNumber", 4712);
  PreferredDevicesSettings preferred;
  preferred.Load();
  EXPECT_TRUE(preferred.Contains(4712));
  EXPECT_FALSE(preferred.Contains(0));
  const std::string other = std::string(kProduct) + "Other";
  auto key = RegistryKey::Create(RegistryRoot::User, other);
  EXPECT_TRUE(preferred.Save(*key));
  EXPECT_EQ(Read(RegistryRoot::User, other + "\\PreferredDevice00", "SerialNumber"), 4712U);
}

}  // namespace
}  // namespace passbridge
