#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "library_fixture.h"
#include "platform/registry.h"
#include "screen.h"

namespace passbridge::test {
namespace {

using std::chrono::milliseconds;
using ::testing::Contains;
using ::testing::IsSupersetOf;

constexpr const char* kAskUser = "J2534-2:VQXLIST";
/// The first items of the list, in the middle of their pictures; they are as far apart as the
/// dialog spaces them.
constexpr Place ItemAt(int number) { return {62 + 100 * number, 70}; }
constexpr Place kConnect{250, -27};
constexpr Place kCancel{375, -27};

/// PassThruOpen with the real dialog on a screen. What the library tells the program goes through
/// a shell script that keeps a copy.
struct OpenByDialog : LibraryFixture {
  OpenByDialog() {
    ::setenv("PASSBRIDGE_LANGUAGE", "en", 1);
    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    ::setenv("QT_STYLE_OVERRIDE", "Fusion", 1);
    ::unsetenv("XDG_CURRENT_DESKTOP");
    vci.Configure(EXPLORER_SCENARIO, VVCI_CLOCK_INSTANT);
    WriteOrder("AutoConnectionOrder\\Connection0", {3, 1});
    WriteOrder("InterfaceTypeOrder\\InterfaceType0", {2, 1, 3, 4, 5});
  }
  ~OpenByDialog() override {
    EXPECT_LT(::waitpid(-1, nullptr, WNOHANG), screen.IsThere() ? 1 : 0) << "the program is left";
    ::unsetenv("PASSBRIDGE_DEVICE_EXPLORER");
  }

  static void Write(const std::string& key, const char* name, std::uint32_t value) {
    auto opened = platform::RegistryKey::Create(platform::RegistryRoot::User,
                                                "SOFTWARE\\QUARN\\QUARN_VCI\\" + key);
    EXPECT_TRUE(opened && opened->WriteDword(name, value));
  }
  static std::uint32_t Read(const std::string& key, const char* name) {
    const auto opened = platform::RegistryKey::Open(platform::RegistryRoot::User,
                                                    "SOFTWARE\\QUARN\\QUARN_VCI\\" + key,
                                                    platform::RegistryAccess::Read);
    return opened ? opened->ReadDword(name).value_or(0) : 0;
  }
  static void WriteOrder(const std::string& stem, const std::vector<std::uint32_t>& numbers) {
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      Write(stem + std::to_string(i), "Number", numbers[i]);
      Write(stem + std::to_string(i), "Enabled", 1);
    }
  }

  /// Opens on another thread, and waits for the dialog.
  void Begin(const char* name = nullptr, const char* title = "Device Explorer") {
    Screen::AwaitNoWindow(title);
    opening = std::async(std::launch::async, [this, name] {
      return library.PassThruOpen(const_cast<char*>(name), &device);
    });
    ASSERT_TRUE(screen.AwaitWindow(title));
  }
  /// What was opened: "serial-number over interface", and closes it; else the status.
  std::string End() {
    const long status = opening.get();
    if (status != STATUS_NOERROR) return std::to_string(status);
    const std::string key = "LastUsed\\PID_" + std::to_string(::getpid());
    Close();
    return std::to_string(Read(key, "SerialNumber")) + " over " +
           std::to_string(Read(key, "InterfaceType"));
  }

  /// Has the program started by a script that keeps what the library says.
  void Record() const {
    const std::string script = settings.Folder() + "/recorder";
    std::ofstream(script) << "#!/bin/sh\ntee '" << settings.Folder() << "/said' | '"
                          << EXPLORER_PROGRAM << "'\n";
    ::chmod(script.c_str(), S_IRWXU);
    ::setenv("PASSBRIDGE_DEVICE_EXPLORER", script.c_str(), 1);
  }
  /// The lines of it, with "|" for tabs.
  std::vector<std::string> Recorded() const {
    std::ifstream file(settings.Folder() + "/said");
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
      std::replace(line.begin(), line.end(), '\t', '|');
      lines.push_back(line);
    }
    return lines;
  }
  long CountSaid(const std::string& beginning) const {
    const std::vector<std::string> said = Recorded();
    return std::count_if(said.begin(), said.end(),
                         [&](const std::string& line) { return line.starts_with(beginning); });
  }
  bool AwaitSaid(const std::string& beginning, long count = 1) const {
    for (int i = 0; i < 2000; ++i) {
      if (CountSaid(beginning) >= count) return true;
      std::this_thread::sleep_for(milliseconds(10));
    }
    return false;
  }
  bool AwaitLists(long count) const { return AwaitSaid("show", count); }

