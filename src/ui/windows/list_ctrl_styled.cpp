#include "ui/windows/list_ctrl_styled.h"

#include <algorithm>

#include "ui/windows/explorer_images.h"
#include "ui/windows/mem_dc.h"

namespace passbridge {

namespace {

constexpr UINT_PTR kSubclass = 1;
constexpr UINT kLabelFormat = DT_CENTER | DT_WORDBREAK | DT_NOPREFIX;
constexpr int kBesideLabel = 2;   // pixels
constexpr int kOverlayShift = 8;  // of the state of an item

/// Selects a font for as long as it lives; null: the one that is selected already.
class FontInUse {
 public:
  FontInUse(HDC dc, HFONT font)
      : dc_(dc), before_(font != nullptr ? ::SelectObject(dc, font) : nullptr) {}
  FontInUse(const FontInUse&) = delete;
  FontInUse& operator=(const FontInUse&) = delete;
  ~FontInUse() {
    if (before_ != nullptr) ::SelectObject(dc_, before_);
  }

 private:
  const HDC dc_;
  const HGDIOBJ before_;
};

HFONT FontOf(HWND window) {
  return reinterpret_cast<HFONT>(::SendMessageW(window, WM_GETFONT, 0, 0));
}

RECT ItemRect(HWND list, int item, LONG part) {
  RECT rect{part, 0, 0, 0};
  ::SendMessageW(list, LVM_GETITEMRECT, static_cast<WPARAM>(item), reinterpret_cast<LPARAM>(&rect));
  return rect;
}

void Fill(HDC dc, const RECT& rect, COLORREF colour) {
  const COLORREF before = ::SetBkColor(dc, colour);
  ::ExtTextOutW(dc, 0, 0, ETO_OPAQUE, &rect, nullptr, 0, nullptr);
  ::SetBkColor(dc, before);
}

}  // namespace

void CListCtrlStyled::Attach(HWND list) {
  list_ = list;
  ::SetWindowSubclass(list, &Procedure, kSubclass, reinterpret_cast<DWORD_PTR>(this));
}

LRESULT CALLBACK CListCtrlStyled::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                            UINT_PTR id, DWORD_PTR self) {
  const auto* const control = reinterpret_cast<const CListCtrlStyled*>(self);
  switch (message) {
    case WM_ERASEBKGND:
      if (control->ownDrawing_) return 1;
      break;
    case WM_PAINT:
      if (wParam != 0) break;
      if (control->ownDrawing_) {
        control->Paint();
        return 0;
      }
      // The control asks only for items whose own idea of a label is to be painted.
      ::InvalidateRect(window, nullptr, TRUE);
      break;
    case WM_NCDESTROY:
      ::RemoveWindowSubclass(window, &Procedure, id);
      break;
    default:
      break;
  }
  return ::DefSubclassProc(window, message, wParam, lParam);
}

void CListCtrlStyled::Paint() const {
  RECT client{};
  ::GetClientRect(list_, &client);
  PAINTSTRUCT paint;
  const HDC dc = ::BeginPaint(list_, &paint);
  {
    const CMemDC memory(dc, {client.right, client.bottom}, paint.rcPaint);
    Fill(memory.Get(), client, static_cast<COLORREF>(::SendMessageW(list_, LVM_GETBKCOLOR, 0, 0)));
    const FontInUse font(memory.Get(), FontOf(list_));
    ::DefSubclassProc(list_, WM_PRINTCLIENT, reinterpret_cast<WPARAM>(memory.Get()), PRF_CLIENT);
  }
  ::EndPaint(list_, &paint);
}

LRESULT CListCtrlStyled::OnCustomDraw(const NMLVCUSTOMDRAW& draw) const {
  switch (draw.nmcd.dwDrawStage) {
    case CDDS_PREPAINT:
      return CDRF_NOTIFYITEMDRAW;
    case CDDS_ITEMPREPAINT:
      DrawItem(draw.nmcd.hdc, static_cast<int>(draw.nmcd.dwItemSpec));
      return CDRF_SKIPDEFAULT;
    default:
      return CDRF_DODEFAULT;
  }
}

CListCtrlStyled::ItemStyle CListCtrlStyled::StyleOf(int item) const {
  const auto own = styles_.find(item);
  ItemStyle style = own != styles_.end() ? own->second : ItemStyle();
  if (style.font == nullptr) style.font = FontOf(list_);
  return style;
}

