#ifndef PASSBRIDGE_UI_WINDOWS_HANDLES_H_
#define PASSBRIDGE_UI_WINDOWS_HANDLES_H_

// The second needs the first.
// clang-format off
#include <windows.h>
#include <commctrl.h>
// clang-format on

#include <memory>
#include <type_traits>

namespace passbridge {

/// Ends what a handle stands for.
struct HandleEnd {
  void operator()(HIMAGELIST images) const { ::ImageList_Destroy(images); }
  void operator()(HMENU menu) const { ::DestroyMenu(menu); }
  void operator()(HBITMAP bitmap) const { ::DeleteObject(bitmap); }
  void operator()(HFONT font) const { ::DeleteObject(font); }
  void operator()(HMODULE library) const { ::FreeLibrary(library); }
};

/// Owns a handle of Windows.
template <typename Handle>
using Owned = std::unique_ptr<std::remove_pointer_t<Handle>, HandleEnd>;

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_WINDOWS_HANDLES_H_
