#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "explorer_fixture.h"

namespace passbridge::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;

struct DeviceExplorer : ExplorerFixture {};

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
  dialog.Command(IDCANCEL);
  EXPECT_EQ(dialog.Result(), long{ERR_DEVICE_NOT_CONNECTED});
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
  dialog.Command(ExplorerDriver::kConnect);
  ExpectOpened(dialog, 5001, 1);
}

}  // namespace
}  // namespace passbridge::test
