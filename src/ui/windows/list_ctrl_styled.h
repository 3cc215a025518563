#ifndef PASSBRIDGE_UI_WINDOWS_LIST_CTRL_STYLED_H_
#define PASSBRIDGE_UI_WINDOWS_LIST_CTRL_STYLED_H_

#include <map>
#include <optional>
#include <string>

#include "ui/windows/handles.h"

namespace passbridge {

/// A list view with icons that shows labels of any number of lines whole, where the control itself
/// cuts those of items without the focus after the second. Items may have fonts and colours of
/// their own; selected ones have the system's. The window's parent hands over its NM_CUSTOMDRAW.
class CListCtrlStyled {
 public:
  /// What is missing is as everywhere in the list.
  struct ItemStyle {
    HFONT font = nullptr;  ///< the caller's, for as long as the style is in use
    std::optional<COLORREF> text;
    std::optional<COLORREF> background;
  };

  CListCtrlStyled() = default;
  CListCtrlStyled(const CListCtrlStyled&) = delete;
  CListCtrlStyled& operator=(const CListCtrlStyled&) = delete;

  /// Takes a window over, until that ends; this object must live as long.
  void Attach(HWND list);
  HWND Window() const { return list_; }

  /// Paints off the screen first, against flicker.
  void SetOwnDrawing(bool on) { ownDrawing_ = on; }
  void SetItemStyle(int item, const ItemStyle& style) { styles_[item] = style; }

  /// @return what the parent's NM_CUSTOMDRAW gives
  LRESULT OnCustomDraw(const NMLVCUSTOMDRAW& draw) const;

  /// How high a label is (pixels) in the list's font, of lines as wide as the labels here.
  int LabelHeight(const std::wstring& label) const;

 private:
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                    UINT_PTR id, DWORD_PTR self);
  void Paint() const;
  int LabelWidth() const;
  SIZE LabelSize(HDC dc, const std::wstring& label) const;
  ItemStyle StyleOf(int item) const;
  std::wstring LabelOf(int item) const;
  void DrawItem(HDC dc, int item) const;
  void DrawPicture(HDC dc, int item, bool selected) const;
  void DrawLabel(HDC dc, int item, UINT state) const;

  HWND list_ = nullptr;
  bool ownDrawing_ = false;
  std::map<int, ItemStyle> styles_;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_WINDOWS_LIST_CTRL_STYLED_H_