  Screen screen;
  std::future<long> opening;
  const std::string kNotConnected = std::to_string(ERR_DEVICE_NOT_CONNECTED);
};

TEST_F(OpenByDialog, ByTheButtonADoubleClickAndKeys) {
  Begin(kAskUser);
  screen.Click(ItemAt(0));
  screen.Click(kConnect);
  EXPECT_EQ(End(), "4711 over 2");
  Begin(kAskUser);
  screen.Click(ItemAt(1), 1, 2);
  EXPECT_EQ(End(), "4712 over 3");
  Begin(kAskUser);
  screen.Press("Right Return");
  EXPECT_EQ(End(), "4712 over 3");
}

/// The test of the installed package runs this one, too: with texts that the library has not.
TEST_F(OpenByDialog, InGerman) {
  ::setenv("PASSBRIDGE_LANGUAGE", "de", 1);
  Begin(kAskUser, "Geräte-Explorer");
  screen.Press("space Alt+v");
  EXPECT_EQ(End(), "4711 over 2");
}

TEST_F(OpenByDialog, ByTheMenu) {
  const struct {
    const char* select;
    const char* command;
    const char* opened;
  } cases[] = {
      {"space", "Down Down Return", "4711 over 1"},
      {"space", "Down Down Down Return", "4711 over 2"},
      {"Right", "Down Down Return", "4712 over 3"},
      {"Right", "Down Down Down Return", "4712 over 4"},
      {"Right", "Down Down Down Down Return", "4712 over 5"},
  };
  for (const auto& each : cases) {
    Begin(kAskUser);
    screen.Press(std::string(each.select) + " Menu " + each.command);
    EXPECT_EQ(End(), each.opened);
  }
  Begin(kAskUser);
  screen.Click(ItemAt(0), 3);
  screen.Press("Down Down Return");
  EXPECT_EQ(End(), "4711 over 1");
}

TEST_F(OpenByDialog, TheDefaultDeviceIsSet) {
  Record();
  Begin();
  screen.Press("Right Menu Down Return");
  ASSERT_TRUE(AwaitLists(2));
  EXPECT_THAT(Recorded(), Contains("item|4712|1|1|SN 4712|"
                                   "Interface(s): Wireless, Bluetooth, Local, Default Device"));
  screen.Press("Escape");
  EXPECT_EQ(End(), kNotConnected);
  EXPECT_EQ(Read("DefaultDevice", "SerialNumber"), 4712U);
}

TEST_F(OpenByDialog, ShowsEachKindOfVci) {
  Write("PreferredDevices\\PreferredDevice00", "SerialNumber", 4713);
  Record();
  Begin();
  EXPECT_THAT(Recorded(),
              IsSupersetOf({"item|4711|0|1|SN 4711|Interface(s): USB, Ethernet",
                            "item|4712|6|1|SN 4712|Interface(s): Wireless, Bluetooth, Local",
                            "item|4713|2|0|SN 4713\\nUpdate VCI S/W\\nPreferred Device|"
                            "Interface(s): Bluetooth",
                            "item|4714|2|0|SN 4714\\nUpdate PC S/W|Interface(s): Ethernet",
                            "item|4715|2|0|SN 4715|Interface(s): Wireless",
                            "item|4720|8|1|SN 4720|Interface(s): Wireless",
                            "item|4721|7|1|SN 4721|Interface(s): Wireless",
                            "item|4723|5|1|SN 4723|Interface(s): Wireless",
                            "item|4724|4|1|SN 4724|Interface(s): Wireless"}));
  // What is not ready can be selected, but not connected: Return is Cancel there.
  screen.Click(ItemAt(2), 1, 2);
  screen.Click(kConnect);
  EXPECT_EQ(opening.wait_for(milliseconds(300)), std::future_status::timeout);
  screen.Press("Return");
  EXPECT_EQ(End(), kNotConnected);
}

