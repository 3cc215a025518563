#include "ui/windows/explorer_list.h"

#include <algorithm>
#include <string>

#include "platform/text.h"
#include "ui/windows/explorer_images.h"
#include "ui/windows/window_dpi.h"

namespace passbridge {

namespace {

// At 96 pixels to an inch.
constexpr SIZE kSpacing{100, 160};
constexpr int kAroundLabel = 16;

}  // namespace

void ExplorerList::Attach(HWND list, bool mirrored) {
  mirrored_ = mirrored;
  control_.Attach(list);
  control_.SetOwnDrawing(!mirrored);
  constexpr DWORD kStyles = LVS_EX_INFOTIP | LVS_EX_ONECLICKACTIVATE;
  Send(LVM_SETEXTENDEDLISTVIEWSTYLE, kStyles, kStyles);
  LVCOLUMNW column{};
  column.mask = LVCF_FMT;
  Send(LVM_INSERTCOLUMNW, 0, reinterpret_cast<LPARAM>(&column));
}

void ExplorerList::SetDpi(int dpi) {
  dpi_ = dpi;
  const LRESULT before =
      Send(LVM_SETIMAGELIST, LVSIL_NORMAL,
           reinterpret_cast<LPARAM>(MakeExplorerImages(dpi, mirrored_).release()));
  const Owned<HIMAGELIST> unused(reinterpret_cast<HIMAGELIST>(before));
  SetSpacing();
}

/// Rows are further apart than usual only where the labels would run into the next one.
void ExplorerList::SetSpacing() {
  const int needed = Scaled(kImageSize.cy + kAroundLabel, dpi_) + tallestLabel_;
  const int rows = std::max(Scaled(kSpacing.cy, dpi_), needed);
  Send(LVM_SETICONSPACING, 0, MAKELPARAM(Scaled(kSpacing.cx, dpi_), rows));
  Send(LVM_ARRANGE, LVA_DEFAULT);
}

void ExplorerList::SetItemState(std::size_t item, UINT state, UINT mask) {
  LVITEMW request{};
  request.state = state;
  request.stateMask = mask;
  Send(LVM_SETITEMSTATE, item, reinterpret_cast<LPARAM>(&request));
}

void ExplorerList::Insert(std::size_t index, const ExplorerItem& item) {
  std::wstring label = platform::WideFromUtf8(item.label);
  tallestLabel_ = std::max(tallestLabel_, control_.LabelHeight(label));
  LVITEMW insert{};
  insert.mask = LVIF_TEXT | LVIF_IMAGE | LVIF_STATE;
  insert.iItem = static_cast<int>(index);
  insert.pszText = label.data();
  insert.iImage = 0;
  insert.state = INDEXTOOVERLAYMASK(static_cast<UINT>(item.overlay));
  insert.stateMask = LVIS_OVERLAYMASK;
  Send(LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&insert));
}

void ExplorerList::Show(const std::vector<ExplorerItem>& items,
                        std::optional<std::size_t> selected) {
  filling_ = true;
  tallestLabel_ = 0;
  Send(WM_SETREDRAW, FALSE);
  Send(LVM_DELETEALLITEMS);
  for (std::size_t i = 0; i < items.size(); ++i) Insert(i, items[i]);
  SetSpacing();
  constexpr UINT kStates = LVIS_SELECTED | LVIS_FOCUSED;
  if (selected) SetItemState(*selected, kStates, kStates);
  Send(LVM_ENSUREVISIBLE, selected.value_or(0), FALSE);
  Send(WM_SETREDRAW, TRUE);
  ::InvalidateRect(control_.Window(), nullptr, TRUE);
  filling_ = false;
}

void ExplorerList::ShowOverlays(const std::vector<ExplorerItem>& items) {
  for (std::size_t i = 0; i < items.size(); ++i) {
    SetItemState(i, INDEXTOOVERLAYMASK(static_cast<UINT>(items[i].overlay)), LVIS_OVERLAYMASK);
  }
}

std::optional<std::size_t> ExplorerList::Selected() const {
  const LRESULT item = Send(LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED);
  return item >= 0 ? std::optional(static_cast<std::size_t>(item)) : std::nullopt;
}

POINT ExplorerList::SelectedPoint() const {
  RECT rect{LVIR_ICON, 0, 0, 0};
  Send(LVM_GETITEMRECT, Selected().value_or(0), reinterpret_cast<LPARAM>(&rect));
  POINT point{(rect.left + rect.right) / 2, (rect.top + rect.bottom) / 2};
  ::ClientToScreen(control_.Window(), &point);
  return point;
}

}  // namespace passbridge
