#ifndef PASSBRIDGE_UI_WINDOWS_WINDOW_DPI_H_
#define PASSBRIDGE_UI_WINDOWS_WINDOW_DPI_H_

#include <windows.h>

namespace passbridge {

/// Windows of this thread that are made while it lives see the pixels of the monitor that they are
/// on, however many there are to an inch, whatever the application declares; where the system can.
class SharpWindows {
 public:
  SharpWindows();
  SharpWindows(const SharpWindows&) = delete;
  SharpWindows& operator=(const SharpWindows&) = delete;
  ~SharpWindows();

 private:
  HANDLE before_ = nullptr;  // null: nothing was changed
};

/// Pixels to an inch for a window; 96 is the measure of all sizes here.
int DpiOf(HWND window);

/// A size for 96 pixels to an inch, at another number of them.
inline int Scaled(int size, int dpi) { return ::MulDiv(size, dpi, USER_DEFAULT_SCREEN_DPI); }

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_WINDOWS_WINDOW_DPI_H_
