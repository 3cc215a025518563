#include "channel/event_processor.h"

#include <algorithm>
#include <utility>

#include "pdu/result_map.h"
#include "platform/cancellation.h"
#include "trace/last_error.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

void Tell(CopWaiter*& waiter, CopEnd end) {
  if (waiter == nullptr) return;
  waiter->end = end;
  // Under the condition lock: a waiter that gives up is forgotten first, and only then goes.
  waiter->event.End();
  waiter = nullptr;
}

}  // namespace

/// The thread that serves, from here on and until the end of the block, if it could be.
class CJ2534EventProcessor::Serving {
 public:
  Serving(ServingRole& role, ServingRole::Server server)
      : role_(role), serves_(role.Take(server)) {}
  Serving(const Serving&) = delete;
  Serving& operator=(const Serving&) = delete;
  ~Serving() {
    if (serves_) role_.GiveBack();
  }

  explicit operator bool() const { return serves_; }

 private:
  ServingRole& role_;
  const bool serves_;
};

/// Has an event wake the thread that serves, too, and waits for either.
class CJ2534EventProcessor::Listening {
 public:
  Listening(CJ2534Event& event, platform::WakeUp& wakeUp) : event_(event), wakeUp_(wakeUp) {
    event_.SetListener(&wakeUp_);
  }
  Listening(const Listening&) = delete;
  Listening& operator=(const Listening&) = delete;
  ~Listening() { event_.SetListener(nullptr); }

  bool WaitUntil(platform::Deadline deadline) const {
    const platform::CancellationPoint cancellable;
    return wakeUp_.WaitUntil(deadline);
  }

 private:
  CJ2534Event& event_;
  platform::WakeUp& wakeUp_;
};

class CJ2534EventProcessor::CJ2534EventProcessorThread {
 public:
  explicit CJ2534EventProcessorThread(CJ2534EventProcessor* processor) : processor_(processor) {}
  void operator()() const { processor_->Run(); }

 private:
  CJ2534EventProcessor* processor_;
};

Status CJ2534EventProcessor::Initialize(EventSink* sink) {
  return Traced(methods::event_processor::kInitialize, [&](Exits& exit) -> Status {
    if (sink == nullptr) {
      return exit.PassOn(1, ERR_NULL_PARAMETER, "Invalid pointer to J2534 Channel.");
    }
    sink_ = sink;
    role_.Reopen();
    try {
      thread_ = std::make_unique<boost::thread>(CJ2534EventProcessorThread(this));
    } catch (const std::exception&) {
      role_.Stop();
      return exit.PassOn(2, ERR_FAILED, "Error starting EventProcessor thread.");
    }
    return exit.Normal();
  });
}

void CJ2534EventProcessor::Serve(LinkHandles link) {
  platform::RecursiveMutexLock lock(pdu::PduApiLock());
  link_ = link;
  if (auto* const sleeper = Signal()) sleeper->Wake();  // for what came before the callback was set
}

void CJ2534EventProcessor::Stop() {
  AbandonWaits();  // at once: the thread may be busy
  role_.Stop();
  if (thread_ != nullptr) thread_->join();
  thread_.reset();
  platform::MutexLock lock(conditionLock_);
  AbandonWaitsLocked();
  copConditions_.clear();
}

void CJ2534EventProcessor::Run() {
  while (role_.WaitForNews()) {
    const Serving serving(role_, ServingRole::Server::EventThread);
    if (serving) Drain();
  }
}

bool CJ2534EventProcessor::Drain() {
  if (!role_.TakeNews()) return false;
  // Whoever serves looks up now and then, whatever comes.
  constexpr int kMostInARow = 256;
  for (int i = 0; i < kMostInARow && !role_.IsStopped(); ++i) {
    // An item that could not be handled is no reason to end: the callback comes only when the queue
    // goes from empty to filled, and more items may be waiting.
    bool fetched = false;
    ProcessEventItem(&fetched);
    if (!fetched) return false;
  }
  role_.Announce();  // to whoever serves, which is this thread
  return true;
}