std::wstring CListCtrlStyled::LabelOf(int item) const {
  wchar_t text[512];
  LVITEMW request{};
  request.pszText = text;
  request.cchTextMax = static_cast<int>(std::size(text));
  const LRESULT length = ::SendMessageW(list_, LVM_GETITEMTEXTW, static_cast<WPARAM>(item),
                                        reinterpret_cast<LPARAM>(&request));
  return {text, static_cast<std::size_t>(length)};
}

int CListCtrlStyled::LabelWidth() const {
  const LRESULT spacing = ::SendMessageW(list_, LVM_GETITEMSPACING, FALSE, 0);
  return LOWORD(spacing) - 2 * kBesideLabel;
}

SIZE CListCtrlStyled::LabelSize(HDC dc, const std::wstring& label) const {
  RECT rect{0, 0, LabelWidth(), 0};
  if (label.empty()) return {0, 0};
  ::DrawTextW(dc, label.c_str(), static_cast<int>(label.size()), &rect, kLabelFormat | DT_CALCRECT);
  return {rect.right - rect.left, rect.bottom - rect.top};
}

int CListCtrlStyled::LabelHeight(const std::wstring& label) const {
  const HDC dc = ::GetDC(list_);
  const FontInUse font(dc, FontOf(list_));
  const int height = LabelSize(dc, label).cy;
  ::ReleaseDC(list_, dc);
  return height;
}

void CListCtrlStyled::DrawItem(HDC dc, int item) const {
  const auto state = static_cast<UINT>(::SendMessageW(
      list_, LVM_GETITEMSTATE, static_cast<WPARAM>(item), LVIS_SELECTED | LVIS_FOCUSED));
  DrawPicture(dc, item, (state & LVIS_SELECTED) != 0);
  DrawLabel(dc, item, state);
}

void CListCtrlStyled::DrawPicture(HDC dc, int item, bool selected) const {
  const auto images =
      reinterpret_cast<HIMAGELIST>(::SendMessageW(list_, LVM_GETIMAGELIST, LVSIL_NORMAL, 0));
  int width = 0;
  int height = 0;
  if (!::ImageList_GetIconSize(images, &width, &height)) return;
  const RECT icon = ItemRect(list_, item, LVIR_ICON);
  const LRESULT state =
      ::SendMessageW(list_, LVM_GETITEMSTATE, static_cast<WPARAM>(item), LVIS_OVERLAYMASK);
  const UINT style = ILD_TRANSPARENT | (selected ? UINT{ILD_SELECTED} : UINT{0});
  // Some systems show an overlay only where the image below is not transparent: it is drawn apart.
  for (const int image : {0, ImageOfOverlay(static_cast<int>(state) >> kOverlayShift)}) {
    if (image < 0 || image >= ::ImageList_GetImageCount(images)) continue;
    ::ImageList_DrawEx(images, image, dc, (icon.left + icon.right - width) / 2,
                       (icon.top + icon.bottom - height) / 2, 0, 0, CLR_NONE, CLR_DEFAULT, style);
  }
}

void CListCtrlStyled::DrawLabel(HDC dc, int item, UINT state) const {
  const std::wstring label = LabelOf(item);
  if (label.empty()) return;
  const bool selected = (state & LVIS_SELECTED) != 0;
  const ItemStyle style = StyleOf(item);
  const FontInUse font(dc, style.font);
  const SIZE size = LabelSize(dc, label);
  const RECT icon = ItemRect(list_, item, LVIR_ICON);
  const int top = ItemRect(list_, item, LVIR_LABEL).top;
  const int middle = (icon.left + icon.right) / 2;
  RECT text{middle - LabelWidth() / 2, top, middle + (LabelWidth() + 1) / 2, top + size.cy};
  const int left = middle - size.cx / 2;
  const RECT box{left - kBesideLabel, top, left + size.cx + kBesideLabel, top + size.cy};
  if (selected) Fill(dc, box, ::GetSysColor(COLOR_HIGHLIGHT));
  if (!selected && style.background) Fill(dc, box, *style.background);
  const COLORREF colour = style.text.value_or(::GetSysColor(COLOR_WINDOWTEXT));
  const COLORREF colourBefore =
      ::SetTextColor(dc, selected ? ::GetSysColor(COLOR_HIGHLIGHTTEXT) : colour);
  const int modeBefore = ::SetBkMode(dc, TRANSPARENT);
  ::DrawTextW(dc, label.c_str(), static_cast<int>(label.size()), &text, kLabelFormat | DT_NOCLIP);
  ::SetBkMode(dc, modeBefore);
  ::SetTextColor(dc, colourBefore);
  if ((state & LVIS_FOCUSED) != 0 && ::GetFocus() == list_) ::DrawFocusRect(dc, &box);
}

}  // namespace passbridge
