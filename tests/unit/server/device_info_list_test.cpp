#include "server/device_info_list.h"

#include <gtest/gtest.h>

#include <string>

#include "passbridge/j2534.h"
#include "server/server.h"
#include "support.h"
#include "support/pdu_fixture.h"

namespace passbridge {
namespace {

using test::ModuleSpec;

struct DeviceInfoListTest : test::PduFixture {
  Status Populate() { return server.PopulateDeviceInfoList(&list); }
  std::string Address(std::uint32_t serial, InterfaceType type) {
    return list.at(serial).On(type)->address;
  }

  CJ2534Server server;
  VqxInfoList list;
};

TEST_F(DeviceInfoListTest, AVciHasOneRecordHoweverManyInterfacesItHas) {
  pdu.SetModules(
      {{1, "4711", "ConnectionType='USB'", PDU_MODST_AVAIL},
       {2, "4711", "ConnectionType='Ethernet' IPAddress='10.0.0.7' Port='1'", PDU_MODST_READY},
       {3, " 4712 b", "Wireless IPAddress='10.0.0.8", PDU_MODST_NOT_AVAIL},
       {4, "4713", "Bluetooth and Local IPAddress", PDU_MODST_AVAIL},
       {5, "name", "by carrier pigeon", PDU_MODST_AVAIL}});
  ASSERT_EQ(Populate(), STATUS_NOERROR);
  ASSERT_EQ(list.size(), 4U);
  const VciRecord& both = list.at(4711);
  EXPECT_EQ(both.HandleOn(InterfaceType::Usb), 1U);
  EXPECT_EQ(both.HandleOn(InterfaceType::Ethernet), 2U);
  EXPECT_EQ(both.HandleOn(InterfaceType::Wireless), 0U);
  EXPECT_EQ(both.HandleOn(static_cast<InterfaceType>(6)), 0U);
  EXPECT_TRUE(both.available) << "as its first entry said";
  EXPECT_EQ(Address(4711, InterfaceType::Ethernet), "10.0.0.7");
  EXPECT_EQ(Address(4711, InterfaceType::Usb), "Not Available");
  EXPECT_FALSE(list.at(4712).available);
  EXPECT_EQ(Address(4712, InterfaceType::Wireless), "10.0.0.8") << "to the end of the text";
  EXPECT_EQ(list.at(4713).HandleOn(InterfaceType::Bluetooth), 4U) << "the first name decides";
  EXPECT_EQ(Address(4713, InterfaceType::Bluetooth), "");
  EXPECT_EQ(list.count(0), 1U) << "a name without digits";
}

TEST_F(DeviceInfoListTest, EntriesThatCannotBeReadAreLeftOut) {
  ModuleSpec nameless{1, "", "USB", PDU_MODST_AVAIL, true, false};
  ModuleSpec bare{2, "4711", "", PDU_MODST_AVAIL, false, true};
  pdu.SetModules({nameless, bare, {3, "4712", "USB", PDU_MODST_AVAIL}});
  ASSERT_EQ(Populate(), STATUS_NOERROR);
  ASSERT_EQ(list.size(), 2U);
  EXPECT_EQ(list.at(4711).HandleOn(InterfaceType::Usb), 0U);
  EXPECT_EQ(list.at(4712).HandleOn(InterfaceType::Usb), 3U);

  pdu.PDUGetModuleIds.Does([&](PDU_MODULE_ITEM** item) {
    const T_PDU_ERROR result = pdu.PDUGetModuleIds.BuiltIn(item);
    (*item)->NumEntries = 0xFFFFFFFF;  // the entries are fewer
    (*item)->pModuleData = reinterpret_cast<PDU_MODULE_DATA*>(8);
    return result;
  });
  list.clear();
  EXPECT_EQ(Populate(), STATUS_NOERROR);
  EXPECT_TRUE(list.empty());
}

TEST_F(DeviceInfoListTest, WhatFollowsAnUnreadableEntryIsFound) {
  using platform::testing::Pages;
  Pages pages(3);
  constexpr std::size_t kEntry = sizeof(PDU_MODULE_DATA);
  const UNUM32 behind = static_cast<UNUM32>(1 + (Pages::Size() + kEntry - 1) / kEntry);
  auto* const entries = reinterpret_cast<PDU_MODULE_DATA*>(pages.At(0, Pages::Size() - kEntry));
  char name[] = "4711";
  char info[] = "USB";
  for (const UNUM32 i : {0U, behind}) {
    entries[i].hMod = 1 + i;
    entries[i].ModuleStatus = PDU_MODST_AVAIL;
    entries[i].pVendorModuleName = name;
    entries[i].pVendorAdditionalInfo = info;
  }
  name[3] = '2';
  pages.Protect(1, platform::testing::Protection::None);
  pdu.PDUGetModuleIds.Does([&](PDU_MODULE_ITEM** item) {
    const T_PDU_ERROR result = pdu.PDUGetModuleIds.BuiltIn(item);
    (*item)->NumEntries = behind + 1;
    (*item)->pModuleData = entries;
    return result;
  });
  ASSERT_EQ(Populate(), STATUS_NOERROR);
  EXPECT_EQ(list.at(4712).HandleOn(InterfaceType::Usb), 1 + behind) << "the last one wins";
}

TEST_F(DeviceInfoListTest, AModuleThatIsNotReadyIsAskedWhy) {
  pdu.SetModules({{1, "4711", "USB", PDU_MODST_AVAIL}, {9, "4713", "USB", PDU_MODST_NOT_READY}});
  pdu.PDUGetStatus.Next({PDU_STATUS_NOERROR, PDU_ERR_SHARING_VIOLATION, PDU_ERR_FCT_FAILED,
                         PDU_ERR_DEVICE_NOT_CONNECTED});
  EXPECT_EQ(Populate(), STATUS_NOERROR);
  EXPECT_EQ(pdu.Calls().Of("PDUGetStatus"),
            std::vector<std::string>{"PDUGetStatus(9, 0xFFFFFFFF, 0xFFFFFFFF, out, out, out)"});
  EXPECT_EQ(Populate(), STATUS_NOERROR);
  list.clear();
  EXPECT_EQ(Populate(), ERR_FAILED);
  EXPECT_EQ(record.Text(), "(14050004:00000001) Error getting PDU Module Status.\r\n");
  EXPECT_EQ(list.at(4711).HandleOn(InterfaceType::Usb), 1U) << "what was found stays";
  EXPECT_EQ(Populate(), ERR_DEVICE_NOT_CONNECTED);
}

TEST_F(DeviceInfoListTest, FailuresAreReported) {
  EXPECT_EQ(server.PopulateDeviceInfoList(nullptr), ERR_FAILED);
  EXPECT_EQ(record.Text(), "(14050001:00000000) Invalid VqxInfoList pointer.\r\n");
  pdu.PDUGetModuleIds.Next({PDU_ERR_FCT_FAILED, PDU_ERR_DEVICE_NOT_CONNECTED});
  EXPECT_EQ(Populate(), ERR_FAILED);
  EXPECT_EQ(record.Text(), "(14050002:00000001) Error getting ModuleIDs.\r\n");
  EXPECT_EQ(Populate(), ERR_DEVICE_NOT_CONNECTED);
  pdu.PDUGetModuleIds.Does([](PDU_MODULE_ITEM**) { return PDU_STATUS_NOERROR; });
  EXPECT_EQ(Populate(), ERR_FAILED);
  EXPECT_EQ(record.Text(), "(14050003:00000000) Empty ModuleID List was returned.\r\n");
  pdu.PDUGetModuleIds.Does({});
  const struct {
    T_PDU_ERROR result;
    Status status;
  } cases[] = {{PDU_ERR_DEVICE_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED},
               {PDU_ERR_SHARING_VIOLATION, ERR_DEVICE_IN_USE},
               {PDU_ERR_INVALID_HANDLE, ERR_FAILED}};
  for (const auto& test : cases) {
    pdu.PDUDestroyItem.Does([&](PDU_ITEM* item) {
      pdu.PDUDestroyItem.BuiltIn(item);
      return test.result;
    });
    EXPECT_EQ(Populate(), test.status);
  }
  EXPECT_EQ(record.Text(), "(14050005:00000060) Error ModuleID list.\r\n");
}

}  // namespace
}  // namespace passbridge
