#include "virtual_vci/library/library.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

namespace virtual_vci {

namespace {

constexpr UNUM32 kFirstModuleHandle = 0x1001;
constexpr UNUM32 kModuleType = 1;
constexpr UNUM32 kPart1Version = 0x01000000;
constexpr UNUM32 kPart2Version = 0x02020000;
constexpr UNUM32 kHardwareVersion = 0x01000000;
constexpr UNUM32 kSoftwareVersion = 0x00010000;
constexpr UNUM32 kDate = 0x07EA0B18;  // year, month, day

std::string AdditionalInfo(const InterfaceConfig& interface) {
  std::string text = "ConnectionType='" + interface.type + "'";
  if (!interface.address.empty()) text += " IPAddress='" + interface.address + "'";
  if (interface.wifiQuality)
    text += " WifiSigQuality='" + std::to_string(*interface.wifiQuality) + "'";
  return text;
}

CHAR8* PutText(ItemBuilder& builder, const std::string& text) {
  auto* part = builder.Take<CHAR8>(text.size() + 1);
  std::copy(text.begin(), text.end(), part);
  return part;
}

template <std::size_t N>
void CopyText(CHAR8 (&out)[N], const std::string& text) {
  std::snprintf(out, N, "%s", text.c_str());
}

UNUM32 InterfaceCode(const std::string& type) {
  constexpr std::array<const char*, 5> kTypes{"USB", "Ethernet", "Wireless", "Bluetooth", "Local"};
  const auto found = std::find(kTypes.begin(), kTypes.end(), type);
  return found == kTypes.end() ? 0 : static_cast<UNUM32>(found - kTypes.begin()) + 1;
}

}  // namespace

Library::Library(Scenario scenario, ClockKind clock, void* apiTag)
    : scenario_(std::move(scenario)), clock_(clock), apiTag_(apiTag), system_(apiTag) {
  UNUM32 handle = kFirstModuleHandle;
  MutexLock lock(lock_);
  for (const VciConfig& vci : scenario_.vcis) {
    vcis_.push_back({&vci, true, true, vci.status, vci.extraInfo, vci.battery, 0});
    for (const InterfaceConfig& interface : vci.interfaces) {
      modules_.push_back({handle++, vcis_.size() - 1, &interface, nullptr});
    }
  }
}

Library::~Library() {
  // What a callback ended while Shutdown ran. The last user of the library may be that very
  // callback.
  MutexLock lock(lock_);
  for (std::thread& thread : retired_) {
    if (thread.get_id() == std::this_thread::get_id()) {
      thread.detach();
    } else {
      thread.join();
    }
  }
}

bool Library::OnOwnThread() {
  MutexLock lock(lock_);
  const auto self = std::this_thread::get_id();
  const bool retired = std::any_of(retired_.begin(), retired_.end(),
                                   [&](auto& each) { return each.get_id() == self; });
  return retired || system_.IsThisThread() ||
         std::any_of(modules_.begin(), modules_.end(), [](const Entry& entry) {
           return entry.connected && entry.connected->OnOwnThread();
         });
}

void Library::Shutdown() {
  std::vector<std::shared_ptr<Module>> open;
  {
    MutexLock lock(lock_);
    closed_ = true;
    for (Entry& entry : modules_) {
      if (entry.connected) open.push_back(std::exchange(entry.connected, nullptr));
    }
  }
  for (const auto& module : open) module->Stop(true);
  open.clear();
  JoinRetired();
  system_.Stop();
  items_.DestroyAll();
}

Library::Entry* Library::Find(UNUM32 handle) {
  const auto found = std::find_if(modules_.begin(), modules_.end(),
                                  [&](auto& entry) { return entry.handle == handle; });
  return found == modules_.end() ? nullptr : &*found;
}

T_PDU_ERROR Library::CheckConnect(const Entry& entry) const {
  const Vci& vci = vcis_[entry.vci];
  if (entry.connected) return PDU_ERR_SHARING_VIOLATION;
  if (!vci.present || !vci.plugged) return PDU_ERR_DEVICE_NOT_CONNECTED;
  if (vci.status == PDU_MODST_NOT_READY) {
    const bool software = vci.extraInfo == PDU_ERR_API_SW_OUT_OF_DATE;
    const bool firmware = vci.extraInfo == PDU_ERR_MODULE_FW_OUT_OF_DATE;
    return software || firmware ? vci.extraInfo : T_PDU_ERROR{PDU_ERR_FCT_FAILED};
  }
  if (vci.status != PDU_MODST_AVAIL) return PDU_ERR_MODULE_NOT_CONNECTED;
  const bool busy = std::any_of(modules_.begin(), modules_.end(), [&](const Entry& other) {
    return other.vci == entry.vci && other.connected;
  });
  return busy ? PDU_ERR_DEVICE_IN_USE : PDU_STATUS_NOERROR;
}

T_PDU_ERROR Library::ConnectModule(UNUM32 module) {
  JoinRetired();
  MutexLock lock(lock_);
  if (closed_) return PDU_ERR_PDUAPI_NOT_CONSTRUCTED;
  Entry* entry = Find(module);
  if (entry == nullptr) return PDU_ERR_INVALID_HANDLE;
  if (const T_PDU_ERROR error = CheckConnect(*entry)) return error;
  const Vci& vci = vcis_[entry->vci];
  auto events = std::make_shared<EventQueue>(module, PDU_HANDLE_UNDEF, apiTag_, nullptr);
  auto connected =
      std::make_shared<Module>(module, *vci.config, scenario_, clock_, apiTag_, std::move(events));
  connected->SetVoltages(vci.battery, vci.programming);
  Module::Start(connected);
  entry->connected = std::move(connected);
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Library::DisconnectModule(UNUM32 module) {
  std::shared_ptr<Module> connected;
  {
    MutexLock lock(lock_);
    Entry* entry = Find(module);
    if (entry == nullptr) return PDU_ERR_INVALID_HANDLE;
    if (!entry->connected) return PDU_ERR_MODULE_NOT_CONNECTED;
    connected = std::exchange(entry->connected, nullptr);
  }
  StopModule(connected);
  return PDU_STATUS_NOERROR;
}

void Library::StopModule(const std::shared_ptr<Module>& module) {
  // A callback waits for no other callback, as that one may be ending this one's module.
  module->Stop(!OnOwnThread());
  std::thread rest = module->TakeThread();
  if (!rest.joinable()) return;
  MutexLock lock(lock_);
  retired_.push_back(std::move(rest));
}

void Library::JoinRetired() {
  if (OnOwnThread()) return;
  std::vector<std::thread> ended;
  {
    MutexLock lock(lock_);
    ended.swap(retired_);
  }
  for (std::thread& thread : ended) thread.join();
}

T_PDU_ERROR Library::FindModule(UNUM32 handle, std::shared_ptr<Module>& found) {
  MutexLock lock(lock_);
  const Entry* entry = Find(handle);
  if (entry == nullptr) return PDU_ERR_INVALID_HANDLE;
  found = entry->connected;
  return found ? PDU_STATUS_NOERROR : PDU_ERR_MODULE_NOT_CONNECTED;
}

std::vector<std::shared_ptr<Module>> Library::ConnectedModules() {
  MutexLock lock(lock_);
  std::vector<std::shared_ptr<Module>> modules;
  for (const Entry& entry : modules_) {
    if (entry.connected) modules.push_back(entry.connected);
  }
  return modules;
}

T_PDU_STATUS Library::StatusOf(const Entry& entry) const {
  const Vci& vci = vcis_[entry.vci];
  if (!vci.plugged) return PDU_MODST_NOT_AVAIL;
  if (entry.connected) return PDU_MODST_READY;
  return vci.status;
}

ItemPtr Library::MakeModuleList() {
  MutexLock lock(lock_);
  std::vector<const Entry*> shown;
  std::size_t characters = 0;
  for (const Entry& entry : modules_) {
    if (!vcis_[entry.vci].present || !vcis_[entry.vci].plugged) continue;
    shown.push_back(&entry);
    characters += std::to_string(vcis_[entry.vci].config->serial).size() +
                  AdditionalInfo(*entry.interface).size() + 2;
  }
  ItemBuilder builder;
  builder.Need<PDU_MODULE_ITEM>()
      .Need<PDU_MODULE_DATA>(shown.size())
      .Need<CHAR8>(characters)
      .Make();
  auto* item = builder.Take<PDU_MODULE_ITEM>();
  auto* data = builder.Take<PDU_MODULE_DATA>(shown.size());
  *item = {PDU_IT_MODULE_ID, static_cast<UNUM32>(shown.size()), data};
  for (const Entry* entry : shown) {
    CHAR8* name = PutText(builder, std::to_string(vcis_[entry->vci].config->serial));
    CHAR8* info = PutText(builder, AdditionalInfo(*entry->interface));
    *data++ = {kModuleType, entry->handle, name, info, StatusOf(*entry)};
  }
  return builder.Finish();
}

T_PDU_ERROR Library::ModuleStatus(UNUM32 module, T_PDU_STATUS& status, UNUM32& timestamp,
                                  UNUM32& extraInfo) {
  std::shared_ptr<Module> connected;
  {
    MutexLock lock(lock_);
    const Entry* entry = Find(module);
    if (entry == nullptr) return PDU_ERR_INVALID_HANDLE;
    status = StatusOf(*entry);
    extraInfo = status == PDU_MODST_READY ? 0 : vcis_[entry->vci].extraInfo;
    connected = entry->connected;
  }
  timestamp = connected ? connected->Timestamp() : 0;
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Library::Version(UNUM32 module, PDU_VERSION_DATA& version) {
  MutexLock lock(lock_);
  const Entry* entry = Find(module);
  if (entry == nullptr) return PDU_ERR_INVALID_HANDLE;
  if (!entry->connected) return PDU_ERR_MODULE_NOT_CONNECTED;
  const VciConfig& vci = *vcis_[entry->vci].config;
  version = {};
  version.MVCI_Part1StandardVersion = kPart1Version;
  version.MVCI_Part2StandardVersion = kPart2Version;
  version.HwSerialNumber = vci.serial;
  CopyText(version.HwName, vci.name);
  version.HwVersion = kHardwareVersion;
  version.HwDate = version.FwDate = version.PDUApiSwDate = kDate;
  version.HwInterface = InterfaceCode(entry->interface->type);
  CopyText(version.FwName, vci.name + " firmware");
  version.FwVersion = vci.firmware;
  CopyText(version.VendorName, "Passbridge");
  CopyText(version.PDUApiSwName, "Passbridge virtual VCI");
  version.PDUApiSwVersion = kSoftwareVersion;
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Library::NextEvent(UNUM32 module, UNUM32 link, ItemPtr& out) {
  if (module == PDU_HANDLE_UNDEF) {
    if (link != PDU_HANDLE_UNDEF) return PDU_ERR_INVALID_HANDLE;
    out = system_.Pop();
    return out ? PDU_STATUS_NOERROR : PDU_ERR_EVENT_QUEUE_EMPTY;
  }
  std::shared_ptr<Module> connected;
  if (const T_PDU_ERROR error = FindModule(module, connected)) return error;
  return connected->NextEvent(link, out);
}

T_PDU_ERROR Library::SetCallback(UNUM32 module, UNUM32 link, CALLBACKFNC callback) {
  if (module == PDU_HANDLE_UNDEF) {
    if (link != PDU_HANDLE_UNDEF) return PDU_ERR_INVALID_HANDLE;
    system_.SetCallback(callback);
    return PDU_STATUS_NOERROR;
  }
  std::shared_ptr<Module> connected;
  if (const T_PDU_ERROR error = FindModule(module, connected)) return error;
  return connected->SetCallback(link, callback);
}

Library::Vci* Library::FindVci(UNUM32 serial) {
  const auto found = std::find_if(vcis_.begin(), vcis_.end(),
                                  [&](Vci& vci) { return vci.config->serial == serial; });
  return found == vcis_.end() ? nullptr : &*found;
}

void Library::ListChanged() { system_.Push(MakeInfoItem(0, PDU_INFO_MODULE_LIST_CHG, 0)); }

T_PDU_ERROR Library::Plug(UNUM32 serial, bool plugged) {
  std::vector<std::shared_ptr<Module>> lost;
  {
    MutexLock lock(lock_);
    Vci* vci = FindVci(serial);
    if (vci == nullptr) return PDU_ERR_INVALID_PARAMETERS;
    vci->plugged = plugged;
    for (const Entry& entry : modules_) {
      if (!plugged && vcis_[entry.vci].config->serial == serial && entry.connected)
        lost.push_back(entry.connected);
    }
    ListChanged();
  }
  for (const auto& module : lost) module->Lose();
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Library::SetPresent(UNUM32 serial, bool present) {
  MutexLock lock(lock_);
  Vci* vci = FindVci(serial);
  if (vci == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  vci->present = present;
  ListChanged();
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Library::SetStatus(UNUM32 serial, T_PDU_STATUS status, UNUM32 extraInfo) {
  MutexLock lock(lock_);
  Vci* vci = FindVci(serial);
  if (vci == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  vci->status = status;
  vci->extraInfo = extraInfo;
  ListChanged();
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Library::SetVoltages(UNUM32 serial, UNUM32 battery, UNUM32 programming) {
  MutexLock lock(lock_);
  Vci* vci = FindVci(serial);
  if (vci == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  vci->battery = battery;
  vci->programming = programming;
  for (const Entry& entry : modules_) {
    if (vcis_[entry.vci].config->serial == serial && entry.connected) {
      entry.connected->SetVoltages(battery, programming);
    }
  }
  return PDU_STATUS_NOERROR;
}

}  // namespace virtual_vci
