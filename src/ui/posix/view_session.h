#ifndef PASSBRIDGE_UI_POSIX_VIEW_SESSION_H_
#define PASSBRIDGE_UI_POSIX_VIEW_SESSION_H_

#include <chrono>
#include <optional>
#include <string>

#include "platform/mutex.h"
#include "server/device_selection.h"
#include "ui/explorer_model.h"
#include "ui/explorer_texts.h"
#include "ui/language.h"
#include "ui/posix/module_news.h"
#include "ui/posix/view_process.h"

namespace passbridge {

/// How the dialog speaks to the user.
struct ViewLanguage {
  ExplorerTexts texts;
  bool rightToLeft = false;
  std::optional<LanguageFont> font;
};

/// How long a program may be silent. What it may take to come up is much: it may be on a slow
/// machine's disk.
struct ViewPatience {
  std::chrono::milliseconds start{60000};
  std::chrono::milliseconds ping{10000};    ///< without a word, after which it is asked
  std::chrono::milliseconds answer{30000};  ///< further ones, after which it has hung up
};

/// A dialog that is open in a program. The thread that runs it may be cancelled while it waits.
class ViewSession {
 public:
  ViewSession(ViewProcess& process, ModuleNews& news, ViewLanguage language,
              const ViewPatience& patience);

  /// Returns when the user has chosen or cancelled. The choice is cancelled when the program ends
  /// or says what is not understood, and empty if it does that before it has come up.
  VciChoice Run();

 private:
  void SendOpening();
  void SendList();
  void SendItem(std::size_t item);
  void Wait();
  void ShowNews();
  bool HandleLines();
  bool HandleLine(const view::Fields& fields);
  bool HandleCommand(const view::Fields& fields);
  std::optional<std::size_t> ItemOf(const std::string& id) const;
  bool IsTooLate();
  void HangUp();

  ViewProcess& process_;
  ModuleNews& news_;
  const ViewPatience patience_;
  const bool rightToLeft_;
  const std::optional<LanguageFont> font_;
  ExplorerModel model_;
  bool isUp_ = false;
  bool isAsked_ = false;          // whether it still is alive
  platform::Deadline deadline_;   // for its next word
  std::optional<VciChoice> end_;  // what the dialog ended with
};

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_POSIX_VIEW_SESSION_H_
