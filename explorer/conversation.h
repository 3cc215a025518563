#ifndef PASSBRIDGE_EXPLORER_CONVERSATION_H_
#define PASSBRIDGE_EXPLORER_CONVERSATION_H_

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "explorer_dialog.h"
#include "list_state.h"
#include "ui/posix/view_lines.h"

namespace passbridge::explorer {

/// The program's side of what view_lines.h tells: the dialog as the library wants it, and what the
/// user does in it, in lines.
class Conversation {
 public:
  /// @param send  takes a line
  /// @param end   called once the dialog is closed, or the library is of another version
  Conversation(std::function<void(const std::string& line)> send, std::function<void()> end);

  /// Says that the program is there.
  void Begin();
  /// A line of the library's; one that is not understood is passed over.
  void Handle(const view::Fields& fields);

  ExplorerDialog& Dialog() { return dialog_; }

 private:
  void Send(const std::vector<std::string_view>& fields);

  std::function<void(const std::string&)> send_;
  std::function<void()> end_;
  ExplorerDialog dialog_;
  ListState list_;  // of which the lines come in
  bool isGreeted_ = false;
};

}  // namespace passbridge::explorer

#endif  // PASSBRIDGE_EXPLORER_CONVERSATION_H_
