#include "ui/device_explorer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <future>
#include <string>
#include <vector>

#include "platform/registry.h"
#include "posix/view_fixture.h"

namespace passbridge::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;

constexpr const char* kProduct = "SOFTWARE\\QUARN\\QUARN_VCI\\";

struct DeviceExplorerTest : ViewFixture {
  DeviceExplorerTest() {
    WriteSetting("InterfaceTypeOrder\\InterfaceType00", "Number", 2);
    WriteSetting("InterfaceTypeOrder\\InterfaceType00", "Enabled", 1);
    WriteSetting("DefaultDevice", "SerialNumber", 11);
  }
  static void WriteSetting(const char* key, const char* name, std::uint32_t value) {
    auto opened = platform::RegistryKey::Create(platform::RegistryRoot::User,
                                                std::string(kProduct).append(key));
    EXPECT_TRUE(opened->WriteDword(name, value));
  }
  static std::uint32_t DefaultDevice() {
    const auto key = platform::RegistryKey::Open(platform::RegistryRoot::User,
                                                 std::string(kProduct).append("DefaultDevice"),
                                                 platform::RegistryAccess::Read);
    return key->ReadDword("SerialNumber").value_or(0);
  }
  const std::vector<ModuleSpec> kTwo{{1, "11", "USB"},
                                     {2, "11", "Ethernet"},
                                     {3, "12", "Wireless WifiSigQuality='3'", PDU_MODST_NOT_READY}};
};

TEST_F(DeviceExplorerTest, TheProgramIsToldWhatToShow) {
  pdu.SetModules(kTwo);
  EXPECT_EQ(Said(Show("hello;wait show;say closed")), "cancelled");
  EXPECT_THAT(
      Log(),
      ElementsAre("passbridge-device-explorer|1", "title|Device Explorer",
                  "buttons|&Connect|Cancel", "direction|ltr", "list",
                  "item|11|0|1|SN 11\\nDefault Device|"
                  "Interface(s): USB, Ethernet, Default Device",
                  "menu|32781|1|1|Set as Default Device", "separator", "menu|32776|1|0|USB",
                  "menu|32777|0|0|Wireless", "menu|32778|1|1|Ethernet", "menu|32784|0|0|Bluetooth",
                  "menu|32785|0|0|Local", "item|12|2|0|SN 12|Interface(s): Wireless", "show"));
}

TEST_F(DeviceExplorerTest, SpeaksTheUsersLanguage) {
  const struct {
    const char* named;  // by PASSBRIDGE_LANGUAGE
    const char* locale;
    std::vector<std::string> lines;
  } cases[] = {{"de",
                "fr_FR.UTF-8",
                {"title|Geräte-Explorer", "buttons|&Verbinden|Abbrechen", "direction|ltr"}},
               {"", "de_AT.UTF-8@euro", {"title|Geräte-Explorer"}},
               {"ar", "de_DE", {"direction|rtl", "font|Monotype Sans WT|16|400"}},
               {"he", "de_DE", {"title|Device Explorer", "direction|rtl"}},
               {"zz", "de_DE", {"title|Device Explorer", "direction|ltr"}}};
  for (const auto& each : cases) {
    ::setenv("PASSBRIDGE_LANGUAGE", each.named, 1);
    ::setenv("LC_ALL", each.locale, 1);
    Show("hello;wait show");
    EXPECT_THAT(Log(), IsSupersetOf(each.lines)) << each.named;
    ForgetLog();
  }
  ::setenv("PASSBRIDGE_LANGUAGE", "de", 1);
  ::setenv("PASSBRIDGE_TEXTS", "/nowhere", 1);
  Show("hello;wait show");
  EXPECT_THAT(Log(), Contains("title|Device Explorer")) << "without texts";
  ::unsetenv("LC_ALL");
}

TEST_F(DeviceExplorerTest, TheUserChooses) {
  pdu.SetModules(kTwo);
  const struct {
    const char* steps;
    const char* choice;
  } cases[] = {
      {"hello;wait show;say command 1010 11;hang", "2 11 2"},
      {"hello;wait show;say command 32776 11;hang", "1 11 1"},
      {"hello;say command 32776 11", "1 11 1"},  // and ends at once
      {"hello;wait show;say closed;hang", "cancelled"},
      {"hello;wait show;say command 2 11;hang", "cancelled"},
      // What is not possible does nothing: not available, not offered, gone, none, no command.
      {"hello;wait show;say command 1010 12;say command 32777 12;say command 32785 11;"
       "say command 32776 99;say command 32776 -;say command 7 11;say command 32778 11;hang",
       "2 11 2"},
  };
  for (const auto& each : cases) EXPECT_EQ(Said(Show(each.steps)), each.choice) << each.steps;
}

TEST_F(DeviceExplorerTest, SetsTheDefaultDeviceAndShowsIt) {
  pdu.SetModules({{1, "11", "USB"}, {2, "12", "USB"}});
  EXPECT_EQ(Said(Show("hello;wait show;say command 32781 12;wait show;say closed")), "cancelled");
  EXPECT_EQ(DefaultDevice(), 12U);
  EXPECT_THAT(Log(), IsSupersetOf({"item|12|1|1|SN 12|Interface(s): USB, Default Device"}));
}

TEST_F(DeviceExplorerTest, AnEmptyListAndNone) {
  pdu.SetModules({});
  Show("hello;wait show");
  EXPECT_THAT(Log(), Contains("item||3|0||"));
  ForgetLog();
  pdu.PDUGetModuleIds.Next({PDU_ERR_FCT_FAILED});
  Show("hello;wait show");
  EXPECT_THAT(Log(), Not(Contains(testing::HasSubstr("item"))));
}

TEST_F(DeviceExplorerTest, TheListStaysCurrent) {
  pdu.SetModules({{1, "11", "USB"}});
  auto shown = std::async(std::launch::async, [this] {
    return Show("hello;wait show;wait message;wait show;say command 32776 12;hang");
  });
  AwaitOpening();
  pdu.SetModules({{7, "12", "USB"}});
  pdu.Deliver(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, pdu.Items().MakeStatus(PDU_MODST_AVAIL));
  ChangeModules();
  EXPECT_EQ(Said(shown.get()), "7 12 1");
  EXPECT_THAT(Log(), Contains("message|Non Info event found in the system queue"));
}

TEST_F(DeviceExplorerTest, WithoutADisplayOrAProgramNothingIsAsked) {
  const struct {
    const char* display;
    const char* program;
  } cases[] = {{nullptr, STAND_IN_PROGRAM}, {"", STAND_IN_PROGRAM}, {":1", ""},
               {":1", "/nowhere/program"},  {":1", "/tmp"},         {":1", "/proc/self/status"}};
  for (const auto& each : cases) {
    ::unsetenv("DISPLAY");
    if (each.display != nullptr) ::setenv("DISPLAY", each.display, 1);
    ::setenv("PASSBRIDGE_DEVICE_EXPLORER", each.program, 1);
    EXPECT_EQ(Said(Show("hello;say closed")), "nothing") << each.program;
  }
  EXPECT_THAT(pdu.Calls().All(), IsEmpty());
  ::setenv("WAYLAND_DISPLAY", "wayland-0", 1);
  ::setenv("PASSBRIDGE_DEVICE_EXPLORER", STAND_IN_PROGRAM, 1);
  EXPECT_EQ(Said(Show("hello;say closed")), "cancelled");
  ::unsetenv("WAYLAND_DISPLAY");
}

}  // namespace
}  // namespace passbridge::test
