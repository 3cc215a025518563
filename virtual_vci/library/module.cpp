#include "virtual_vci/library/module.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <utility>

#include "virtual_vci/protocols/protocol_table.h"

namespace virtual_vci {

namespace {

constexpr UNUM32 kRawModeFlag = 0x80;        // of byte 0 of the create flags
constexpr std::size_t kFloodBacklog = 1024;  // frames that may wait in a link's queue

std::unique_ptr<Bus> MakeBus(BusType type, Scheduler& scheduler, std::uint32_t bitRate) {
  for (const ProtocolOnBus& each : ProtocolTable()) {
    if (each.bus == type) return each.makeBus(scheduler, bitRate);
  }
  throw std::logic_error("type of bus without a protocol");
}

bool IsRawMode(const PDU_FLAG_DATA* flags) {
  return flags != nullptr && flags->NumFlagBytes > 0 && flags->pFlagData != nullptr &&
         (flags->pFlagData[0] & kRawModeFlag) != 0;
}

}  // namespace

UNUM32 NextLinkHandle() {
  static std::atomic<UNUM32> next = 0x20000;
  return ++next;
}

UNUM32 NextCopHandle() {
  static std::atomic<UNUM32> next = 0x1000000;
  return ++next;
}

Module::Module(UNUM32 handle, const VciConfig& vci, const Scenario& scenario, ClockKind clock,
               void* apiTag, std::shared_ptr<EventQueue> events)
    : handle_(handle),
      vci_(vci),
      apiTag_(apiTag),
      scheduler_(clock),
      events_(events, outbox_),
      flood_(scheduler_, [this]() VVCI_NO_ANALYSIS { return HasRoom(); }),
      resources_(scenario.buses),
      battery_(vci.battery) {
  MutexLock lock(lock_);
  vehicle_ = std::make_unique<Vehicle>(scenario, scheduler_, flood_, MakeBus);
  MutexLock queuesLock(queuesLock_);
  queues_.emplace(PDU_HANDLE_UNDEF, std::move(events));
}

Module::~Module() = default;

void Module::Start(const std::shared_ptr<Module>& module) {
  module->thread_ = std::thread([module] { module->Run(); });
}

void Module::Run() {
  MutexLock lock(lock_);
  while (!stop_) {
    wake_ = false;
    const bool more = scheduler_.RunDue(true);
    const auto queues = outbox_.Take();
    if (queues.empty() && !more) {
      WaitForWork(lock);
      continue;
    }
    lock.Unlock();
    for (const auto& queue : queues) queue->Callback().Run();
    lock.Relock();
  }
}

void Module::WaitForWork(MutexLock& lock) {
  const auto next = scheduler_.NextWake();
  while (!wake_ && !stop_) {
    if (!next) {
      changed_.wait(lock.Native());
    } else if (changed_.wait_until(lock.Native(), *next) == std::cv_status::timeout) {
      return;
    }
  }
}

void Module::Kick() {
  wake_ = true;
  changed_.notify_one();
}

void Module::Stop(bool wait) {
  {
    MutexLock lock(lock_);
    stop_ = true;
    for (auto& [handle, link] : links_) link->GoOffline();
    links_.clear();
    vehicle_.reset();
    Kick();
  }
  std::map<UNUM32, std::shared_ptr<EventQueue>> queues;
  {
    MutexLock lock(queuesLock_);
    queues.swap(queues_);
  }
  // Without the lock: a callback that is waited for may just be fetching an event.
  for (auto& [handle, queue] : queues) queue->Callback().Remove();
  if (wait && thread_.joinable() && !OnOwnThread()) thread_.join();
}

std::thread Module::TakeThread() { return std::move(thread_); }

UNUM32 Module::Timestamp() {
  MutexLock lock(lock_);
  return static_cast<UNUM32>(scheduler_.Now());
}

void Module::Lose() {
  MutexLock lock(lock_);
  if (lost_.exchange(true) || stop_) return;
  const auto now = static_cast<UNUM32>(scheduler_.Now());
  lastError_ = {PDU_ERR_EVT_LOST_COMM_TO_VCI, PDU_HANDLE_UNDEF, now, 0};
  const EventHead head{PDU_HANDLE_UNDEF, nullptr, now};
  events_.Push(MakeErrorItem(head, PDU_ERR_EVT_LOST_COMM_TO_VCI, 0));
  for (auto& [handle, link] : links_) {
    link->GoOffline();
    link->Events().Push(MakeErrorItem(head, PDU_ERR_EVT_LOST_COMM_TO_VCI, 0));
  }
  Kick();
}

Link* Module::Find(UNUM32 link) {
  const auto found = links_.find(link);
  return found == links_.end() ? nullptr : found->second.get();
}

T_PDU_ERROR Module::Enter(UNUM32 link, Link*& found) {
  if (stop_) return PDU_ERR_INVALID_HANDLE;
  found = Find(link);
  if (found == nullptr) return PDU_ERR_INVALID_HANDLE;
  if (lost_) return PDU_ERR_COMM_PC_TO_VCI_FAILED;
  scheduler_.RunDue(false);
  Kick();
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Module::CreateLink(const PDU_RSC_DATA* data, UNUM32 resourceId, void* tag,
                               const PDU_FLAG_DATA* flags, UNUM32* link) {
  MutexLock lock(lock_);
  if (stop_) return PDU_ERR_INVALID_HANDLE;
  if (lost_) return PDU_ERR_COMM_PC_TO_VCI_FAILED;
  const Resource* resource = nullptr;
  if (resourceId != PDU_ID_UNDEF) {
    resource = resources_.Find(resourceId);
    if (resource == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  } else if (data == nullptr) {
    return PDU_ERR_INVALID_PARAMETERS;
  } else if (const T_PDU_ERROR error = resources_.For(*data, resource)) {
    return error;
  }
  const bool busy = std::any_of(links_.begin(), links_.end(), [&](const auto& each) {
    return Conflict(each.second->On(), *resource);
  });
  if (busy) return PDU_ERR_RESOURCE_BUSY;
  const UNUM32 handle = NextLinkHandle();
  auto queue = std::make_shared<EventQueue>(handle_, handle, apiTag_, tag);
  const LinkOptions options{IsRawMode(flags), vci_.packedReception, vci_.passWithoutFilter};
  BusSlot& slot = SlotOf(*resource);
  const LinkSite site{*slot.bus, access_[&slot], scheduler_, flood_};
  links_.emplace(
      handle, std::make_unique<Link>(handle, *resource, options, site, EventPort(queue, outbox_)));
  MutexLock queuesLock(queuesLock_);
  queues_.emplace(handle, std::move(queue));
  *link = handle;
  return PDU_STATUS_NOERROR;
}

BusSlot& Module::SlotOf(const Resource& resource) {
  return vehicle_->BusAt(resource.kind->bus, resource.pins);
}

T_PDU_ERROR Module::DestroyLink(UNUM32 link) {
  std::shared_ptr<EventQueue> queue;
  {
    MutexLock lock(lock_);
    Link* found = stop_ ? nullptr : Find(link);
    if (found == nullptr) return PDU_ERR_INVALID_HANDLE;
    found->GoOffline();
    queue = found->Events().Shared();
    links_.erase(link);
    Kick();
  }
  {
    MutexLock lock(queuesLock_);
    queues_.erase(link);
  }
  queue->Callback().Remove();
  return PDU_STATUS_NOERROR;
}

std::shared_ptr<EventQueue> Module::QueueOf(UNUM32 link) {
  MutexLock lock(queuesLock_);
  const auto found = queues_.find(link);
  return found == queues_.end() ? nullptr : found->second;
}

T_PDU_ERROR Module::NextEvent(UNUM32 link, ItemPtr& out) {
  const auto queue = QueueOf(link);
  if (!queue) return PDU_ERR_INVALID_HANDLE;
  bool drained = false;
  out = queue->Pop(drained);
  if (drained && flood_.Used()) Drained();
  if (out) return PDU_STATUS_NOERROR;
  return lost_ && link != PDU_HANDLE_UNDEF ? PDU_ERR_COMM_PC_TO_VCI_FAILED
                                           : PDU_ERR_EVENT_QUEUE_EMPTY;
}

T_PDU_ERROR Module::SetCallback(UNUM32 link, CALLBACKFNC callback) {
  const auto queue = QueueOf(link);
  if (!queue) return PDU_ERR_INVALID_HANDLE;
  // The one that was there must not be called any more when this returns.
  queue->Callback().Remove();
  if (callback == nullptr) return PDU_STATUS_NOERROR;
  MutexLock lock(lock_);
  EventPort(queue, outbox_).SetCallback(callback);
  Kick();
  return PDU_STATUS_NOERROR;
}

bool Module::HasRoom() const {
  return std::any_of(links_.begin(), links_.end(), [](const auto& entry) {
    return entry.second->IsOnline() && entry.second->Events().Queue().Backlog() < kFloodBacklog;
  });
}

void Module::Drained() {
  MutexLock lock(lock_);
  flood_.Refill();
  Kick();
}

}  // namespace virtual_vci
