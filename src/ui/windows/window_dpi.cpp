#include "ui/windows/window_dpi.h"

namespace passbridge {

namespace {

/// A function of newer systems than the library needs; null where it isn't there.
template <typename Function>
Function* UserFunction(const char* name) {
  const HMODULE user = ::GetModuleHandleW(L"user32.dll");
  return user != nullptr
             ? reinterpret_cast<Function*>(reinterpret_cast<void*>(::GetProcAddress(user, name)))
             : nullptr;
}

HANDLE SetDpiAwareness(HANDLE context) {
  auto* const set = UserFunction<HANDLE WINAPI(HANDLE)>("SetThreadDpiAwarenessContext");
  return set != nullptr ? set(context) : nullptr;
}

}  // namespace

SharpWindows::SharpWindows() {
  const auto perMonitorV2 = reinterpret_cast<HANDLE>(INT_PTR{-4});
  before_ = SetDpiAwareness(perMonitorV2);
}

SharpWindows::~SharpWindows() {
  if (before_ != nullptr) SetDpiAwareness(before_);
}

int DpiOf(HWND window) {
  auto* const ask = UserFunction<UINT WINAPI(HWND)>("GetDpiForWindow");
  if (const UINT dpi = ask != nullptr ? ask(window) : 0; dpi != 0) return static_cast<int>(dpi);
  const HDC dc = ::GetDC(window);
  const int dpi = ::GetDeviceCaps(dc, LOGPIXELSY);
  ::ReleaseDC(window, dc);
  return dpi > 0 ? dpi : USER_DEFAULT_SCREEN_DPI;
}

}  // namespace passbridge