void CJ2534EventProcessor::ServeQueued() {
  const Serving serving(role_, ServingRole::Server::InPassing);
  if (serving) Drain();
}

std::optional<bool> CJ2534EventProcessor::ServeUntil(CJ2534Event& event,
                                                     platform::Deadline deadline) {
  const Serving serving(role_, ServingRole::Server::Waiting);
  if (!serving) return std::nullopt;
  const Listening listening(event, role_.ServerWakeUp());
  while (!role_.IsStopped()) {
    const bool more = Drain();
    if (event.TryTake()) return true;
    if (more) {
      if (platform::SteadyClock::now() >= deadline) return false;
    } else if (!listening.WaitUntil(deadline)) {
      return event.TryTake();
    }
  }
  return std::nullopt;
}

bool CJ2534EventProcessor::Await(CJ2534Event& event, std::uint32_t milliseconds) {
  const platform::Deadline deadline = platform::DeadlineIn(milliseconds);
  if (const std::optional<bool> served = ServeUntil(event, deadline)) return *served;
  const ServingRole::Bystander bystander(role_);
  return event.WaitUntil(deadline);
}

Status CJ2534EventProcessor::AddCopCondition(UNUM32 hCop, CopWaiter* waiter, bool isTransmit) {
  return Traced(methods::event_processor::kAddCopCondition, [&](Exits& exit) -> Status {
    platform::MutexLock lock(conditionLock_);
    copConditions_.emplace(hCop, Condition{waiter, isTransmit});
    return exit.Normal();
  });
}

CJ2534EventProcessor::Conditions::iterator CJ2534EventProcessor::Find(UNUM32 hCop,
                                                                      const CopWaiter* waiter) {
  const auto [first, last] = copConditions_.equal_range(hCop);
  const auto found = std::find_if(
      first, last, [waiter](const auto& entry) { return entry.second.waiter == waiter; });
  return found != last ? found : copConditions_.end();
}

Status CJ2534EventProcessor::RemoveCopCondition(UNUM32 hCop, const CopWaiter* waiter) {
  return Traced(methods::event_processor::kRemoveCopCondition, [&](Exits& exit) -> Status {
    platform::MutexLock lock(conditionLock_);
    const auto found = Find(hCop, waiter);
    if (found == copConditions_.end()) return exit.PassOn(1, ERR_FAILED, "CoP was not Found");
    copConditions_.erase(found);
    return exit.Normal();
  });
}

Status CJ2534EventProcessor::CheckCopCondition(UNUM32 hCop, const CopWaiter* waiter) {
  return Traced(methods::event_processor::kCheckCopCondition, [&](Exits& exit) -> Status {
    platform::MutexLock lock(conditionLock_);
    if (Find(hCop, waiter) != copConditions_.end()) return exit.Normal();
    if (lastCompletedCop_ == hCop) return exit.PassOn(0, ERR_FAILED, "CoP completed", hCop);
    return exit.PassOn(1, ERR_FAILED, "CoP was not Found", hCop);
  });
}

void CJ2534EventProcessor::ForgetWaiter(const CopWaiter* waiter) {
  platform::MutexLock lock(conditionLock_);
  for (auto& [hCop, condition] : copConditions_) {
    if (condition.waiter == waiter) condition.waiter = nullptr;
  }
}

void CJ2534EventProcessor::AbandonWaits() {
  platform::MutexLock lock(conditionLock_);
  AbandonWaitsLocked();
}

void CJ2534EventProcessor::AbandonWaitsLocked() {
  for (auto& [hCop, condition] : copConditions_) Tell(condition.waiter, CopEnd::Abandoned);
}

