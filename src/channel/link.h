#ifndef PASSBRIDGE_CHANNEL_LINK_H_
#define PASSBRIDGE_CHANNEL_LINK_H_

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>

#include "channel/com_param_cache.h"
#include "channel/cop.h"
#include "channel/event_processor.h"
#include "passbridge/d_pdu_api.h"
#include "pdu/io_control.h"
#include "pdu/pdu_api.h"
#include "platform/mutex.h"
#include "trace/method.h"

namespace passbridge {

/// How long an update of ComParams is waited for, ms.
inline constexpr std::uint32_t kUpdateTimeout = 2000;

/// The ComLogicalLink (CLL) of a channel: its handles, its state, its ComParams, its event thread,
/// and the CoPs that are started on it.
///
/// One thread at a time brings the link up and takes it down; everything else may come from any
/// thread. Reports are made in the name of the caller, whose exits are handed in.
class Link {
 public:
  enum class State : std::uint8_t {
    None,        ///< there is no link, or it could not be brought up
    Connecting,  ///< being brought up
    Connected,
    Lost,    ///< the VCI cannot be reached any more
    Ending,  ///< being taken down, or gone for good
  };

  /// @param tag  what the D-PDU library is to know the link by
  Link(EventSink& sink, void* tag);
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;
  ~Link();

  void SetModule(UNUM32 module) { module_ = module; }
  /// The link's is 0 while there is none.
  LinkHandles Handles() const { return {module_, cll_}; }
  State GetState() const { return state_; }
  bool IsConnected() const { return state_ == State::Connected; }
  /// Whether somebody will tell the end of a CoP: while this is so, a wait for one makes sense.
  bool IsAlive() const {
    const State state = state_;
    return state == State::Connecting || state == State::Connected;
  }
  /// Whether the D-PDU library has a link of ours; its handle may be 0.
  bool HasLink() const { return hasLink_; }

  // The way up; each step reports its failure, and Abandon undoes what was done.

  Status StartEventProcessor(const Exits& exit);
  Status Create(const Exits& exit, PDU_RSC_DATA& resource, CllCreateFlags flags);
  Status Connect(const Exits& exit);
  /// The last step. False if the VCI was lost meanwhile.
  bool SetConnected();
  /// Undoes what was done so far, and reports nothing.
  void Abandon();

  // The way down.

  /// Ends every wait at once; the link is no longer connected. False if it was lost before.
  bool BeginEnd();
  /// Stops the event thread, abandons every wait, and gives the ComParams back. Never on the event
  /// thread, nor with PduApiLock held.
  void StopEvents();
  /// Disconnects and destroys the link; what was done of it is not done again the next time.
  Status Destroy(const Exits& exit);
  /// The link could not be destroyed, and is what it was before BeginEnd.
  void ReviveAfterFailedEnd();

  /// The VCI is lost: ends every wait at once and gives the ComParams back, unless they are in use
  /// just now. Waits for nobody. False if the link was not up.
  bool Lose();

  // CoPs.

  /// Starts a CoP and registers its end, both under PduApiLock. Its temporary ComParams are set
  /// before, in one step with the start, and gone afterwards, whatever came of it; an update that
  /// is under way is waited for then, since they would undo what it is about to put in force.
  /// Without a link nothing is started: PDU_ERR_INVALID_HANDLE.
  CopOutcome StartCop(CopStart& start, UNUM32* hCop);
  /// Waits for the end of the updates of ComParams that were started so far; false when they have
  /// not ended after so many milliseconds. Without the ComParam lock, which the event thread may
  /// need, and never on the event thread, which learns of the end.
  bool WaitForUpdates(std::uint32_t milliseconds) EXCLUDES(updateLock_);
  /// Waits for an event that the link's items set, and serves its queue meanwhile; see
  /// CJ2534EventProcessor::Await.
  bool Await(CJ2534Event& event, std::uint32_t milliseconds) EXCLUDES(processorLock_);
  /// Handles what is in the queue now.
  void ServeQueued() EXCLUDES(processorLock_);
  T_PDU_ERROR CancelCop(UNUM32 hCop);
  std::size_t PendingTransmitCops() const;
  /// Null while the link has no event thread.
  std::shared_ptr<CJ2534EventProcessor> Processor() const EXCLUDES(processorLock_);

  /// Held while the start of communication becomes known, and while a result is compared with it.
  platform::Mutex& StartCommLock() RETURN_CAPABILITY(startCommLock_) { return startCommLock_; }
  UNUM32 StartCommCop() const REQUIRES(startCommLock_) { return startCommCop_; }

  T_PDU_ERROR IoCtl(pdu::IoControl control);

  /// The ComParams of the link. Their lock is held from the first of some that are set to the start
  /// of their update: a CoP with temporary ComParams in between would set them back.
  ComParamCache& ComParams() { return comParams_; }

 private:
  friend void PDUAPI PduEventCallback(T_PDU_EVT_DATA, UNUM32, UNUM32, void*, void*);

  /// A thread that is to be woken, and what keeps it in memory.
  struct Sleeper {
    std::shared_ptr<CJ2534EventProcessor> processor;
    platform::WakeUp* wakeUp = nullptr;
  };
  /// Tells that there may be items; gives whom to wake.
  Sleeper SignalEvents() EXCLUDES(processorLock_);

  CopOutcome StartAsItIs(CopStart& start, UNUM32* hCop);
  CopOutcome StartUpdate(CopStart& start, UNUM32* hCop) EXCLUDES(updateLock_);
  CopOutcome StartWithTemporary(CopStart& start, UNUM32* hCop);
  /// The update that was started last and has not ended; null if there is none.
  std::shared_ptr<CopWaiter> PendingUpdate() EXCLUDES(updateLock_);
  CopOutcome StartAndRegister(CopStart& start, UNUM32* hCop) REQUIRES(pdu::PduApiLock());
  void StopProcessor() EXCLUDES(processorLock_);

  EventSink& sink_;
  void* const tag_;
  UNUM32 module_ = 0;          // constant once the channel is initialised
  bool pduConnected_ = false;  // PDUConnect succeeded; the thread that takes the link up and down

  // Synchronised by themselves.
  std::atomic<UNUM32> cll_{0};
  std::atomic<bool> hasLink_{false};
  std::atomic<State> state_{State::None};
  ComParamCache comParams_;  // its lock comes before PduApiLock

  mutable platform::Mutex processorLock_;  // held for this member only
  std::shared_ptr<CJ2534EventProcessor> processor_ GUARDED_BY(processorLock_);

  platform::Mutex updateLock_;  // held for this member only
  std::deque<std::shared_ptr<CopWaiter>> updates_
      GUARDED_BY(updateLock_);  // their order, ended ones too

  platform::Mutex startCommLock_;  // after PduApiLock
  UNUM32 startCommCop_ GUARDED_BY(startCommLock_) = PDU_HANDLE_UNDEF;
};

/// The D-PDU library's event callback of every link. Links that have gone are ignored.
void PDUAPI PduEventCallback(T_PDU_EVT_DATA eventType, UNUM32 hMod, UNUM32 hCll, void* pCllTag,
                             void* pApiTag);

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_LINK_H_
