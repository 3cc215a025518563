/// \file
/// The ComPrimitives of a link: their queue, their life, their status items.
#ifndef VIRTUAL_VCI_LINKS_COP_ENGINE_H_
#define VIRTUAL_VCI_LINKS_COP_ENGINE_H_

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>

#include "virtual_vci/items/event_port.h"
#include "virtual_vci/links/cop.h"
#include "virtual_vci/links/protocol.h"

namespace virtual_vci {

/// What a ComPrimitive does to its link when its turn comes.
class CopTarget {
 public:
  virtual ~CopTarget() = default;
  virtual void CommunicationStarted() = 0;
  virtual void CommunicationStopped() = 0;
  virtual void ActivateParams(const Cop& update) = 0;
  virtual void RestoreParams() = 0;
  virtual void ChangeParams(std::span<const ComParamDefault> values) = 0;
  virtual const ComParamSet& ActiveParams() const = 0;
  virtual void NoteError(T_PDU_ERR_EVT code, UNUM32 extra, UNUM32 cop, UNUM32 timestamp) = 0;
};

/// Guarded by the module's lock.
///
/// ComPrimitives take their turn in the order of their start: one is executing, the others wait.
/// Those that go on by themselves stand beside the queue: receive-only ones, ones that wait for
/// their next cycle, and ones that receive for ever after they have sent. Each says EXECUTING once,
/// then FINISHED or CANCELLED; a failure is an error item in front of FINISHED.
class CopEngine {
 public:
  CopEngine(Scheduler& scheduler, EventPort& events, CopTarget& target);
  ~CopEngine();
  CopEngine(const CopEngine&) = delete;
  CopEngine& operator=(const CopEngine&) = delete;

  void SetProtocol(Protocol* protocol) { protocol_ = protocol; }
  void Start(std::unique_ptr<Cop> cop);
  /// False if there is no such ComPrimitive (any more).
  bool Cancel(UNUM32 handle);
  void CancelAll();
  /// Cancels the sending ones that wait for their first turn and, with `executing`, the one that is
  /// being sent. Those that repeat for ever go on.
  void CancelSending(bool executing);
  void Suspend(bool suspended);
  std::optional<T_PDU_STATUS> Status(UNUM32 handle) const;

  // For the protocol.
  /// The communication is started or stopped, whichever the ComPrimitive is for. It goes on with
  /// its data, unless these were part of it (`dataSent`).
  void CommunicationDone(UNUM32 handle, bool dataSent = false);
  void SendDone(UNUM32 handle);
  /// Also: the bus could not be initialised.
  void SendFailed(UNUM32 handle, T_PDU_ERR_EVT code, UNUM32 extra);
  /// A response from there could not be received: goes to the ComPrimitive that would have got it.
  /// `begin`: its first bytes, as a receiver would have seen them, as far as they are known.
  void ReceiveFailed(std::span<const UNUM8> begin, UNUM32 uniqueRespId, T_PDU_ERR_EVT code,
                     UNUM32 extra);
  struct Receiver {
    Cop* cop;
    UNUM32 acceptanceId;
  };
  /// The ComPrimitive that takes this response: one that waits for it, before those that just
  /// receive; none if nobody receives. For an accepted response call Received after its item was
  /// pushed.
  std::optional<Receiver> ReceiverOf(std::span<const UNUM8> bytes, UNUM32 uniqueRespId);
  /// The one that may take a response that begins so.
  std::optional<Receiver> ReceiverFrom(std::span<const UNUM8> begin, UNUM32 uniqueRespId);
  void Received(UNUM32 handle);
  /// A response has begun to come in: its own time-outs count from here on, until ReleaseTimeout
  /// with the ComPrimitive that this returns.
  UNUM32 HoldTimeout(std::span<const UNUM8> begin, UNUM32 uniqueRespId);
  /// The response has come, to whomever, or will not: if the ComPrimitive still waits, its time
  /// begins anew.
  void ReleaseTimeout(UNUM32 handle);
  /// A "response pending" was delivered. True if the ComPrimitive goes on waiting, with CP_P2Star,
  /// for the response itself; false if it counts as a response.
  bool Pending(UNUM32 handle);
  const Cop* Find(UNUM32 handle) const;
  /// Those that it runs with.
  const ComParamSet& ParamsOf(const Cop& cop) const;
  /// The bus makes the link change ComParams, working and active ones.
  void ChangeParams(std::span<const ComParamDefault> values) { target_.ChangeParams(values); }

 private:
  EventHead HeadOf(const Cop& cop) const;
  void Pump();
  void BeginTurn(Cop& cop);
  void Execute(Cop& cop);
  void SendData(Cop& cop);
  void BeginReceiving(Cop& cop);
  void EndOfCycle(Cop& cop);
  void Rest(Cop& cop);
  void Timeout(UNUM32 handle);
  template <typename Fits>
  std::optional<Receiver> FindReceiver(Fits fits);
  void StartTimeout(Cop& cop, ComParam comParam);
  static bool HasTimeout(const Cop& cop);
  void LeaveTurn(const Cop& cop);
  void Fail(Cop& cop, T_PDU_ERR_EVT code, UNUM32 extra);
  void End(UNUM32 handle, T_PDU_STATUS status);
  void SayStatus(const Cop& cop, T_PDU_STATUS status);
  Cop* FindCop(UNUM32 handle);

  Scheduler& scheduler_;
  EventPort& events_;
  CopTarget& target_;
  Protocol* protocol_ = nullptr;
  std::map<UNUM32, std::unique_ptr<Cop>> cops_;  ///< by handle, which is the order of their start
  std::deque<UNUM32> waiting_;
  UNUM32 turn_ = PDU_HANDLE_UNDEF;  ///< whose turn it is
  bool suspended_ = false;
  bool pumping_ = false;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LINKS_COP_ENGINE_H_