std::size_t CJ2534EventProcessor::GetPendingTxCopCount() const {
  platform::MutexLock lock(conditionLock_);
  return static_cast<std::size_t>(
      std::count_if(copConditions_.begin(), copConditions_.end(),
                    [](const auto& entry) { return entry.second.isTransmit; }));
}

void CJ2534EventProcessor::EndCop(UNUM32 hCop) {
  const auto found = copConditions_.lower_bound(hCop);
  if (found == copConditions_.end() || found->first != hCop) return;
  Tell(found->second.waiter, CopEnd::Completed);
  copConditions_.erase(found);
}

Status CJ2534EventProcessor::ProcessEventItem(bool* fetched) {
  return Traced(methods::event_processor::kProcessEventItem, [&](Exits& exit) -> Status {
    pdu::Item<PDU_EVENT_ITEM> item;
    T_PDU_ERROR result = PDU_ERR_EVENT_QUEUE_EMPTY;
    {
      platform::RecursiveMutexLock lock(pdu::PduApiLock());
      if (link_) {
        result = item.Checked(pdu::Api().PDUGetEventItem(link_->module, link_->cll, item.Out()));
      }
    }
    if (result != PDU_STATUS_NOERROR) return ReportFetchFailure(exit, result);
    if (!item) return exit.PassOn(2, ERR_FAILED, "NULL Event Item was returned.");
    if (fetched != nullptr) *fetched = true;
    if (const Status status = Dispatch(std::move(item))) {
      return exit.PassOn(7, status, "Error Processing Event Item.");
    }
    return exit.Normal();
  });
}

Status CJ2534EventProcessor::ReportFetchFailure(Exits& exit, T_PDU_ERROR result) {
  switch (result) {
    case PDU_ERR_EVENT_QUEUE_EMPTY:
      return exit.PassOn(1, ERR_BUFFER_EMPTY, "The Event Queue was empty.");
    case PDU_ERR_COMM_PC_TO_VCI_FAILED:
    case PDU_ERR_MODULE_NOT_CONNECTED:
      sink_->LoseVehicle();
      return exit.PassOn(5, ERR_DEVICE_NOT_CONNECTED, "Device is disconnecte.", result);
    case PDU_ERR_CLL_NOT_CONNECTED:
      return exit.PassOn(4, ERR_DEVICE_NOT_CONNECTED, "CLL was not connected.", result);
    case PDU_ERR_INVALID_HANDLE:
      return exit.PassOn(3, ERR_INVALID_CHANNEL_ID, "CLL Handle was invalid.", result);
    default:
      return exit.PassOn(6, ERR_FAILED, "Unknown Error getting Event Item.", result);
  }
}

Status CJ2534EventProcessor::Dispatch(pdu::Item<PDU_EVENT_ITEM> item) {
  switch (item->ItemType) {
    case PDU_IT_RESULT:
      return ProcessResultData(std::move(item));
    case PDU_IT_STATUS:
      return ProcessStatusCode(std::move(item));
    case PDU_IT_ERROR:
      return ProcessErrorData(std::move(item));
    default:
      return ProcessUnknownItem(std::move(item));
  }
}

Status CJ2534EventProcessor::ProcessResultData(pdu::Item<PDU_EVENT_ITEM> item) {
  return Traced(methods::event_processor::kProcessResultData, [&](Exits& exit) -> Status {
    if (const Status status = sink_->AddResultData(pdu::SharedEventItem(std::move(item)))) {
      return exit.PassOn(1, status, "Error adding J2534 PassThruMsg to Receive Buffer.");
    }
    return exit.Normal();
  });
}

