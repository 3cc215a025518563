#include "ui/windows/explorer_dialog.h"

#include <windowsx.h>

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

#include "platform/text.h"
#include "platform/windows/own_module.h"
#include "ui/product_config.h"
#include "ui/windows/resource_ids.h"
#include "ui/windows/window_dpi.h"

namespace passbridge {

namespace {

constexpr UINT kDpiMessage = WM_USER + 4;
// What a monitor can have.
constexpr int kLeastDpi = 48;
constexpr int kMostDpi = 960;

HINSTANCE OwnInstance() { return static_cast<HINSTANCE>(platform::OwnModule()); }

std::wstring Wide(const std::string& text) { return platform::WideFromUtf8(text); }

/// The pop-up of the dialog's menu as the model has it; the menu owns it.
HMENU PopupWith(HMENU menu, const std::vector<ExplorerMenuItem>& items) {
  const HMENU popup = ::GetSubMenu(menu, 0);
  for (const ExplorerMenuItem& item : items) {
    std::wstring text = Wide(item.text);
    MENUITEMINFOW info{};
    info.cbSize = sizeof info;
    info.fMask = MIIM_STRING | MIIM_STATE;
    info.dwTypeData = text.data();
    info.fState = (item.enabled ? UINT{MFS_ENABLED} : UINT{MFS_DISABLED}) |
                  (item.checked ? UINT{MFS_CHECKED} : UINT{MFS_UNCHECKED});
    ::SetMenuItemInfoW(popup, static_cast<UINT>(item.command), FALSE, &info);
  }
  return popup;
}

}  // namespace

ExplorerDialog::ExplorerDialog(const ExplorerLanguage& language)
    : languageFont_(language.font),
      mirrored_(language.isRightToLeft),
      model_(ExplorerTexts(language.texts, DeviceLabel())) {}

VciChoice ExplorerDialog::Show(HWND owner) {
  const WORD dialog = mirrored_ ? PASSBRIDGE_DIALOG_MIRRORED : PASSBRIDGE_DIALOG;
  const INT_PTR result = ::DialogBoxParamW(OwnInstance(), MAKEINTRESOURCEW(dialog), owner,
                                           &Procedure, reinterpret_cast<LPARAM>(this));
  if (result == IDOK) return model_.Result();
  return result == IDCANCEL ? VciChoice{VciChoice::kCancelled, 0, InterfaceType::None}
                            : VciChoice{};
}

INT_PTR CALLBACK ExplorerDialog::Procedure(HWND window, UINT message, WPARAM wParam,
                                           LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    ::SetWindowLongPtrW(window, DWLP_USER, lParam);
    reinterpret_cast<ExplorerDialog*>(lParam)->window_ = window;
  }
  auto* const self = reinterpret_cast<ExplorerDialog*>(::GetWindowLongPtrW(window, DWLP_USER));
  if (self == nullptr) return FALSE;
  try {
    return self->Handle(message, wParam, lParam);
  } catch (const std::exception&) {  // out of memory
    self->End(0);
    return TRUE;
  }
}

INT_PTR ExplorerDialog::Handle(UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_INITDIALOG:
      Open();
      return TRUE;
    case WM_NOTIFY:
      if (wParam != PASSBRIDGE_LIST) return FALSE;
      OnNotify(*reinterpret_cast<const NMHDR*>(lParam));
      return TRUE;
    case WM_CONTEXTMENU:
      OnContextMenu({GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)});
      return TRUE;
    case WM_COMMAND:
      Run(static_cast<Command>(LOWORD(wParam)));
      return TRUE;
    case kModuleListMessage:
      OnModuleList(reinterpret_cast<PDU_MODULE_ITEM*>(wParam));
      return TRUE;
    case kFailureMessage:
      OnFailures();
      return TRUE;
    case WM_DESTROY:
      EndWatch();
      return FALSE;
    case WM_DPICHANGED:
      // Only when the system has scaled the dialog, and its font.
      ::PostMessageW(window_, kDpiMessage, LOWORD(wParam), 0);
      return FALSE;
    case kDpiMessage:
      OnDpiChanged(static_cast<int>(LOWORD(wParam)));
      return TRUE;
    default:
      return FALSE;
  }
}

void ExplorerDialog::Open() {
  ShowTexts();
  const int dpi = DpiOf(window_);
  SetFont(dpi);
  ::BringWindowToTop(window_);
  ::ShowWindow(window_, SW_RESTORE);
  const std::optional<std::vector<ModuleEntry>> modules = AskForModules();
  list_.Attach(Item(PASSBRIDGE_LIST), mirrored_);
  list_.SetDpi(dpi);
  if (modules) Fill(*modules);
  StartWatch();
}

void ExplorerDialog::ShowTexts() {
  const ExplorerTexts& texts = model_.Texts();
  ::SetWindowTextW(window_, Wide(texts[TextId::Title]).c_str());
  ::SetWindowTextW(Item(PASSBRIDGE_CONNECT), Wide(texts[TextId::Connect]).c_str());
  ::SetWindowTextW(Item(PASSBRIDGE_CANCEL), Wide(texts[TextId::Cancel]).c_str());
}

