#ifndef PASSBRIDGE_UI_MODULE_WATCH_H_
#define PASSBRIDGE_UI_MODULE_WATCH_H_

#include <functional>
#include <memory>

#include "passbridge/d_pdu_api.h"
#include "pdu/item.h"

namespace passbridge {

/// Tells when the D-PDU library's list of modules has changed, for as long as it lives. There may
/// be several at a time, each of which is told. The D-PDU library must be constructed all the time.
class ModuleWatch {
 public:
  /// Called on a thread of the D-PDU library, one at a time, never after the watch has gone. They
  /// must not wait for anything, nor call the D-PDU library: post the news and return.
  struct Sinks {
    std::function<void(pdu::Item<PDU_MODULE_ITEM> list)> changed;
    /// Something unexpected came, in words for the user.
    std::function<void(const char* message)> failed;
  };

  explicit ModuleWatch(Sinks sinks);
  ModuleWatch(const ModuleWatch&) = delete;
  ModuleWatch& operator=(const ModuleWatch&) = delete;
  ~ModuleWatch();

  class State;

 private:
  const std::shared_ptr<State> state_;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_MODULE_WATCH_H_
