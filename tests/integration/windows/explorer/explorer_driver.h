#ifndef PASSBRIDGE_TESTS_INTEGRATION_WINDOWS_EXPLORER_EXPLORER_DRIVER_H_
#define PASSBRIDGE_TESTS_INTEGRATION_WINDOWS_EXPLORER_EXPLORER_DRIVER_H_

// The second needs the first.
// clang-format off
#include <windows.h>
#include <commctrl.h>
// clang-format on

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "loaded_libraries.h"

namespace passbridge::test {

/// Whether it comes true within ten seconds.
bool Becomes(const std::function<bool()>& condition);

/// The real dialog of a PassThruOpen on a thread of its own, driven by window messages as a user's
/// hand would. Texts are UTF-8.
class ExplorerDriver {
 public:
  // Controls and commands.
  static constexpr int kList = 1005;
  static constexpr int kConnect = 1010;
  static constexpr int kSetAsDefault = 32781;

  /// Calls what it is given, on whatever thread, and returns after that.
  using Runner = std::function<void(const std::function<void()>& open)>;

  /// @param name  null, or what PassThruOpen gets
  ExplorerDriver(const Library& library, const char* name);
  ExplorerDriver(const Library& library, const char* name, Runner runner);
  ExplorerDriver(const ExplorerDriver&) = delete;
  ExplorerDriver& operator=(const ExplorerDriver&) = delete;
  ~ExplorerDriver();

  /// The dialog when it has opened; null if it doesn't.
  HWND Window();
  HWND Control(int id) { return ::GetDlgItem(Window(), id); }

  std::string TextOf(HWND window);
  std::vector<std::string> Labels();
  int Count() { return static_cast<int>(AskList(LVM_GETITEMCOUNT)); }
  /// The number of the item with this first line of its label; -1 without one.
  int Find(const std::string& firstLine);
  int Overlay(const std::string& firstLine) { return OverlayOf(Find(firstLine)); }
  int OverlayOf(int item);
  std::string ToolTip(const std::string& firstLine, int room = 200);
  /// The window that gets what is typed.
  HWND Focus() const;
  /// The first line of the label of the selected item.
  std::string Selected();
  bool CanConnect() { return ::IsWindowEnabled(Control(kConnect)) != FALSE; }

  void Select(const std::string& firstLine);
  void Unselect();
  void Notify(UINT code);
  DWORD ThreadId() const { return threadId_; }
  LRESULT AskList(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) {
    return ::SendMessageW(Control(kList), message, wParam, lParam);
  }
  void Command(int id) { ::SendMessageW(Window(), WM_COMMAND, static_cast<WPARAM>(id), 0); }

  /// Waits until PassThruOpen has returned, and gives what it returned.
  long Result();
  j2534_ulong Device() const { return device_; }
  /// Windows of the dialog's thread that are seen, of a class.
  HWND FindWindowOf(const wchar_t* windowClass, HWND but = nullptr) const;

 private:
  std::atomic<DWORD> threadId_{0};
  std::atomic<bool> returned_{false};
  long result_ = 0;
  j2534_ulong device_ = 0;
  HWND window_ = nullptr;
  std::thread thread_;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_INTEGRATION_WINDOWS_EXPLORER_EXPLORER_DRIVER_H_
