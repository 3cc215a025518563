#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>

#include "explorer_fixture.h"

namespace passbridge::test {
namespace {

/// What the callback below runs, once.
std::function<void()> g_inCallback;

void PDUAPI OpenInCallback(T_PDU_EVT_DATA, UNUM32, UNUM32, void*, void*) {
  if (const auto open = std::exchange(g_inCallback, nullptr)) open();
}

/// At the end the ledger tells whether each list was destroyed exactly once.
struct ExplorerThreads : ExplorerFixture {};

TEST_F(ExplorerThreads, ListsThatComeTooLateAreDestroyed) {
  for (int round = 0; round < 20; ++round) {
    ExplorerDriver dialog(library, kAskUser);
    ASSERT_NE(dialog.Window(), nullptr);
    std::thread changes([this] {
      for (UNUM32 i = 0; i < 40; ++i) vci.SetPresent(5002, i % 2);
    });
    dialog.Command(IDCANCEL);
    EXPECT_EQ(dialog.Result(), long{ERR_DEVICE_NOT_CONNECTED});
    changes.join();
  }
}

/// Message loops that are none of the dialog's, such as an application's hook, lose messages.
LRESULT CALLBACK LoseLists(int code, WPARAM wParam, LPARAM lParam) {
  auto& message = *reinterpret_cast<MSG*>(lParam);
  if (code >= 0 && message.message == WM_USER + 2) message.message = WM_NULL;
  return ::CallNextHookEx(nullptr, code, wParam, lParam);
}

TEST_F(ExplorerThreads, ListsWhoseMessagesAreLostAreDestroyed) {
  for (const bool goesOn : {false, true}) {
    ExplorerDriver dialog(library, kAskUser);
    ASSERT_NE(dialog.Window(), nullptr);
    const HHOOK hook = ::SetWindowsHookExW(WH_GETMESSAGE, &LoseLists, nullptr, dialog.ThreadId());
    for (UNUM32 i = 0; i < 6; ++i) vci.SetPresent(5001, i % 2);
    ::Sleep(100);
    EXPECT_EQ(dialog.Count(), 10);
    ::UnhookWindowsHookEx(hook);
    if (goesOn) {
      vci.SetPresent(5022, 0);
      EXPECT_TRUE(Becomes([&] { return dialog.Count() == 9; }));
    }
    dialog.Command(IDCANCEL);
    EXPECT_EQ(dialog.Result(), long{ERR_DEVICE_NOT_CONNECTED});
  }
}

TEST_F(ExplorerThreads, TakesListsThatAreHandedOver) {
  ExplorerDriver dialog(library, kAskUser);
  ASSERT_NE(dialog.Window(), nullptr);
  dialog.AskList(LVM_DELETEALLITEMS);
  ::PostMessageW(dialog.Window(), kModuleList, reinterpret_cast<WPARAM>(AskForList()), 0);
  EXPECT_TRUE(Becomes([&] { return dialog.Count() == 10; }));
  ::SendMessageW(dialog.Window(), kModuleList, 0, 0);
  EXPECT_EQ(dialog.Count(), 10) << "no list at all changes nothing";
}

TEST_F(ExplorerThreads, TwoDialogsAreToldOfChangesUntilTheyEnd) {
  ExplorerDriver first(library, kAskUser);
  ExplorerDriver second(library, kAskUser);
  ASSERT_NE(first.Window(), nullptr);
  ASSERT_NE(second.Window(), nullptr);
  EXPECT_NE(first.Window(), second.Window());
  vci.SetPresent(5001, 0);
  EXPECT_TRUE(Becomes([&] { return first.Count() == 9 && second.Count() == 9; }));
  first.Command(IDCANCEL);
  EXPECT_EQ(first.Result(), long{ERR_DEVICE_NOT_CONNECTED});
  vci.SetPresent(5001, 1);
  EXPECT_TRUE(Becomes([&] { return second.Count() == 10; }));
  second.Select("SN 5001");
  second.Command(ExplorerDriver::kConnect);
  ExpectOpened(second, 5001, 1);
}

constexpr UINT kCancelWithList = WM_APP;

/// Hands a list over to its thread's dialog when that has no more time for it.
LRESULT CALLBACK OwnerProcedure(HWND window, UINT message, WPARAM dialog, LPARAM list) {
  if (message != kCancelWithList) return ::DefWindowProcW(window, message, dialog, list);
  const auto to = reinterpret_cast<HWND>(dialog);
  ::PostMessageW(to, WM_USER + 2, static_cast<WPARAM>(list), 0);
  return ::SendMessageW(to, WM_COMMAND, IDCANCEL, 0);
}

TEST_F(ExplorerThreads, BelongsToTheActiveWindowOfItsThread) {
  HWND owner = nullptr;
  ExplorerDriver dialog(library, kAskUser, [&owner](const std::function<void()>& open) {
    owner = ::CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, 50, 50, nullptr,
                              nullptr, nullptr, nullptr);
    ::SetWindowLongPtrW(owner, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(&OwnerProcedure));
    ::SetActiveWindow(owner);
    open();
    EXPECT_TRUE(::IsWindowEnabled(owner));
    ::DestroyWindow(owner);
  });
  ASSERT_NE(dialog.Window(), nullptr);
  EXPECT_EQ(::GetWindow(dialog.Window(), GW_OWNER), owner);
  EXPECT_FALSE(::IsWindowEnabled(owner));
  ::SendMessageW(owner, kCancelWithList, reinterpret_cast<WPARAM>(dialog.Window()),
                 reinterpret_cast<LPARAM>(AskForList()));
  EXPECT_EQ(dialog.Result(), long{ERR_DEVICE_NOT_CONNECTED});
}

TEST_F(ExplorerThreads, EndsWithItsThreadsMessages) {
  ExplorerDriver dialog(library, kAskUser);
  ASSERT_NE(dialog.Window(), nullptr);
  ::PostMessageW(dialog.Window(), kModuleList, reinterpret_cast<WPARAM>(AskForList()), 0);
  ::PostThreadMessageW(::GetWindowThreadProcessId(dialog.Window(), nullptr), WM_QUIT, 0, 0);
  EXPECT_EQ(dialog.Result(), long{ERR_DEVICE_NOT_CONNECTED});
}

TEST_F(ExplorerThreads, OpensInACallbackOfTheVci) {
  device = Open("J2534-2:SN='5002' CXN='LOCAL'");
  const auto registerCallback =
      vci.file.Function<FN_PDURegisterEventCallback*>("PDURegisterEventCallback");
  registerCallback(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, &OpenInCallback);
  std::atomic<bool> done{false};
  ExplorerDriver dialog(library, kAskUser, [&](const std::function<void()>& open) {
    g_inCallback = [&] {
      open();
      done = true;
    };
    vci.SetPresent(5022, 0);
    while (!done) ::Sleep(1);
  });
  ASSERT_NE(dialog.Window(), nullptr);
  EXPECT_EQ(dialog.Find("SN 5022"), -1);
  dialog.Select("SN 5001");
  dialog.Command(ExplorerDriver::kConnect);
  EXPECT_EQ(dialog.Result(), long{STATUS_NOERROR});
  registerCallback(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, nullptr);
  Close();
  device = dialog.Device();
  Close();
}

}  // namespace
}  // namespace passbridge::test