TEST_F(OpenByDialog, FollowsVcisThatComeAndGo) {
  Record();
  Begin();
  vci.SetPresent(4712, 0);
  ASSERT_TRUE(AwaitLists(2));
  EXPECT_EQ(CountSaid("item|4712|"), 1);
  vci.SetStatus(4713, PDU_MODST_AVAIL, 0);
  ASSERT_TRUE(AwaitLists(3));
  // The second item is now the one that has become available; the click may be before the list.
  for (int i = 0; i < 20 && opening.wait_for(milliseconds(300)) == std::future_status::timeout;
       ++i) {
    screen.Click(ItemAt(1), 1, 2);
  }
  EXPECT_EQ(End(), "4713 over 4");
}

TEST_F(OpenByDialog, NoVciAtAll) {
  Record();
  Begin();
  screen.Click(ItemAt(0));
  const UNUM32 all[] = {4711, 4712, 4713, 4714, 4715, 4720, 4721, 4723, 4724};
  for (const UNUM32 serial : all) vci.SetPresent(serial, 0);
  ASSERT_TRUE(AwaitSaid("item||3|0||"));
  screen.Click(ItemAt(0), 1, 2);
  screen.Click(kConnect);
  screen.Press("Return");
  EXPECT_EQ(End(), kNotConnected) << "Return is Cancel";
}

TEST_F(OpenByDialog, ACancelEndsTheSearch) {
  WriteOrder("AutoConnectionOrder\\Connection0", {3, 1});
  Begin();
  screen.Click(kCancel);
  EXPECT_EQ(End(), kNotConnected);
}

TEST_F(OpenByDialog, ACancelOfTheOneThatAlwaysAsksDoesNot) {
  WriteOrder("AutoConnectionOrder\\Connection0", {4, 1});
  Begin();
  screen.Press("Escape");
  EXPECT_EQ(End(), "4711 over 1") << "the next strategy";
  EXPECT_EQ(library.PassThruOpen(const_cast<char*>(kAskUser), &device),
            long{ERR_DEVICE_NOT_CONNECTED})
      << "no strategy of that kind: no dialog";
  device = Open();  // gives the D-PDU library back when it is closed
  Close();
}

TEST_F(OpenByDialog, AScreenThatGoesAwayCancels) {
  Begin();
  screen.End();
  EXPECT_EQ(End(), kNotConnected);
}

TEST_F(OpenByDialog, WithoutAScreenOrAProgramNothingIsChosen) {
  WriteOrder("AutoConnectionOrder\\Connection0", {3, 1});
  for (const char* const name : {"PASSBRIDGE_DEVICE_EXPLORER", "DISPLAY"}) {
    ::setenv(name, "", 1);
    opening =
        std::async(std::launch::async, [this] { return library.PassThruOpen(nullptr, &device); });
    EXPECT_EQ(End(), "4711 over 1") << "the next strategy";
    library.PassThruIoctl(0, FORGET_LAST_USED_VCI, nullptr, nullptr);
    ::unsetenv("PASSBRIDGE_DEVICE_EXPLORER");
  }
}

/// Open files and threads of this process.
std::vector<std::ptrdiff_t> WhatIsThere() {
  std::vector<std::ptrdiff_t> counts;
  for (const char* const folder : {"/proc/self/fd", "/proc/self/task"}) {
    const std::filesystem::directory_iterator entries(folder);
    counts.push_back(std::distance(begin(entries), end(entries)));
  }
  return counts;
}

TEST_F(OpenByDialog, ManyOpeningsLeaveNothing) {
  const char* const wanted = std::getenv("PASSBRIDGE_EXPLORER_ROUNDS");
  const int rounds = wanted != nullptr ? std::atoi(wanted) : 20;
  std::vector<std::ptrdiff_t> before;
  for (int i = 0; i < rounds; ++i) {
    Begin(kAskUser);
    screen.Press(i % 2 == 0 ? "Escape" : "space Return");
    End();
    if (i == 1) before = WhatIsThere();
  }
  EXPECT_EQ(WhatIsThere(), before);
}

}  // namespace
}  // namespace passbridge::test
