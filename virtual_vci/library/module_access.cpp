// The parts of a module that read and set rather than run: last error, resources, control.
#include "virtual_vci/library/module.h"

namespace virtual_vci {

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
  return access_[&SlotOf(*resource)].StatusOf(resourceId);
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

T_PDU_ERROR Module::SendBytes(const std::vector<UNUM32>& pins, UNUM32 flags,
                              std::span<const UNUM8> message) {
  MutexLock lock(lock_);
  if (stop_ || lost_) return PDU_ERR_MODULE_NOT_CONNECTED;
  BusSlot* slot = vehicle_->FindBus(pins);
  if (slot == nullptr) return PDU_ERR_PIN_NOT_CONNECTED;
  if (!slot->bus->SendBytes(message, flags)) return PDU_ERR_INVALID_PARAMETERS;
  Kick();
  return PDU_STATUS_NOERROR;
}

bool Module::SetFault(std::string_view ecu, EcuFault fault) {
  MutexLock lock(lock_);
  Ecu* const found = vehicle_ ? vehicle_->FindEcu(ecu) : nullptr;
  if (found != nullptr) found->SetFault(fault);
  return found != nullptr;
}

std::optional<std::vector<HeardByte>> Module::TakeHeard(std::string_view ecu) {
  MutexLock lock(lock_);
  Ecu* const found = vehicle_ ? vehicle_->FindEcu(ecu) : nullptr;
  return found != nullptr ? std::optional(found->TakeHeard()) : std::nullopt;
}

void Module::SetCyclic(bool on) {
  MutexLock lock(lock_);
  if (!vehicle_) return;
  vehicle_->SetCyclic(on);
  flood_.Refill();
  Kick();
}

void Module::Advance(Micros time) {
  MutexLock lock(lock_);
  scheduler_.Advance(time);
  Kick();
}

}  // namespace virtual_vci
