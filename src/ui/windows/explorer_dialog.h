#ifndef PASSBRIDGE_UI_WINDOWS_EXPLORER_DIALOG_H_
#define PASSBRIDGE_UI_WINDOWS_EXPLORER_DIALOG_H_

#include <windows.h>

#include <optional>

#include "server/device_selection.h"
#include "ui/explorer_model.h"
#include "ui/module_watch.h"
#include "ui/windows/explorer_language.h"
#include "ui/windows/explorer_list.h"
#include "ui/windows/explorer_mail.h"

namespace passbridge {

/// The device explorer's window. Everything happens on the thread that shows it.
class ExplorerDialog {
 public:
  explicit ExplorerDialog(const ExplorerLanguage& language);

  /// Modal; made, cancelled, or empty if the window could not be made.
  /// @param owner  null, or a window of this thread
  VciChoice Show(HWND owner);

 private:
  static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  /// What is not handled gives FALSE.
  INT_PTR Handle(UINT message, WPARAM wParam, LPARAM lParam);

  void Open();
  void ShowTexts();
  void SetFont(int dpi);
  void StartWatch();
  void OnNotify(const NMHDR& header);
  void OnToolTip(const NMLVGETINFOTIPW& request) const;
  void OnContextMenu(POINT point);
  void OnModuleList(PDU_MODULE_ITEM* list);
  void OnFailures();
  void OnDpiChanged(int dpi);

  void Fill(const std::vector<ModuleEntry>& modules);
  /// The model learns what is selected, the button whether it can connect.
  void TakeSelection();
  void Run(Command command);
  /// Nobody is told of anything any more.
  void EndWatch();
  void End(INT_PTR result);

  HWND Item(int id) const { return ::GetDlgItem(window_, id); }
  void SetResult(LRESULT result) { ::SetWindowLongPtrW(window_, DWLP_MSGRESULT, result); }

  const std::optional<LanguageFont> languageFont_;
  const bool mirrored_;
  ExplorerModel model_;
  HWND window_ = nullptr;
  Owned<HFONT> font_;
  ExplorerList list_;
  std::optional<ExplorerMail> mail_;
  std::optional<ModuleWatch> watch_;  // after what it delivers to
  bool showsFailure_ = false;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_WINDOWS_EXPLORER_DIALOG_H_
