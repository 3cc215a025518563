#ifndef PASSBRIDGE_CHANNEL_EVENT_PROCESSOR_H_
#define PASSBRIDGE_CHANNEL_EVENT_PROCESSOR_H_

#include <boost/thread/thread.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "channel/event.h"
#include "channel/event_sink.h"
#include "channel/link_handles.h"
#include "channel/serving_role.h"
#include "j2534/cj2534.h"
#include "passbridge/d_pdu_api.h"
#include "pdu/item.h"
#include "pdu/pdu_api.h"
#include "platform/clock.h"
#include "platform/mutex.h"

namespace passbridge {

class Exits;

/// How a wait for the end of a ComPrimitive (CoP) ended.
enum class CopEnd : std::uint8_t {
  Pending,    ///< not at all: the time was over
  Completed,  ///< the CoP finished, was cancelled or failed
  Abandoned,  ///< nobody will tell any more: the link ends, or the VCI is lost
};

/// Whom the end of one CoP wakes, any number of threads.
struct CopWaiter {
  CJ2534Event event;             ///< ends with the CoP
  CopEnd end = CopEnd::Pending;  ///< written before the event ends, read after the wait for it
};

/// A connected channel's event thread and its table of pending CoPs. The thread drains the link's
/// D-PDU event queue, unless a thread of the application does that while it waits: results go to
/// the sink, statuses and errors end the waits of those who started the CoPs. It sleeps until the
/// D-PDU library calls back.
///
/// Shared by the link and by the waits on it, so that a wait outlives the link that it was for.
class CJ2534EventProcessor : public CJ2534 {
 public:
  CJ2534EventProcessor() = default;
  CJ2534EventProcessor(const CJ2534EventProcessor&) = delete;
  CJ2534EventProcessor& operator=(const CJ2534EventProcessor&) = delete;
  ~CJ2534EventProcessor() { Stop(); }

  /// Starts the thread. `sink` lives until Stop.
  Status Initialize(EventSink* sink);
  /// Names the link whose queue the thread drains from now on.
  void Serve(LinkHandles link) EXCLUDES(pdu::PduApiLock());
  /// Stops and joins the thread and abandons every wait; never run on it, nor with PduApiLock held.
  /// Again and again is allowed.
  void Stop() EXCLUDES(conditionLock_);

  /// Registers a started CoP. `waiter`, which may be null, is told when the CoP ends; it must live
  /// until then or until RemoveCopCondition. Called under PduApiLock together with the start, so
  /// that the end cannot be seen before. D-PDU libraries use handles again, before the end of the
  /// CoP that had it was seen, too: CoPs of one handle end in the order of their start.
  Status AddCopCondition(UNUM32 hCop, CopWaiter* waiter, bool isTransmit);
  /// Forgets the CoP that has this waiter; it is not told any more once this returns.
  Status RemoveCopCondition(UNUM32 hCop, const CopWaiter* waiter);
  /// STATUS_NOERROR while the CoP that has this waiter is pending; ERR_FAILED when there is nothing
  /// to wait for.
  Status CheckCopCondition(UNUM32 hCop, const CopWaiter* waiter);
  /// Makes sure that the waiter is neither told any more nor being told, whatever CoP it was for.
  void ForgetWaiter(const CopWaiter* waiter) EXCLUDES(conditionLock_);
  /// Ends every wait at once. What is pending stays registered, without a waiter.
  void AbandonWaits() EXCLUDES(conditionLock_);
  /// CoPs with transmitted messages that have not ended, periodic messages among them.
  std::size_t GetPendingTxCopCount() const EXCLUDES(conditionLock_);

  /// Tells that there may be items.
  /// @return whom to wake, without any lock; null for nobody. It lives as long as this.
  platform::WakeUp* Signal() { return role_.Announce(); }

  /// Waits for an event that items may set, as its TimedWait does, and takes the items itself
  /// meanwhile if nobody else does. With no lock held that handling an item may need.
  bool Await(CJ2534Event& event, std::uint32_t milliseconds);
  /// Handles what is in the queue, if nobody else does, and waits for nothing.
  void ServeQueued();

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

  struct Condition {
    CopWaiter* waiter;
    bool isTransmit;
  };
  using Conditions = std::multimap<UNUM32, Condition>;

  class Serving;
  class Listening;

  void Run();
  /// Handles the items that were announced, but not too many in a row; true if there may be more.
  bool Drain();
  /// Serves until the event is set or the deadline has passed. Nothing if another thread serves, or
  /// begins to.
  std::optional<bool> ServeUntil(CJ2534Event& event, platform::Deadline deadline);
  Status Dispatch(pdu::Item<PDU_EVENT_ITEM> item);
  Status ReportFetchFailure(Exits& exit, T_PDU_ERROR result);
  void ReportPduError(const PDU_ERROR_DATA& error);
  Conditions::iterator Find(UNUM32 hCop, const CopWaiter* waiter) REQUIRES(conditionLock_);
  /// Ends the CoP that had the handle first: tells its waiter, if it has one, and forgets it.
  void EndCop(UNUM32 hCop) REQUIRES(conditionLock_);
  void AbandonWaitsLocked() REQUIRES(conditionLock_);

  // Constant between Initialize and Stop.
  EventSink* sink_ = nullptr;
  std::unique_ptr<boost::thread> thread_;

  ServingRole role_;  // synchronised by itself

  std::optional<LinkHandles> link_ GUARDED_BY(pdu::PduApiLock());

  mutable platform::Mutex conditionLock_;  // after PduApiLock where both are held
  Conditions copConditions_ GUARDED_BY(conditionLock_);
  UNUM32 lastCompletedCop_ GUARDED_BY(conditionLock_) = PDU_HANDLE_UNDEF;
};

/// One application thread's wait for the end of one CoP. Its waiter is its own, not shared with
/// other waits of the channel, so that no wait can consume the signal of another.
class CopWait {
 public:
  /// @param processor     may be null: nothing is waited for then
  /// @param milliseconds  from now on; the start of the CoP counts
  CopWait(std::shared_ptr<CJ2534EventProcessor> processor, std::uint32_t milliseconds)
      : processor_(std::move(processor)), time_(milliseconds) {}
  CopWait(const CopWait&) = delete;
  CopWait& operator=(const CopWait&) = delete;
  ~CopWait();

  /// The waiter to register the CoP with.
  CopWaiter* Waiter() { return &waiter_; }

  /// What is left of the time, in milliseconds.
  std::uint32_t Remaining() const { return time_.Remaining(); }

  /// Waits for the CoP that was started with this waiter; it is forgotten when it has not ended in
  /// time.
  CopEnd Wait(UNUM32 hCop);

 private:
  const std::shared_ptr<CJ2534EventProcessor> processor_;
  const platform::Countdown time_;
  CopWaiter waiter_;
  bool told_ = false;  // the waiter is registered with no CoP any more
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_EVENT_PROCESSOR_H_
