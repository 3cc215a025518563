#ifndef PASSBRIDGE_CHANNEL_EVENT_PROCESSOR_H_
#define PASSBRIDGE_CHANNEL_EVENT_PROCESSOR_H_

#include <atomic>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <set>

#include "channel/event.h"
#include "j2534/cj2534.h"
#include "passbridge/d_pdu_api.h"
#include "pdu/item.h"
#include "platform/mutex.h"

namespace passbridge {

class CJ2534Channel;

/// A connected channel's event thread and its table of pending ComPrimitives (CoPs). The thread
/// drains the link's D-PDU event queue: results go into the channel's receive buffer, statuses and
/// errors end the waits of those who started the CoPs. It sleeps until the D-PDU library calls
/// back.
class CJ2534EventProcessor : public CJ2534 {
 public:
  CJ2534EventProcessor() = default;
  CJ2534EventProcessor(const CJ2534EventProcessor&) = delete;
  CJ2534EventProcessor& operator=(const CJ2534EventProcessor&) = delete;
  /// Stops and joins the thread; never run on it, nor with PduApiLock held.
  ~CJ2534EventProcessor();

  /// Starts the thread for `channel`, which outlives this object.
  Status Initialize(CJ2534Channel* channel);

  /// Registers a started CoP. `waiter`, which may be null, is set when the CoP ends; it must live
  /// until then or until RemoveCopCondition. Called under PduApiLock together with the start, so
  /// that the end cannot be seen before.
  Status AddCopCondition(UNUM32 hCop, CJ2534Event* waiter, bool isTransmit);
  /// Forgets a CoP; its waiter is not set any more once this returns.
  Status RemoveCopCondition(UNUM32 hCop);
  /// STATUS_NOERROR while the CoP is pending; ERR_FAILED when there is nothing to wait for.
  Status CheckCopCondition(UNUM32 hCop);
  /// Makes sure that the CoP's waiter is neither set any more nor being set.
  void ForgetWaiter(UNUM32 hCop) EXCLUDES(conditionLock_);
  /// CoPs with transmitted messages that have not ended, periodic messages among them.
  std::size_t GetPendingTxCopCount() const EXCLUDES(conditionLock_);

  /// Wakes the thread. Called under PduApiLock.
  void Signal() { wakeEvent_.Set(); }

  /// Fetches and handles one event item; STATUS_NOERROR when there was one and all went well.
  /// @param fetched  if given, receives whether there was an item, well handled or not
  Status ProcessEventItem(bool* fetched = nullptr);
  Status ProcessResultData(pdu::Item<PDU_EVENT_ITEM> item);
  Status ProcessStatusCode(pdu::Item<PDU_EVENT_ITEM> item);
  Status ProcessErrorData(pdu::Item<PDU_EVENT_ITEM> item);
  /// Destroys an item of a type that channels do not use.
  static Status ProcessUnknownItem(pdu::Item<PDU_EVENT_ITEM> item);

 private:
  /// The thread's body.
  class CJ2534EventProcessorThread;

  using Conditions = std::map<UNUM32, CJ2534Event*>;

  void Run();
  Status Dispatch(pdu::Item<PDU_EVENT_ITEM> item);
  Status ReportFetchFailure(class Exits& exit, T_PDU_ERROR result);
  /// Ends a CoP: sets its waiter, if it has one, and forgets it.
  void EndCop(UNUM32 hCop) REQUIRES(conditionLock_);

  // Constant between Initialize and the destructor.
  CJ2534Channel* channel_ = nullptr;
  std::unique_ptr<boost::thread> thread_;

  // Synchronised by themselves.
  CJ2534Event wakeEvent_;
  CJ2534Event stoppedEvent_;
  std::atomic<bool> stopRequested_{true};

  mutable platform::Mutex conditionLock_;  // after PduApiLock where both are held
  Conditions copConditions_ GUARDED_BY(conditionLock_);
  std::set<UNUM32> txCops_ GUARDED_BY(conditionLock_);  // those of copConditions_ that transmit
  UNUM32 lastCompletedCop_ GUARDED_BY(conditionLock_) = PDU_HANDLE_UNDEF;
};

/// One application thread's wait for the end of one CoP. The event is its own, not shared with
/// other waits of the channel, so that no wait can consume the signal of another.
class CopWait {
 public:
  /// `processor` may be null: nothing is waited for then.
  explicit CopWait(CJ2534EventProcessor* processor) : processor_(processor) {}
  CopWait(const CopWait&) = delete;
  CopWait& operator=(const CopWait&) = delete;
  ~CopWait() {
    if (processor_ != nullptr) processor_->ForgetWaiter(hCop_);
  }

  /// The waiter to register the CoP with.
  CJ2534Event* Waiter() { return &ended_; }

  /// Waits for the CoP that was started with this waiter; false, with the CoP forgotten, when it
  /// has not ended after so many milliseconds.
  bool Wait(UNUM32 hCop, std::uint32_t milliseconds);

 private:
  CJ2534EventProcessor* processor_;
  CJ2534Event ended_;
  UNUM32 hCop_ = PDU_HANDLE_UNDEF;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_EVENT_PROCESSOR_H_
