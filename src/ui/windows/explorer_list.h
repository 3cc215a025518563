#ifndef PASSBRIDGE_UI_WINDOWS_EXPLORER_LIST_H_
#define PASSBRIDGE_UI_WINDOWS_EXPLORER_LIST_H_

#include <windows.h>

#include <cstddef>
#include <optional>
#include <vector>

#include "ui/explorer_model.h"
#include "ui/windows/list_ctrl_styled.h"

namespace passbridge {

/// The dialog's list view: shows the model's items, whose numbers are the control's, too.
class ExplorerList {
 public:
  /// @param mirrored  the layout goes from right to left
  void Attach(HWND list, bool mirrored);

  /// Pictures and distances for so many pixels to an inch.
  void SetDpi(int dpi);
  /// Replaces all items. Meanwhile IsFilling.
  void Show(const std::vector<ExplorerItem>& items, std::optional<std::size_t> selected);
  /// Of the items that are shown.
  void ShowOverlays(const std::vector<ExplorerItem>& items);
  /// What the control tells of its items then is no doing of the user.
  bool IsFilling() const { return filling_; }

  std::optional<std::size_t> Selected() const;
  /// In the middle of the selected item, on the screen.
  POINT SelectedPoint() const;

  LRESULT OnCustomDraw(const NMLVCUSTOMDRAW& draw) const { return control_.OnCustomDraw(draw); }

 private:
  LRESULT Send(UINT message, WPARAM wParam = 0, LPARAM lParam = 0) const {
    return ::SendMessageW(control_.Window(), message, wParam, lParam);
  }
  void SetItemState(std::size_t item, UINT state, UINT mask);
  void Insert(std::size_t index, const ExplorerItem& item);
  void SetSpacing();

  CListCtrlStyled control_;
  bool mirrored_ = false;
  bool filling_ = false;
  int dpi_ = USER_DEFAULT_SCREEN_DPI;
  int tallestLabel_ = 0;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_WINDOWS_EXPLORER_LIST_H_
