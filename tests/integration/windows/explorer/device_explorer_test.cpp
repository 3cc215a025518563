#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "explorer_fixture.h"

namespace passbridge::test {
namespace {

using ::testing::ElementsAre;
using ::testing::SizeIs;

struct DeviceExplorer : ExplorerFixture {
  void SetAllPresent(UNUM32 present) {
    for (const UNUM32 each : kAll) vci.SetPresent(each, present);
  }

  static constexpr UNUM32 kAll[] = {5001, 5002, 5003, 5010, 5011, 5012, 5013, 5020, 5021, 5022};
};

TEST_F(DeviceExplorer, ShowsWhatThereIs) {
  WriteUser("DefaultDevice", "SerialNumber", 5021);
  WriteUser("PreferredDevices\\PreferredDevice00", "SerialNumber", 5021);
  ExplorerDriver dialog(library, kAskUser);
  ASSERT_NE(dialog.Window(), nullptr);
  EXPECT_EQ(dialog.TextOf(dialog.Window()), "Device Explorer");
  EXPECT_EQ(dialog.TextOf(dialog.Control(ExplorerDriver::kConnect)), "&Connect");
  EXPECT_EQ(dialog.TextOf(dialog.Control(IDCANCEL)), "Cancel");
  EXPECT_THAT(dialog.Labels(),
              ElementsAre("SN 5001", "SN 5002", "SN 5003", "SN 5010", "SN 5011", "SN 5012",
                          "SN 5013", "SN 5020\nUpdate PC S/W",
                          "SN 5021\nUpdate VCI S/W\nDefault Device\nPreferred Device", "SN 5022"));
  std::vector<int> overlays;
  for (int item = 0; item < dialog.Count(); ++item) overlays.push_back(dialog.OverlayOf(item));
  EXPECT_THAT(overlays, ElementsAre(0, 0, 4, 8, 7, 6, 5, 2, 2, 2));
  EXPECT_EQ(dialog.ToolTip("SN 5001"), "Interface(s): USB, Ethernet");
  EXPECT_EQ(dialog.ToolTip("SN 5021"), "Interface(s): USB, Default Device");
  EXPECT_EQ(dialog.ToolTip("SN 5001", 10), "Interface") << "cut to what there is room for";
  EXPECT_FALSE(dialog.CanConnect());
}

TEST_F(DeviceExplorer, ConnectsTheSelectedVci) {
  ExplorerDriver dialog(library, kAskUser);
  dialog.Command(ExplorerDriver::kConnect);
  EXPECT_FALSE(dialog.CanConnect()) << "nothing is selected";
  dialog.Select("SN 5020");
  EXPECT_FALSE(dialog.CanConnect()) << "it is not ready";
  dialog.Command(ExplorerDriver::kConnect);
  dialog.Select("SN 5001");
  EXPECT_TRUE(dialog.CanConnect());
  dialog.Unselect();
  EXPECT_FALSE(dialog.CanConnect());
  dialog.Select("SN 5001");
  dialog.Command(ExplorerDriver::kConnect);
  ExpectOpened(dialog, 5001, 1);
}

TEST_F(DeviceExplorer, DoubleClickConnectsByTheOrderOfInterfaces) {
  WriteUser("InterfaceTypeOrder\\InterfaceType00", "Enabled", 0);
  WriteUser("InterfaceTypeOrder\\InterfaceType04", "Enabled", 0);
  ExplorerDriver dialog(library, kAskUser);
  dialog.Select("SN 5002");
  dialog.Notify(NM_DBLCLK);
  EXPECT_TRUE(dialog.CanConnect()) << "available, but over no interface of the order: it stays";
  dialog.Select("SN 5001");
  dialog.Notify(NM_DBLCLK);
  ExpectOpened(dialog, 5001, 2);
}

TEST_F(DeviceExplorer, CommandsOfTheMenuConnectOverTheirInterface) {
  struct Row {
    int command;
    const char* vci;
    std::uint32_t serialNumber;
    std::uint32_t interfaceType;
  };
  for (const Row& row : {Row{32776, "SN 5001", 5001, 1}, Row{32777, "SN 5003", 5003, 3},
                         Row{32778, "SN 5001", 5001, 2}, Row{32784, "SN 5003", 5003, 4},
                         Row{32785, "SN 5002", 5002, 5}}) {
    SCOPED_TRACE(row.command);
    ExplorerDriver dialog(library, kAskUser);
    dialog.Select(row.serialNumber == 5002 ? "SN 5001" : "SN 5002");
    dialog.Command(row.command);
    ASSERT_NE(dialog.Count(), 0) << "a VCI without that interface leaves it open";
    dialog.Select(row.vci);
    dialog.Command(row.command);
    ExpectOpened(dialog, row.serialNumber, row.interfaceType);
  }
}

TEST_F(DeviceExplorer, SetsTheDefaultDevice) {
  WriteUser("DefaultDevice", "SerialNumber", 5010);
  ExplorerDriver dialog(library, kAskUser);
  EXPECT_EQ(dialog.Overlay("SN 5010"), 8);
  dialog.Select("SN 5001");
  dialog.Command(ExplorerDriver::kSetAsDefault);
  EXPECT_EQ(ReadUser("DefaultDevice", "SerialNumber"), 5001U);
  EXPECT_EQ(dialog.Overlay("SN 5001"), 1);
  EXPECT_EQ(dialog.Overlay("SN 5010"), 0);
  EXPECT_EQ(dialog.ToolTip("SN 5001"), "Interface(s): USB, Ethernet, Default Device");
  vci.SetPresent(5022, 0);
  EXPECT_TRUE(Becomes([&] { return dialog.Labels()[0] == "SN 5001\nDefault Device"; }));
}

TEST_F(DeviceExplorer, CancelEndsTheSearch) {
  WriteUser("DefaultDevice", "SerialNumber", 5002);
  WriteStrategies({kStrategyAsk, 2});
  for (const UINT message : {WM_COMMAND, WM_CLOSE}) {
    ExplorerDriver dialog(library, kAskUser);
    dialog.Select("SN 5001");
    ::SendMessageW(dialog.Window(), message, IDCANCEL, 0);
    EXPECT_EQ(dialog.Result(), long{ERR_DEVICE_NOT_CONNECTED});
  }
  ExplorerDriver dialog(library, nullptr);
  dialog.Command(IDCANCEL);
  EXPECT_EQ(dialog.Result(), long{ERR_DEVICE_NOT_CONNECTED});
}

TEST_F(DeviceExplorer, CancelWhereItIsAlwaysAskedLeavesItToTheNextStrategy) {
  WriteUser("DefaultDevice", "SerialNumber", 5002);
  WriteStrategies({kStrategyAskAlways, 2});
  ExplorerDriver dialog(library, nullptr);
  dialog.Select("SN 5001");
  dialog.Command(IDCANCEL);
  ExpectOpened(dialog, 5002, 5);
}

TEST_F(DeviceExplorer, FollowsVcisThatComeAndGo) {
  ExplorerDriver dialog(library, kAskUser);
  dialog.Select("SN 5010");
  const HWND connect = dialog.Control(ExplorerDriver::kConnect);
  ::SendMessageW(dialog.Window(), WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(connect), TRUE);
  vci.SetPresent(5001, 0);
  EXPECT_TRUE(Becomes([&] { return dialog.Find("SN 5001") < 0; }));
  EXPECT_EQ(dialog.Focus(), connect);
  EXPECT_EQ(dialog.Selected(), "SN 5010");
  EXPECT_TRUE(dialog.CanConnect());
  vci.SetStatus(5010, PDU_MODST_NOT_READY, 0xA5);
  EXPECT_TRUE(Becomes([&] { return !dialog.CanConnect(); })) << "the selected one is not ready";
  EXPECT_EQ(dialog.Overlay("SN 5010"), 2);
  vci.SetPresent(5010, 0);
  vci.SetPresent(5001, 1);
  EXPECT_TRUE(Becomes([&] { return dialog.Selected().empty(); }));
  EXPECT_TRUE(Becomes([&] { return dialog.Find("SN 5001") == 0; }));
  EXPECT_FALSE(dialog.CanConnect());
  dialog.Select("SN 5001");
  dialog.Command(ExplorerDriver::kConnect);
  ExpectOpened(dialog, 5001, 1);
}

TEST_F(DeviceExplorer, ShowsThatThereIsNoVci) {
  device = Open("J2534-2:SN='5001' CXN='USB'");  // so that the D-PDU library stays
  SetAllPresent(0);
  Forget();
  ExplorerDriver dialog(library, nullptr);
  EXPECT_THAT(dialog.Labels(), ElementsAre(""));
  EXPECT_EQ(dialog.OverlayOf(0), 3);
  dialog.Select("");
  EXPECT_FALSE(dialog.CanConnect());
  dialog.Command(ExplorerDriver::kConnect);
  dialog.Command(ExplorerDriver::kSetAsDefault);
  EXPECT_EQ(dialog.ToolTip(""), "");
  SetAllPresent(1);
  EXPECT_TRUE(Becomes([&] { return dialog.Count() == 10; }));
  dialog.Command(IDCANCEL);
  EXPECT_EQ(dialog.Result(), long{ERR_DEVICE_NOT_CONNECTED});
  Close();
}

TEST_F(DeviceExplorer, IsEmptyWhileTheListCannotBeHad) {
  WriteStrategies({kStrategyAskAlways});
  device = Open("J2534-2:SN='5002' CXN='LOCAL'");
  Forget();
  vci.InjectResult("PDUGetModuleIds", 2, PDU_ERR_FCT_FAILED);  // the search for the last one, too
  ExplorerDriver dialog(library, nullptr);
  ASSERT_NE(dialog.Window(), nullptr);
  EXPECT_THAT(dialog.Labels(), SizeIs(0));
  vci.SetPresent(5022, 0);
  EXPECT_TRUE(Becomes([&] { return dialog.Count() == 9; }));
  dialog.Command(IDCANCEL);
  dialog.Result();
  Close();
}

TEST_F(DeviceExplorer, TellsTheUserWhatFailed) {
  ExplorerDriver dialog(library, kAskUser);
  ASSERT_NE(dialog.Window(), nullptr);
  vci.InjectResult("PDUGetEventItem", 1, PDU_ERR_FCT_FAILED);
  vci.SetPresent(5001, 0);
  HWND box = nullptr;
  ASSERT_TRUE(
      Becomes([&] { return (box = dialog.FindWindowOf(L"#32770", dialog.Window())) != nullptr; }));
  constexpr int kBoxText = 0xFFFF;
  EXPECT_EQ(dialog.TextOf(::GetDlgItem(box, kBoxText)), "Error retreiving System level event");
  ::PostMessageW(dialog.Window(), kModuleList, reinterpret_cast<WPARAM>(AskForList()), 0);
  EXPECT_TRUE(Becomes([&] { return dialog.Count() == 9; })) << "nobody waits for the box";
  ::SendMessageW(box, WM_COMMAND, IDOK, 0);
  EXPECT_TRUE(Becomes([&] { return ::IsWindow(box) == FALSE; }));
  dialog.Select("SN 5003");
  EXPECT_TRUE(dialog.CanConnect());
}

}  // namespace
}  // namespace passbridge::test
