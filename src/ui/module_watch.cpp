#include "ui/module_watch.h"

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include "platform/cancellation.h"
#include "platform/mutex.h"
#include "platform/never_destroyed.h"

namespace passbridge {

/// A callback that is under way may outlive the watch: then nobody is told any more.
class ModuleWatch::State {
 public:
  explicit State(Sinks sinks) : sinks_(std::move(sinks)) {}

  void End() EXCLUDES(lock_) {
    const platform::MutexLock lock(lock_);
    ended_ = true;
  }
  void TellChange(pdu::Item<PDU_MODULE_ITEM> list) EXCLUDES(lock_) {
    const platform::MutexLock lock(lock_);
    if (!ended_) sinks_.changed(std::move(list));
  }
  void TellFailure(const char* message) EXCLUDES(lock_) {
    const platform::MutexLock lock(lock_);
    if (!ended_) sinks_.failed(message);
  }

 private:
  platform::Mutex lock_;  // held while a sink runs, so that none runs after the end
  const Sinks sinks_ GUARDED_BY(lock_);
  bool ended_ GUARDED_BY(lock_) = false;
};

namespace {

using StatePtr = std::shared_ptr<ModuleWatch::State>;

/// All watches of the process: a callback for the whole D-PDU library has no tag of its own.
class WatchList {
 public:
  void Add(StatePtr watch) EXCLUDES(lock_) {
    const platform::MutexLock lock(lock_);
    watches_.push_back(std::move(watch));
  }
  void Remove(const StatePtr& watch) EXCLUDES(lock_) {
    const platform::MutexLock lock(lock_);
    watches_.erase(std::remove(watches_.begin(), watches_.end(), watch), watches_.end());
  }
  std::vector<StatePtr> All() EXCLUDES(lock_) {
    const platform::MutexLock lock(lock_);
    return watches_;
  }

 private:
  platform::Mutex lock_;
  std::vector<StatePtr> watches_ GUARDED_BY(lock_);
};

WatchList& Watches() {
  static platform::NeverDestroyed<WatchList> watches;
  return watches.Get();
}

void TellFailureToAll(const char* message) {
  for (const StatePtr& watch : Watches().All()) watch->TellFailure(message);
}

/// Each watch has a list of its own, which it gives back when it likes.
void TellChangeToAll() {
  for (const StatePtr& watch : Watches().All()) {
    pdu::Item<PDU_MODULE_ITEM> list;
    const T_PDU_ERROR result = list.Checked(pdu::Api().PDUGetModuleIds(list.Out()));
    if (result == PDU_STATUS_NOERROR && list) watch->TellChange(std::move(list));
  }
}

void HandleSystemEvent(const PDU_EVENT_ITEM& item) {
  if (item.ItemType != PDU_IT_INFO || item.pData == nullptr) {
    TellFailureToAll("Non Info event found in the system queue");
    return;
  }
  if (static_cast<const PDU_INFO_DATA*>(item.pData)->InfoCode != PDU_INFO_MODULE_LIST_CHG) {
    TellFailureToAll("Unknown info code present inside the event found in the system queue");
    return;
  }
  TellChangeToAll();
}

void HandleSystemEvents() {
  for (;;) {
    pdu::Item<PDU_EVENT_ITEM> item;
    const T_PDU_ERROR result =
        item.Checked(pdu::Api().PDUGetEventItem(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, item.Out()));
    if (result == PDU_ERR_EVENT_QUEUE_EMPTY) return;
    if (result != PDU_STATUS_NOERROR || !item) {  // a success without an item would never end
      TellFailureToAll("Error retreiving System level event");
      return;
    }
    HandleSystemEvent(*item.get());
  }
}

void PDUAPI SystemEventCallback(T_PDU_EVT_DATA /*eventType*/, UNUM32 hMod, UNUM32 hCll,
                                void* /*pCllTag*/, void* /*pApiTag*/) {
  if (hMod != PDU_HANDLE_UNDEF || hCll != PDU_HANDLE_UNDEF) return;
  const platform::CancellationGuard cancellation;
  try {
    HandleSystemEvents();
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): out of memory; the next event
                                     // tells again
  }
}

void Register(CALLBACKFNC callback) {
  pdu::Api().PDURegisterEventCallback(PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, callback);
}

}  // namespace

ModuleWatch::ModuleWatch(Sinks sinks) : state_(std::make_shared<State>(std::move(sinks))) {
  Watches().Add(state_);
  Register(&SystemEventCallback);
}

ModuleWatch::~ModuleWatch() {
  state_->End();
  Watches().Remove(state_);
  if (!Watches().All().empty()) return;
  Register(nullptr);
  if (!Watches().All().empty()) Register(&SystemEventCallback);  // another one began meanwhile
}

}  // namespace passbridge