void ExplorerDialog::SetFont(int dpi) {
  if (!languageFont_) return;
  const std::wstring face = Wide(languageFont_->face);
  Owned<HFONT> font(::CreateFontW(Scaled(LanguageFont::kHeight, dpi), 0, 0, 0,
                                  LanguageFont::kWeight, FALSE, FALSE, FALSE,
                                  languageFont_->charset, OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS,
                                  DEFAULT_QUALITY, LanguageFont::kPitchAndFamily, face.c_str()));
  for (const int id : {PASSBRIDGE_CONNECT, PASSBRIDGE_CANCEL}) {
    ::SendMessageW(Item(id), WM_SETFONT, reinterpret_cast<WPARAM>(font.get()), TRUE);
  }
  ::SendMessageW(window_, WM_SETFONT, reinterpret_cast<WPARAM>(font.get()), TRUE);
  font_ = std::move(font);
}

void ExplorerDialog::StartWatch() {
  ExplorerMail& mail = mail_.emplace(window_);
  watch_.emplace(ModuleWatch::Sinks{
      [&mail](pdu::Item<PDU_MODULE_ITEM> list) { mail.Deliver(std::move(list)); },
      [&mail](const char* message) { mail.DeliverFailure(message); }});
}

void ExplorerDialog::OnNotify(const NMHDR& header) {
  switch (header.code) {
    case NM_CLICK:
    case LVN_ITEMCHANGED:
      TakeSelection();
      break;
    case NM_DBLCLK:
      Run(Command::Connect);
      break;
    case LVN_GETINFOTIPW:
      OnToolTip(reinterpret_cast<const NMLVGETINFOTIPW&>(header));
      break;
    case NM_CUSTOMDRAW:
      SetResult(list_.OnCustomDraw(reinterpret_cast<const NMLVCUSTOMDRAW&>(header)));
      break;
    default:
      break;
  }
}

void ExplorerDialog::OnToolTip(const NMLVGETINFOTIPW& request) const {
  if (request.pszText == nullptr || request.cchTextMax <= 0 || request.iItem < 0) return;
  const std::wstring tip = Wide(model_.ToolTip(static_cast<std::size_t>(request.iItem)));
  ::lstrcpynW(request.pszText, tip.c_str(), request.cchTextMax);
}

void ExplorerDialog::OnContextMenu(POINT point) {
  TakeSelection();
  const std::vector<ExplorerMenuItem> items = model_.Menu();
  if (items.empty()) return;
  const bool byKeyboard = point.x == -1 && point.y == -1;
  if (byKeyboard) point = list_.SelectedPoint();
  const Owned<HMENU> menu(::LoadMenuW(OwnInstance(), MAKEINTRESOURCEW(PASSBRIDGE_MENU)));
  const UINT flags = TPM_RIGHTBUTTON | (mirrored_ ? UINT{TPM_LAYOUTRTL} : UINT{0});
  ::TrackPopupMenu(PopupWith(menu.get(), items), flags, point.x, point.y, 0, window_, nullptr);
}

void ExplorerDialog::OnModuleList(PDU_MODULE_ITEM* list) {
  if (mail_ && list != nullptr) Fill(ReadModules(mail_->Take(list)));
}

/// One box at a time; what comes meanwhile follows.
void ExplorerDialog::OnFailures() {
  if (!mail_ || showsFailure_) return;
  showsFailure_ = true;
  const std::wstring title = Wide(model_.Texts()[TextId::Title]);
  for (std::string text = mail_->TakeFailure(); !text.empty(); text = mail_->TakeFailure()) {
    ::MessageBoxW(window_, Wide(text).c_str(), title.c_str(), MB_OK | MB_ICONWARNING);
  }
  showsFailure_ = false;
}

void ExplorerDialog::OnDpiChanged(int dpi) {
  const int possible = std::clamp(dpi, kLeastDpi, kMostDpi);
  SetFont(possible);
  list_.SetDpi(possible);
  list_.Show(model_.Items(), model_.Selected());
}

void ExplorerDialog::Fill(const std::vector<ModuleEntry>& modules) {
  model_.Select(list_.Selected());
  model_.Fill(modules);
  list_.Show(model_.Items(), model_.Selected());
  TakeSelection();
}

void ExplorerDialog::TakeSelection() {
  if (list_.IsFilling()) return;
  model_.Select(list_.Selected());
  ::EnableWindow(Item(PASSBRIDGE_CONNECT), model_.CanConnect() ? TRUE : FALSE);
}

void ExplorerDialog::Run(Command command) {
  TakeSelection();
  switch (model_.Run(command)) {
    case ExplorerModel::Outcome::Chosen:
      End(IDOK);
      break;
    case ExplorerModel::Outcome::Cancelled:
      End(IDCANCEL);
      break;
    case ExplorerModel::Outcome::Stays:
      if (command == Command::SetAsDefault) list_.ShowOverlays(model_.Items());
      break;
  }
}

/// Lists that others handed over, and nobody has seen, go here: with the window the system would
/// forget their messages.
void ExplorerDialog::EndWatch() {
  watch_.reset();
  MSG message;
  while (mail_ &&
         ::PeekMessageW(&message, window_, kModuleListMessage, kModuleListMessage, PM_REMOVE)) {
    mail_->Take(reinterpret_cast<PDU_MODULE_ITEM*>(message.wParam));
  }
}

/// The watch ends here already: a dialog's message loop throws away what it gets after the end.
void ExplorerDialog::End(INT_PTR result) {
  EndWatch();
  ::EndDialog(window_, result);
}

}  // namespace passbridge
