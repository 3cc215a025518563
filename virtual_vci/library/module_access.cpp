// The parts of a module that read and set rather than run: ComParams, resources, locks, status,
// control.
#include "virtual_vci/library/module.h"

namespace virtual_vci {

namespace {

constexpr UNUM32 kLockBits = PDU_LOCK_COMPARAMS | PDU_LOCK_TRANSMIT;

}  // namespace

T_PDU_ERROR Module::GetComParam(UNUM32 link, UNUM32 id, ItemPtr& out) {
  MutexLock lock(lock_);
  Link* found = nullptr;
  if (const T_PDU_ERROR error = Enter(link, found)) return error;
  if (ComParamOf(id) == nullptr) return PDU_ERR_COMPARAM_NOT_SUPPORTED;
  out = found->GetComParam(id);
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Module::SetComParam(UNUM32 link, const PDU_PARAM_ITEM& item) {
  MutexLock lock(lock_);
  Link* found = nullptr;
  if (const T_PDU_ERROR error = Enter(link, found)) return error;
  const ComParamInfo* info = ComParamOf(item.ComParamId);
  if (info == nullptr) return PDU_ERR_COMPARAM_NOT_SUPPORTED;
  const UNUM32 owner = vehicle_->BusAt(found->On().kind->bus, found->On().pins).comParamsOwner;
  if (info->paramClass == PDU_PC_BUSTYPE && owner != 0 && owner != link)
    return PDU_ERR_COMPARAM_LOCKED;
  return found->SetComParam(item);
}

T_PDU_ERROR Module::GetUniqueRespIdTable(UNUM32 link, ItemPtr& out) {
  MutexLock lock(lock_);
  Link* found = nullptr;
  if (const T_PDU_ERROR error = Enter(link, found)) return error;
  out = found->GetUniqueRespIdTable();
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Module::SetUniqueRespIdTable(UNUM32 link, const PDU_UNIQUE_RESP_ID_TABLE_ITEM& item) {
  MutexLock lock(lock_);
  Link* found = nullptr;
  if (const T_PDU_ERROR error = Enter(link, found)) return error;
  return found->SetUniqueRespIdTable(item);
}

T_PDU_ERROR Module::Lock(UNUM32 link, UNUM32 mask) {
  MutexLock lock(lock_);
  Link* found = nullptr;
  if (const T_PDU_ERROR error = Enter(link, found)) return error;
  if (mask == 0 || (mask & ~kLockBits) != 0) return PDU_ERR_INVALID_PARAMETERS;
  BusSlot& slot = vehicle_->BusAt(found->On().kind->bus, found->On().pins);
  const auto taken = [&](UNUM32 bit, UNUM32 owner) {
    return (mask & bit) != 0 && owner != 0 && owner != link;
  };
  if (taken(PDU_LOCK_COMPARAMS, slot.comParamsOwner) ||
      taken(PDU_LOCK_TRANSMIT, slot.transmitOwner)) {
    return PDU_ERR_RSC_LOCKED_BY_OTHER_CLL;
  }
  if ((mask & PDU_LOCK_COMPARAMS) != 0) slot.comParamsOwner = link;
  if ((mask & PDU_LOCK_TRANSMIT) != 0) slot.transmitOwner = link;
  TellOthers(*found, PDU_INFO_RSC_LOCK_CHG);
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Module::Unlock(UNUM32 link, UNUM32 mask) {
  MutexLock lock(lock_);
  Link* found = nullptr;
  if (const T_PDU_ERROR error = Enter(link, found)) return error;
  if (mask == 0 || (mask & ~kLockBits) != 0) return PDU_ERR_INVALID_PARAMETERS;
  BusSlot& slot = vehicle_->BusAt(found->On().kind->bus, found->On().pins);
  const auto check = [&](UNUM32 bit, UNUM32 owner) -> T_PDU_ERROR {
    if ((mask & bit) == 0 || owner == link) return PDU_STATUS_NOERROR;
    return owner == 0 ? PDU_ERR_RSC_NOT_LOCKED : PDU_ERR_RSC_LOCKED_BY_OTHER_CLL;
  };
  if (const T_PDU_ERROR error = check(PDU_LOCK_COMPARAMS, slot.comParamsOwner)) return error;
  if (const T_PDU_ERROR error = check(PDU_LOCK_TRANSMIT, slot.transmitOwner)) return error;
  if ((mask & PDU_LOCK_COMPARAMS) != 0) slot.comParamsOwner = 0;
  if ((mask & PDU_LOCK_TRANSMIT) != 0) slot.transmitOwner = 0;
  TellOthers(*found, PDU_INFO_RSC_LOCK_CHG);
  return PDU_STATUS_NOERROR;
}

void Module::DropLocks(const Link& link) {
  BusSlot& slot = vehicle_->BusAt(link.On().kind->bus, link.On().pins);
  if (slot.comParamsOwner != link.Handle() && slot.transmitOwner != link.Handle()) return;
  if (slot.comParamsOwner == link.Handle()) slot.comParamsOwner = 0;
  if (slot.transmitOwner == link.Handle()) slot.transmitOwner = 0;
  TellOthers(link, PDU_INFO_RSC_LOCK_CHG);
}

T_PDU_ERROR Module::CheckLocks(const Link& link, const Cop& cop) {
  const UNUM32 owner = vehicle_->BusAt(link.On().kind->bus, link.On().pins).transmitOwner;
  const bool locked = owner != 0 && owner != link.Handle();
  return locked && cop.Sends() && !cop.data.empty() ? PDU_ERR_RSC_LOCKED : PDU_STATUS_NOERROR;
}

T_PDU_ERROR Module::LinkStatus(UNUM32 link, UNUM32 cop, T_PDU_STATUS& status, UNUM32& timestamp) {
  MutexLock lock(lock_);
  Link* found = nullptr;
  if (const T_PDU_ERROR error = Enter(link, found)) return error;
  timestamp = static_cast<UNUM32>(scheduler_.Now());
  if (cop == PDU_HANDLE_UNDEF) {
    status = found->Status();
    return PDU_STATUS_NOERROR;
  }
  const auto copStatus = found->CopStatus(cop);
  if (!copStatus) return PDU_ERR_INVALID_HANDLE;
  status = *copStatus;
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Module::GetLastError(UNUM32 link, LastError& error) {
  MutexLock lock(lock_);
  if (link == PDU_HANDLE_UNDEF) {
    error = lastError_;
    return PDU_STATUS_NOERROR;
  }
  const Link* found = Find(link);
  if (found == nullptr) return PDU_ERR_INVALID_HANDLE;
  error = lost_ ? lastError_ : found->Error();
  return PDU_STATUS_NOERROR;
}

std::vector<UNUM32> Module::FindResources(const PDU_RSC_DATA& data) {
  MutexLock lock(lock_);
  return resources_.Matching(data);
}

std::optional<UNUM32> Module::ResourceStatus(UNUM32 resourceId) {
  MutexLock lock(lock_);
  const Resource* resource = vehicle_ ? resources_.Find(resourceId) : nullptr;
  if (resource == nullptr) return std::nullopt;
  const BusSlot& slot = vehicle_->BusAt(resource->kind->bus, resource->pins);
  UNUM32 status = 0;
  for (const auto& [handle, link] : links_) {
    if (link->On().id == resourceId) status |= PDU_RSC_STATUS_IN_USE;
  }
  if (slot.comParamsOwner != 0) status |= PDU_RSC_STATUS_COMPARAMS_LOCKED;
  if (slot.transmitOwner != 0) status |= PDU_RSC_STATUS_TRANSMIT_LOCKED;
  return status;
}

std::optional<std::vector<UNUM32>> Module::ConflictsOf(UNUM32 resourceId) {
  MutexLock lock(lock_);
  const Resource* resource = resources_.Find(resourceId);
  return resource == nullptr ? std::nullopt : std::optional(resources_.ConflictsOf(*resource));
}

void Module::SetVoltages(UNUM32 battery, UNUM32 programming) {
  MutexLock lock(lock_);
  battery_ = battery;
  programming_ = programming;
}

T_PDU_ERROR Module::SendFrame(const std::vector<UNUM32>& pins, const CanFrame& frame) {
  MutexLock lock(lock_);
  if (stop_ || lost_) return PDU_ERR_MODULE_NOT_CONNECTED;
  BusSlot* slot = vehicle_->FindBus(pins);
  if (slot == nullptr) return PDU_ERR_PIN_NOT_CONNECTED;
  constexpr Micros kPatience = 100000;
  slot->can->Send(vehicle_->Stranger(*slot), frame, 0, kPatience);
  Kick();
  return PDU_STATUS_NOERROR;
}

void Module::SetCyclic(bool on) {
  MutexLock lock(lock_);
  if (!vehicle_) return;
  vehicle_->SetCyclic(on);
  RefillFlood();
  Kick();
}

void Module::Advance(Micros time) {
  MutexLock lock(lock_);
  scheduler_.Advance(time);
  Kick();
}

}  // namespace virtual_vci
