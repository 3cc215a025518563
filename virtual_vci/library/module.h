/// \file
/// A module of the D-PDU API: one VCI over one interface, with its own vehicle while it is
/// connected.
#ifndef VIRTUAL_VCI_LIBRARY_MODULE_H_
#define VIRTUAL_VCI_LIBRARY_MODULE_H_

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include "virtual_vci/library/resources.h"
#include "virtual_vci/links/link.h"
#include "virtual_vci/scenario/scenario.h"
#include "virtual_vci/vehicle/vehicle.h"

namespace virtual_vci {

/// A connected module: clock, vehicle, links, and the thread that runs them. Every function may be
/// called from any thread; callbacks of the application come on the module's own thread, with no
/// lock held.
///
/// Locks, in their order: Library, Module (everything that runs on its clock: vehicle, links,
/// protocols), the module's list of queues, an EventQueue, its EventCallback. SystemThread, the
/// item store and the recorder take theirs last, and none after it.
class Module {
 public:
  /// `vci` and `scenario` must outlive the module.
  Module(UNUM32 handle, const VciConfig& vci, const Scenario& scenario, ClockKind clock,
         void* apiTag, std::shared_ptr<EventQueue> events);
  /// Stop must have been called.
  ~Module();
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  /// Starts the thread, which keeps the module alive until it ends.
  static void Start(const std::shared_ptr<Module>& module);
  /// Ends the thread, cancels everything, destroys the links. It waits for the end of the thread if
  /// `wait`, but not on the module's own thread (in a callback): then the thread ends when the
  /// callback returns, and `TakeThread` gives what somebody has to join.
  void Stop(bool wait);
  std::thread TakeThread();
  /// Whether the caller is in a callback of this module.
  bool OnOwnThread() const { return thread_.get_id() == std::this_thread::get_id(); }

  UNUM32 Handle() const { return handle_; }
  UNUM32 Timestamp();
  /// The VCI is gone: every further call says so.
  void Lose();

  T_PDU_ERROR CreateLink(const PDU_RSC_DATA* data, UNUM32 resourceId, void* tag,
                         const PDU_FLAG_DATA* flags, UNUM32* link);
  T_PDU_ERROR DestroyLink(UNUM32 link);
  /// Runs `body(Link&)` under the module's lock, after everything that is due, and returns its
  /// result. PDU_ERR_INVALID_HANDLE, PDU_ERR_COMM_PC_TO_VCI_FAILED: it has not run.
  template <typename Body>
  T_PDU_ERROR OnLink(UNUM32 link, Body&& body) {
    MutexLock lock(lock_);
    Link* found = nullptr;
    if (const T_PDU_ERROR error = Enter(link, found)) return error;
    return body(*found);
  }
  T_PDU_ERROR IoControl(IoCtl command, const PDU_DATA_ITEM* input, ItemPtr& out);
  /// `link` PDU_HANDLE_UNDEF: the module's.
  T_PDU_ERROR GetLastError(UNUM32 link, LastError& error);
  /// The next event item of a link or, with PDU_HANDLE_UNDEF, of the module. Doesn't take the
  /// module's lock.
  T_PDU_ERROR NextEvent(UNUM32 link, ItemPtr& out);
  T_PDU_ERROR SetCallback(UNUM32 link, CALLBACKFNC callback);

  std::vector<UNUM32> FindResources(const PDU_RSC_DATA& data);
  /// None for an unknown resource.
  std::optional<UNUM32> ResourceStatus(UNUM32 resourceId);
  std::optional<std::vector<UNUM32>> ConflictsOf(UNUM32 resourceId);

  void SetVoltages(UNUM32 battery, UNUM32 programming);
  /// As an ECU does: see Bus::SendBytes. PDU_ERR_PIN_NOT_CONNECTED without a bus on the pins.
  T_PDU_ERROR SendBytes(const std::vector<UNUM32>& pins, UNUM32 flags,
                        std::span<const UNUM8> message);
  void SetCyclic(bool on);
  // These do nothing, and say so, if no ECU has this name.
  bool SetFault(std::string_view ecu, EcuFault fault);
  std::optional<std::vector<HeardByte>> TakeHeard(std::string_view ecu);
  void Advance(Micros time);

 private:
  void Run();
  void WaitForWork(MutexLock& lock) VVCI_REQUIRES(lock_);
  /// The thread has to look what is to do.
  void Kick() VVCI_REQUIRES(lock_);
  /// The application took everything: messages that go out as fast as it takes them may go on.
  void Drained();
  std::shared_ptr<EventQueue> QueueOf(UNUM32 link);
  Link* Find(UNUM32 link) VVCI_REQUIRES(lock_);
  /// PDU_STATUS_NOERROR and the link, or what to return. Runs what is due.
  T_PDU_ERROR Enter(UNUM32 link, Link*& found) VVCI_REQUIRES(lock_);
  /// Whether some link has room for messages that go out as fast as they are taken.
  bool HasRoom() const VVCI_REQUIRES(lock_);
  BusSlot& SlotOf(const Resource& resource) VVCI_REQUIRES(lock_);
  T_PDU_ERROR SetProgrammingVoltage(const PDU_DATA_ITEM* input) VVCI_REQUIRES(lock_);

  const UNUM32 handle_;
  const VciConfig& vci_;
  void* const apiTag_;

  Mutex lock_;
  Scheduler scheduler_ VVCI_GUARDED_BY(lock_);
  Outbox outbox_ VVCI_GUARDED_BY(lock_);
  EventPort events_ VVCI_GUARDED_BY(lock_);
  FloodGate flood_;  ///< guarded by the lock, too, but for Used
  std::unique_ptr<Vehicle> vehicle_ VVCI_GUARDED_BY(lock_);
  ResourceList resources_ VVCI_GUARDED_BY(lock_);
  std::map<const BusSlot*, BusAccess> access_ VVCI_GUARDED_BY(lock_);
  std::map<UNUM32, std::unique_ptr<Link>> links_ VVCI_GUARDED_BY(lock_);
  LastError lastError_ VVCI_GUARDED_BY(lock_);
  UNUM32 battery_ VVCI_GUARDED_BY(lock_);
  UNUM32 programming_ VVCI_GUARDED_BY(lock_) = 0;
  std::atomic<bool> lost_ = false;
  bool stop_ VVCI_GUARDED_BY(lock_) = false;
  bool wake_ VVCI_GUARDED_BY(lock_) = false;
  std::condition_variable changed_;

  Mutex queuesLock_;
  std::map<UNUM32, std::shared_ptr<EventQueue>> queues_ VVCI_GUARDED_BY(queuesLock_);

  std::thread thread_;
};

/// Handles that are never used twice: links and ComPrimitives.
UNUM32 NextLinkHandle();
UNUM32 NextCopHandle();

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LIBRARY_MODULE_H_
