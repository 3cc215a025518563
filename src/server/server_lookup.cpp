#include <iterator>
#include <optional>
#include <string>
#include <utility>

#include "pdu/item.h"
#include "pdu/result_map.h"
#include "server/device.h"
#include "server/server.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr pdu::ResultMap kModuleIdsResults{
    ERR_FAILED, {{PDU_ERR_DEVICE_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED}}};

constexpr pdu::ResultMap kModuleStatusResults{
    ERR_FAILED,
    {{PDU_ERR_SHARING_VIOLATION, STATUS_NOERROR},
     {PDU_ERR_DEVICE_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED}}};

constexpr pdu::ResultMap kDestroyListResults{
    ERR_FAILED,
    {{PDU_ERR_DEVICE_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_SHARING_VIOLATION, ERR_DEVICE_IN_USE}}};

/// Asks for the status of a module; only the result is of interest, which tells whether it lives.
T_PDU_ERROR AskStatus(UNUM32 moduleHandle) {
  T_PDU_STATUS status = 0;
  UNUM32 timestamp = 0;
  UNUM32 extraInfo = 0;
  return pdu::Api().PDUGetStatus(moduleHandle, PDU_HANDLE_UNDEF, PDU_HANDLE_UNDEF, &status,
                                 &timestamp, &extraInfo);
}

/// Adds one entry of the module list. The result is that of the D-PDU call that failed, if any.
T_PDU_ERROR AddEntry(const PDU_MODULE_DATA& module, VqxInfoList& list) {
  VciRecord* const record = RecordOf(module, list);
  if (record == nullptr) return PDU_STATUS_NOERROR;
  const std::optional<std::string> info = AdditionalInfo(module);
  if (!info) return PDU_STATUS_NOERROR;
  if (module.ModuleStatus == PDU_MODST_NOT_READY) {
    const T_PDU_ERROR result = AskStatus(module.hMod);
    if (kModuleStatusResults(result) != STATUS_NOERROR) return result;
  }
  AddInterface(module.hMod, *info, *record);
  return PDU_STATUS_NOERROR;
}

/// Adds the entries that can be read.
T_PDU_ERROR AddEntries(const PDU_MODULE_ITEM& modules, VqxInfoList& list) {
  for (const PDU_MODULE_DATA& module : ReadableModules(modules)) {
    if (const T_PDU_ERROR result = AddEntry(module, list)) return result;
  }
  return PDU_STATUS_NOERROR;
}

}  // namespace

Status CJ2534Server::GetDeviceIDFromChannelID(std::uint32_t channelId, std::uint32_t* deviceId) {
  return Traced(methods::server::kGetDeviceIDFromChannelID, [&](Exits& exit) -> Status {
    if (deviceId == nullptr) return exit.PassOn(1, ERR_NULL_PARAMETER, "NULL Device ID pointer.");
    if (!hasDevices_) return exit.PassOn(2, ERR_INVALID_DEVICE_ID, "Invalid DeviceID.");
    const platform::MutexLock lock(mapLock_);
    const auto found = channelDevices_.find(channelId);
    if (found == channelDevices_.end()) {
      return exit.PassOn(3, ERR_INVALID_CHANNEL_ID, "Invalid ChannelID.");
    }
    *deviceId = found->second;
    return exit.Normal();
  });
}

Status CJ2534Server::GetDeviceFromDeviceID(std::uint32_t deviceId, DevicePtr* device) {
  return Traced(methods::server::kGetDeviceFromDeviceID, [&](Exits& exit) -> Status {
    if (ValidatePointer(device)) {
      return exit.PassOn(1, ERR_NULL_PARAMETER, "NULL CJ2534Device pointer pointer.");
    }
    const platform::MutexLock lock(mapLock_);
    const auto found = devices_.find(deviceId);
    if (found == devices_.end()) {
      return exit.PassOn(2, ERR_INVALID_DEVICE_ID, "Invalid DevicelID.");
    }
    if (found->second == nullptr) {
      return exit.PassOn(3, ERR_INVALID_DEVICE_ID, "NULL Device pointer.");
    }
    *device = found->second;
    return exit.Normal();
  });
}

