#include <gtest/gtest.h>
#include <tlhelp32.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>

#include "explorer_fixture.h"

namespace passbridge::test {
namespace {

int Threads() {
  const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  int count = 0;
  for (BOOL more = ::Thread32First(snapshot, &entry); more;
       more = ::Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID == ::GetCurrentProcessId()) ++count;
  }
  ::CloseHandle(snapshot);
  return count;
}

BOOL CALLBACK CountWindow(HWND window, LPARAM count) {
  DWORD process = 0;
  ::GetWindowThreadProcessId(window, &process);
  if (process == ::GetCurrentProcessId()) ++*reinterpret_cast<int*>(count);
  return TRUE;
}

int Windows() {
  int count = 0;
  ::EnumWindows(&CountWindow, reinterpret_cast<LPARAM>(&count));
  return count;
}

/// Up to which place of its table the system has objects when there are so many more of them that
/// they fill the gaps: those that leak push it up. Wine does not count objects.
template <typename Make, typename End>
int LastPlace(const Make& make, const End& end) {
  std::array<decltype(make()), 3000> objects{};
  int place = 0;
  for (auto& object : objects) {
    object = make();
    place = std::max<int>(place, LOWORD(reinterpret_cast<ULONG_PTR>(object)));
  }
  for (const auto& object : objects) end(object);
  return place;
}

struct Use {
  int threads = Threads();
  int windows = Windows();
  int gdi = LastPlace([] { return ::CreateSolidBrush(1); }, [](HBRUSH it) { ::DeleteObject(it); });
  int user = LastPlace([] { return ::CreateMenu(); }, [](HMENU it) { ::DestroyMenu(it); });
  DWORD handles = 0;

  Use() { ::GetProcessHandleCount(::GetCurrentProcess(), &handles); }
};

int Rounds() {
  const char* const wanted = std::getenv("PASSBRIDGE_EXPLORER_ROUNDS");
  return wanted != nullptr ? std::atoi(wanted) : 100;
}

struct ExplorerLeaks : ExplorerFixture {
  void Round(bool connects) {
    ExplorerDriver dialog(library, kAskUser);
    ASSERT_NE(dialog.Window(), nullptr);
    dialog.Select("SN 5001");
    vci.SetPresent(5022, connects ? 0 : 1);
    RECT place{0, 0, 600, 500};
    ::SendMessageW(dialog.Window(), WM_DPICHANGED, MAKEWPARAM(120, 120),
                   reinterpret_cast<LPARAM>(&place));
    const auto spacing = [&dialog] { return LOWORD(dialog.AskList(LVM_GETITEMSPACING, FALSE)); };
    EXPECT_TRUE(Becomes([&] { return spacing() == 125; }));
    if (!connects) {
      dialog.Command(IDCANCEL);
      EXPECT_EQ(dialog.Result(), long{ERR_DEVICE_NOT_CONNECTED});
      return;
    }
    dialog.Command(ExplorerDriver::kConnect);
    ExpectOpened(dialog, 5001, 1);
  }
};

// In a language that has a font. At the end the ledger tells of items.
TEST_F(ExplorerLeaks, OpensAndEndsLeaveNothing) {
  ::SetEnvironmentVariableW(L"PASSBRIDGE_LANGUAGE", L"ja");
  for (int i = 0; i < 10; ++i) Round(i % 2 == 0);
  const Use before;
  const int rounds = Rounds();
  for (int i = 0; i < rounds; ++i) Round(i % 2 == 0);
  const Use after;
  const int some = rounds / 2;
  EXPECT_LE(after.threads, before.threads + 1);
  EXPECT_EQ(after.windows, before.windows);
  // Without a screen, Wine's own buttons leave something.
  if (HasScreen()) {
    EXPECT_LT(after.gdi, before.gdi + some);
  }
  EXPECT_LT(after.user, before.user + some);
  EXPECT_LT(after.handles, before.handles + static_cast<DWORD>(some));
  std::cout << "growth in " << rounds << " rounds: gdi " << after.gdi - before.gdi << ", user "
            << after.user - before.user << ", handles "
            << static_cast<int>(after.handles - before.handles) << ", threads "
            << after.threads - before.threads << "\n";
}

}  // namespace
}  // namespace passbridge::test