Status CJ2534EventProcessor::ProcessStatusCode(pdu::Item<PDU_EVENT_ITEM> item) {
  return Traced(methods::event_processor::kProcessStatusCode, [&](Exits& exit) -> Status {
    if (!item || item->pData == nullptr) {
      return exit.PassOn(1, ERR_NULL_PARAMETER, "Invalid pointer to EventItem.");
    }
    const auto code = *static_cast<const UNUM32*>(item->pData);
    const UNUM32 hCop = item->hCop;
    const T_PDU_ERROR destroyed = item.Destroy();
    if (const Status status = pdu::kDestroyItemResults(destroyed)) {
      return exit.PassOn(1, status, "Error Destroying Event Item.", destroyed);
    }
    if (hCop == PDU_HANDLE_UNDEF) {
      if (code < PDU_CLLST_OFFLINE || code > PDU_CLLST_COMM_STARTED) {
        return exit.PassOn(2, ERR_FAILED, Formatted("Unknown CLL Status Code (%08X).", code));
      }
      return exit.Normal();
    }
    platform::MutexLock lock(conditionLock_);
    switch (code) {
      case PDU_COPST_IDLE:
      case PDU_COPST_EXECUTING:
        break;
      case PDU_COPST_FINISHED:
      case PDU_COPST_CANCELLED:
        EndCop(hCop);
        lastCompletedCop_ = hCop;
        break;
      default:
        return exit.PassOn(3, ERR_FAILED, Formatted("Unknown COP Status Code (%08X).", code));
    }
    return exit.Normal();
  });
}

void CJ2534EventProcessor::ReportPduError(const PDU_ERROR_DATA& error) {
  Exits(methods::event_processor::kErrorFromPdu)
      .Fail(5, ERR_FAILED,
            Formatted("Code (%08X), Extra Info (%08X).", error.ErrorCodeId, error.ExtraErrorInfoId),
            error.ErrorCodeId);
  LastErrorRecord::Instance().SetLastStatus(ERR_FAILED);
  sink_->NotePduError(error.ErrorCodeId);
}

Status CJ2534EventProcessor::ProcessErrorData(pdu::Item<PDU_EVENT_ITEM> item) {
  return Traced(methods::event_processor::kProcessErrorData, [&](Exits& exit) -> Status {
    if (!item) return exit.PassOn(1, ERR_NULL_PARAMETER, "NULL Event Item Pointer.");
    if (item->pData == nullptr) {
      return exit.PassOn(2, ERR_NULL_PARAMETER, "Error creating J2534 PassThruMsg.");
    }
    const PDU_ERROR_DATA error = *static_cast<const PDU_ERROR_DATA*>(item->pData);
    const UNUM32 hCop = item->hCop;
    ReportPduError(error);

    const T_PDU_ERROR destroyed = item.Destroy();
    if (const Status status = pdu::kDestroyItemResults(destroyed)) {
      return exit.PassOn(3, status, "Error Destroying Event Item.", destroyed);
    }
    if (hCop == PDU_HANDLE_UNDEF) {
      return exit.PassOn(4, ERR_FAILED,
                         Formatted("Unknown CLL Error Code (%08X), Extra Info (%08X).",
                                   error.ErrorCodeId, error.ExtraErrorInfoId));
    }
    platform::MutexLock lock(conditionLock_);
    EndCop(hCop);
    return exit.Normal();
  });
}

Status CJ2534EventProcessor::ProcessUnknownItem(pdu::Item<PDU_EVENT_ITEM> item) {
  item.Destroy();
  return ERR_FAILED;
}

CopWait::~CopWait() {
  if (processor_ != nullptr && !told_) processor_->ForgetWaiter(&waiter_);
}

CopEnd CopWait::Wait(UNUM32 hCop) {
  if (processor_ == nullptr) return CopEnd::Completed;
  if (processor_->CheckCopCondition(hCop, &waiter_) == STATUS_NOERROR &&
      !processor_->Await(waiter_.event, Remaining()) &&
      processor_->RemoveCopCondition(hCop, &waiter_) == STATUS_NOERROR) {
    told_ = true;
    return CopEnd::Pending;
  }
  // Also when the end came between the time-out and the removal.
  told_ = true;
  return waiter_.end != CopEnd::Pending ? waiter_.end : CopEnd::Completed;
}

}  // namespace passbridge