Status CJ2534Server::GetDeviceFromModuleHandle(UNUM32 moduleHandle, DevicePtr* device) {
  return Traced(methods::server::kGetDeviceFromDeviceID, [&](Exits& exit) -> Status {
    if (device == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL CJ2534Device pointer pointer.");
    }
    for (const DevicePtr& candidate : AllDevices()) {
      if (candidate->ModuleHandle() == moduleHandle) *device = candidate;
    }
    if (*device == nullptr) return exit.PassOn(2, ERR_INVALID_DEVICE_ID, "NULL Device pointer.");
    return exit.Normal();
  });
}

Status CJ2534Server::GetDeviceFromChannelID(std::uint32_t channelId, DevicePtr* device) {
  return Traced(methods::server::kGetDeviceFromChannelID, [&](Exits& exit) -> Status {
    if (!hasDevices_) return exit.PassOn(1, ERR_INVALID_DEVICE_ID, "Invalid DeviceID.");
    std::uint32_t deviceId = 0;
    if (const Status status = GetDeviceIDFromChannelID(channelId, &deviceId)) {
      return exit.PassOn(2, status, "Error getting DeviceID from ChannelID.");
    }
    if (const Status status = GetDeviceFromDeviceID(deviceId, device)) {
      return exit.PassOn(3, status, "Device was not found.");
    }
    return exit.Normal();
  });
}

Status CJ2534Server::PopulateDeviceInfoList(VqxInfoList* list) {
  return Traced(methods::server::kPopulateDeviceInfoList, [&](Exits& exit) -> Status {
    if (ValidatePointer(list)) return exit.Fail(1, ERR_FAILED, "Invalid VqxInfoList pointer.");
    pdu::Item<PDU_MODULE_ITEM> modules;
    T_PDU_ERROR result = modules.Checked(pdu::Api().PDUGetModuleIds(modules.Out()));
    if (result == PDU_ERR_PDUAPI_NOT_CONSTRUCTED) isConstructed_ = false;
    if (const Status status = kModuleIdsResults(result)) {
      return exit.Fail(2, status, "Error getting ModuleIDs.", result);
    }
    if (!modules) return exit.Fail(3, ERR_FAILED, "Empty ModuleID List was returned.");
    result = AddEntries(*modules.get(), *list);
    if (const Status status = kModuleStatusResults(result)) {
      return exit.Fail(4, status, "Error getting PDU Module Status.", result);
    }
    result = modules.Destroy();
    if (const Status status = kDestroyListResults(result)) {
      return exit.Fail(5, status, "Error ModuleID list.", result);
    }
    return exit.Normal();
  });
}

bool CJ2534Server::IsLost(std::uint32_t deviceId) {
  DevicePtr device;
  return GetDeviceFromDeviceID(deviceId, &device) == STATUS_NOERROR && !device->IsConnected();
}

std::vector<DevicePtr> CJ2534Server::AllDevices() {
  const platform::MutexLock lock(mapLock_);
  std::vector<DevicePtr> devices;
  devices.reserve(devices_.size());
  for (const auto& [deviceId, device] : devices_) devices.push_back(device);
  return devices;
}

void CJ2534Server::KeepChannel(std::uint32_t channelId, ChannelDevices::node_type entry) {
  entry.key() = channelId;
  const platform::MutexLock lock(mapLock_);
  channelDevices_.insert(std::move(entry));
}

bool CJ2534Server::ForgetChannel(std::uint32_t channelId) {
  const platform::MutexLock lock(mapLock_);
  return channelDevices_.erase(channelId) != 0;
}

void CJ2534Server::ForgetStrayChannels() {
  const platform::MutexLock lock(mapLock_);
  for (auto entry = channelDevices_.begin(); entry != channelDevices_.end();) {
    const bool isStray = devices_.count(entry->second) == 0;
    entry = isStray ? channelDevices_.erase(entry) : std::next(entry);
  }
}

}  // namespace passbridge
