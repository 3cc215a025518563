#ifndef PASSBRIDGE_UI_POSIX_MODULE_NEWS_H_
#define PASSBRIDGE_UI_POSIX_MODULE_NEWS_H_

#include <string>
#include <vector>

#include "passbridge/d_pdu_api.h"
#include "pdu/item.h"
#include "platform/mutex.h"
#include "platform/posix/file_descriptor.h"
#include "ui/module_watch.h"

namespace passbridge {

/// What a ModuleWatch tells on a thread of the D-PDU library, for the thread of the dialog.
class ModuleNews {
 public:
  ModuleNews();

  /// False if the system has no file for it: then nothing can be waited for.
  explicit operator bool() const { return static_cast<bool>(arrival_); }
  /// Readable while there is something to take.
  int Descriptor() const { return arrival_.Number(); }
  /// For a watch that ends before this object.
  ModuleWatch::Sinks Sinks();

  struct Batch {
    std::vector<pdu::Item<PDU_MODULE_ITEM>> lists;  ///< the newest comes last
    std::vector<std::string> messages;
  };
  /// All that has come.
  Batch Take() EXCLUDES(lock_);

 private:
  void Announce() const;

  const platform::FileDescriptor arrival_;
  platform::Mutex lock_;
  Batch batch_ GUARDED_BY(lock_);
};

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_POSIX_MODULE_NEWS_H_
