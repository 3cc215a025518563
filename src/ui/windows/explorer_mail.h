#ifndef PASSBRIDGE_UI_WINDOWS_EXPLORER_MAIL_H_
#define PASSBRIDGE_UI_WINDOWS_EXPLORER_MAIL_H_

#include <windows.h>

#include <string>
#include <vector>

#include "passbridge/d_pdu_api.h"
#include "pdu/item.h"
#include "platform/mutex.h"

namespace passbridge {

/// The first parameter is a PDU_MODULE_ITEM*, which the dialog destroys: one that Deliver posted,
/// or one that somebody else hands over.
inline constexpr UINT kModuleListMessage = WM_USER + 2;
/// Messages for the user wait.
inline constexpr UINT kFailureMessage = WM_USER + 3;

/// What threads of the D-PDU library have for the dialog. They post window messages, and what these
/// are about waits here: a message that is lost, or that comes too late, loses no item.
class ExplorerMail {
 public:
  explicit ExplorerMail(HWND dialog) : dialog_(dialog) {}

  // Any thread.
  void Deliver(pdu::Item<PDU_MODULE_ITEM> list) EXCLUDES(lock_);
  /// The same words are kept once, for as long as nobody takes them.
  void DeliverFailure(const char* message) EXCLUDES(lock_);

  // The dialog's thread.
  /// The list of a message. Those that were delivered before it go: their messages were lost.
  pdu::Item<PDU_MODULE_ITEM> Take(PDU_MODULE_ITEM* list) EXCLUDES(lock_);
  /// The oldest message for the user; empty if there is none.
  std::string TakeFailure() EXCLUDES(lock_);

 private:
  const HWND dialog_;
  platform::Mutex lock_;
  std::vector<pdu::Item<PDU_MODULE_ITEM>> lists_ GUARDED_BY(lock_);  // the oldest first
  std::vector<std::string> failures_ GUARDED_BY(lock_);
};

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_WINDOWS_EXPLORER_MAIL_H_
