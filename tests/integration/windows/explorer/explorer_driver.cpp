#include "explorer_driver.h"

#include <array>
#include <chrono>
#include <utility>

#include "platform/text.h"

namespace passbridge::test {

namespace {

std::string FirstLine(const std::string& label) { return label.substr(0, label.find('\n')); }

struct Search {
  const wchar_t* windowClass;
  HWND but;
  HWND found;
};

BOOL CALLBACK CheckWindow(HWND window, LPARAM lParam) {
  auto& search = *reinterpret_cast<Search*>(lParam);
  std::array<wchar_t, 64> name{};
  ::GetClassNameW(window, name.data(), static_cast<int>(name.size()));
  const bool fits = std::wstring(name.data()) == search.windowClass && window != search.but;
  if (fits && ::IsWindowVisible(window)) search.found = window;
  return search.found == nullptr ? TRUE : FALSE;
}

}  // namespace

bool Becomes(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

ExplorerDriver::ExplorerDriver(const Library& library, const char* name)
    : ExplorerDriver(library, name, [](const std::function<void()>& open) { open(); }) {}

ExplorerDriver::ExplorerDriver(const Library& library, const char* name, Runner runner)
    : thread_([this, &library, name, run = std::move(runner)] {
        run([this, &library, name] {
          threadId_ = ::GetCurrentThreadId();
          result_ = library.PassThruOpen(const_cast<char*>(name), &device_);
        });
        returned_ = true;
      }) {}

ExplorerDriver::~ExplorerDriver() {
  if (!thread_.joinable()) return;
  if (Window() != nullptr) Command(IDCANCEL);
  thread_.join();
}

HWND ExplorerDriver::FindWindowOf(const wchar_t* windowClass, HWND but) const {
  Search search{windowClass, but, nullptr};
  if (threadId_ != 0) {
    ::EnumThreadWindows(threadId_, &CheckWindow, reinterpret_cast<LPARAM>(&search));
  }
  return search.found;
}

HWND ExplorerDriver::Window() {
  if (window_ != nullptr) return window_;
  Becomes([this] { return returned_ || (window_ = FindWindowOf(L"#32770")) != nullptr; });
  // It answers as soon as it is filled.
  if (window_ != nullptr) ::SendMessageW(window_, WM_NULL, 0, 0);
  return window_;
}

std::string ExplorerDriver::TextOf(HWND window) {
  std::array<wchar_t, 200> text{};
  const LRESULT length =
      ::SendMessageW(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()));
  return platform::Utf8FromWide({text.data(), static_cast<std::size_t>(length)});
}

std::vector<std::string> ExplorerDriver::Labels() {
  std::vector<std::string> labels;
  for (int item = 0; item < Count(); ++item) {
    std::array<wchar_t, 300> text{};
    LVITEMW request{};
    request.pszText = text.data();
    request.cchTextMax = static_cast<int>(text.size());
    AskList(LVM_GETITEMTEXTW, static_cast<WPARAM>(item), reinterpret_cast<LPARAM>(&request));
    labels.push_back(platform::Utf8FromWide(text.data()));
  }
  return labels;
}

int ExplorerDriver::Find(const std::string& firstLine) {
  const std::vector<std::string> labels = Labels();
  for (std::size_t i = 0; i < labels.size(); ++i) {
    if (FirstLine(labels[i]) == firstLine) return static_cast<int>(i);
  }
  return -1;
}

int ExplorerDriver::OverlayOf(int item) {
  const LRESULT state = AskList(LVM_GETITEMSTATE, static_cast<WPARAM>(item), LVIS_OVERLAYMASK);
  return static_cast<int>(state >> 8);
}

std::string ExplorerDriver::ToolTip(const std::string& firstLine, int room) {
  std::array<wchar_t, 256> text{};
  NMLVGETINFOTIPW request{};
  request.hdr.hwndFrom = Control(kList);
  request.hdr.idFrom = kList;
  request.hdr.code = LVN_GETINFOTIPW;
  request.pszText = text.data();
  request.cchTextMax = room;
  request.iItem = Find(firstLine);
  ::SendMessageW(Window(), WM_NOTIFY, kList, reinterpret_cast<LPARAM>(&request));
  return platform::Utf8FromWide(text.data());
}

HWND ExplorerDriver::Focus() const {
  GUITHREADINFO info{};
  info.cbSize = sizeof info;
  ::GetGUIThreadInfo(threadId_, &info);
  return info.hwndFocus;
}

std::string ExplorerDriver::Selected() {
  const LRESULT item = AskList(LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED);
  return item >= 0 ? FirstLine(Labels()[static_cast<std::size_t>(item)]) : "";
}

void ExplorerDriver::Select(const std::string& firstLine) {
  LVITEMW request{};
  request.state = request.stateMask = LVIS_SELECTED | LVIS_FOCUSED;
  AskList(LVM_SETITEMSTATE, static_cast<WPARAM>(Find(firstLine)),
          reinterpret_cast<LPARAM>(&request));
}

void ExplorerDriver::Unselect() {
  LVITEMW request{};
  request.stateMask = LVIS_SELECTED;
  AskList(LVM_SETITEMSTATE, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(&request));
}

void ExplorerDriver::Notify(UINT code) {
  NMITEMACTIVATE request{};
  request.hdr.hwndFrom = Control(kList);
  request.hdr.idFrom = kList;
  request.hdr.code = code;
  ::SendMessageW(Window(), WM_NOTIFY, kList, reinterpret_cast<LPARAM>(&request));
}

long ExplorerDriver::Result() {
  if (!Becomes([this] { return returned_.load(); })) return -1;  // the dialog is still there
  thread_.join();
  return result_;
}

}  // namespace passbridge::test
