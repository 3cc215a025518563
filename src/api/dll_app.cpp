#include "api/dll_app.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "j2534/foreign_text.h"
#include "j2534/settings.h"
#include "passbridge/j2534.h"
#include "pdu/pdu_api.h"
#include "platform/cancellation.h"
#include "platform/memory_probe.h"
#include "platform/never_destroyed.h"
#include "platform/registry.h"
#include "platform/version_resource.h"
#include "trace/last_error.h"
#include "ui/device_explorer.h"

namespace passbridge {

namespace {

constexpr std::size_t kMaxName = 4096;
constexpr std::size_t kMaxVciName = 259;
constexpr std::string_view kVciNameKey = " VCIName";
constexpr std::string_view kNamePrefix = "J2534-2:";

constexpr PduLoader kInstalledLibrary{
    [] { return pdu::LoadPduApi(pdu::ReadFunctionLibraryPath()); }, &pdu::UnloadPduApi};

bool Contains(const std::optional<std::string>& text, std::string_view part) {
  return text && text->find(part) != std::string::npos;
}

bool IsTraceSwitchedOn() {
  const std::optional<platform::RegistryKey> key = platform::RegistryKey::Open(
      platform::RegistryRoot::User, settings::PathOf(settings::monitoring::kKey),
      platform::RegistryAccess::Read);
  return key && key->ReadFourBytes(settings::monitoring::kVciLogging).value_or(0) > 0;
}

void WriteProductVersion(char* text) {
  const std::optional<std::string> version = platform::ProductVersion();
  if (!version || !platform::IsWritable(text, J2534_TEXT_SIZE)) return;
  const std::size_t size = std::min<std::size_t>(version->size(), J2534_TEXT_SIZE - 1);
  std::memcpy(text, version->data(), size);
  text[size] = '\0';
}

}  // namespace

/// An open or a close that is under way. While there is one, nothing is unloaded; the last to end
/// unloads what is not needed any more.
class CJ2534DllApp::CallInProgress {
 public:
  explicit CallInProgress(CJ2534DllApp& app) : app_(app) {
    const platform::MutexLock lock(app_.lifeLock_);
    if (!app_.self_) app_.self_ = platform::DynamicLibrary::Own();
    ++app_.callsInProgress_;
  }
  CallInProgress(const CallInProgress&) = delete;
  CallInProgress& operator=(const CallInProgress&) = delete;
  ~CallInProgress() {
    const platform::MutexLock lock(app_.lifeLock_);
    if (--app_.callsInProgress_ == 0 && app_.openDevices_.empty()) app_.EndUnused();
  }

 private:
  CJ2534DllApp& app_;
};

CJ2534DllApp& CJ2534DllApp::Instance() {
  static platform::NeverDestroyed<CJ2534DllApp> app(CJ2534Server::Instance());
  return app.Get();
}

CJ2534DllApp::CJ2534DllApp(CJ2534Server& server) : CJ2534DllApp(server, kInstalledLibrary) {
  selection_.SetDialog(&ShowDeviceExplorer);
}

CJ2534DllApp::CJ2534DllApp(CJ2534Server& server, const PduLoader& loader)
    : server_(server), loader_(loader), selection_(server) {}

bool CJ2534DllApp::InitInstance() {
  const platform::MutexLock lock(initLock_);
  if (!initialised_) selection_.Load();
  initialised_ = true;
  return true;
}

bool CJ2534DllApp::InitializePduApi(const char* vciName) {
  const platform::MutexLock lock(lifeLock_);
  if (loaded_) return true;
  const bool traceOn = IsTraceSwitchedOn();
  if (!CJ2534Server::AcceptsVciName(vciName) || !loader_.load()) return false;
  loaded_ = server_.Initialize(traceOn, vciName);
  if (!loaded_) loader_.unload();
  return loaded_;
}

bool CJ2534DllApp::ReleasePduApi() {
  const platform::MutexLock lock(lifeLock_);
  Release();
  return true;
}

void CJ2534DllApp::Release() {
  if (!loaded_) return;
  server_.Uninitialize();
  loader_.unload();
  loaded_ = false;
}

void CJ2534DllApp::EndUnused() {
  try {
    if (releaseWanted_) Release();
    releaseWanted_ = false;
  } catch (...) {  // NOLINT(bugprone-empty-catch): out of memory; the next close tries again
  }
  if (!loaded_) self_.Close();
}

void CJ2534DllApp::WantRelease() {
  const platform::MutexLock lock(lifeLock_);
  releaseWanted_ = true;
}

template <typename Call>
Status CJ2534DllApp::Guarded(const Call& call) {
  try {
    return call();
  } catch (...) {
    if (platform::IsThreadEnding()) throw;
    return RecordStatus(ERR_DEVICE_NOT_CONNECTED);
  }
}

Status CJ2534DllApp::PassThruOpen(const void* name, const AppValue& deviceId) {
  return Guarded([&] { return Open(name, deviceId); });
}

Status CJ2534DllApp::Open(const void* name, const AppValue& deviceId) {
  // A name that cannot be read is as good as none.
  const std::optional<std::string> text = ReadForeignText(name, kMaxName);
  InitInstance();
  const CallInProgress inProgress(*this);
  const bool hasVciName = Contains(text, kVciNameKey);
  const std::string vciName = hasVciName ? text->substr(0, kMaxVciName) : std::string();
  if (!InitializePduApi(hasVciName ? vciName.c_str() : nullptr)) {
    return RecordStatus(ERR_DEVICE_NOT_CONNECTED);
  }
  const VciChoice choice = Choose(text);
  if (choice.IsCancelled() || !server_.IsConstructed()) WantRelease();
  return choice.IsMade() ? OpenChosen(choice, deviceId) : RecordStatus(ERR_DEVICE_NOT_CONNECTED);
}

VciChoice CJ2534DllApp::Choose(const std::optional<std::string>& name) {
  if (name) {
    return Contains(name, kNamePrefix) ? selection_.FindVciByName(name->substr(kNamePrefix.size()))
                                       : VciChoice{};
  }
  const VciChoice lastUsed = selection_.FindLastUsedVci();
  return lastUsed.IsMade() ? lastUsed : selection_.FindVciByStrategies();
}

Status CJ2534DllApp::OpenChosen(const VciChoice& choice, const AppValue& deviceId) {
  OpenDevices entry;  // made first: a device that is open is counted
  entry.emplace(choice.moduleHandle, choice.serialNumber);
  const Status status = server_.PassThruOpen(&choice.moduleHandle, &choice.serialNumber, deviceId);
  if (status != STATUS_NOERROR) {
    WantRelease();
    return status;
  }
  CountDevice(entry);
  DeviceSelection::StoreLastUsedVci(choice.serialNumber, choice.interfaceType);
  return status;
}

void CJ2534DllApp::CountDevice(OpenDevices& entry) {
  const std::uint32_t serialNumber = entry.begin()->second;
  const platform::MutexLock lock(lifeLock_);
  releaseWanted_ = false;
  for (auto device = openDevices_.begin(); device != openDevices_.end();) {
    const bool isTheSame = device->second == serialNumber && server_.IsLost(device->first);
    device = isTheSame ? openDevices_.erase(device) : std::next(device);
  }
  openDevices_.merge(entry);
}

Status CJ2534DllApp::PassThruClose(std::uint32_t deviceId) {
  return Guarded([&] { return Close(deviceId); });
}

Status CJ2534DllApp::Close(std::uint32_t deviceId) {
  const CallInProgress inProgress(*this);
  OpenDevices::node_type device;
  {
    // Not afterwards: as soon as it is closed, another thread may open it.
    const platform::MutexLock lock(lifeLock_);
    device = openDevices_.extract(deviceId);
    releaseWanted_ = releaseWanted_ || !device.empty();
  }
  return server_.PassThruClose(deviceId);
}

Status CJ2534DllApp::PassThruReadVersion(std::uint32_t deviceId, char* firmwareVersion,
                                         char* dllVersion, char* apiVersion) {
  return Guarded([&] {
    const Status status =
        server_.PassThruReadVersion(deviceId, firmwareVersion, dllVersion, apiVersion);
    WriteProductVersion(dllVersion);
    return status;
  });
}

Status CJ2534DllApp::PassThruIoctl(std::uint32_t id, std::uint32_t ioctlId, const AppPointer& input,
                                   const AppPointer& output) {
  if (ioctlId == FORGET_LAST_USED_VCI) {
    DeviceSelection::StoreLastUsedVci(0, InterfaceType::None);
    return STATUS_NOERROR;
  }
  if (ioctlId == SUPPRESS_VCI_DIALOG) return SuppressDialog(input);
  return server_.PassThruIoctl(id, ioctlId, input, output);
}

Status CJ2534DllApp::SuppressDialog(const AppPointer& input) {
  const AppValue value = input.Value();
  if (!platform::IsReadable(input.address, value.Size()) || value.Load() == 0) {
    return ERR_NULL_PARAMETER;
  }
  InitInstance();
  selection_.AllowDialog(value.Load() != 1);
  return STATUS_NOERROR;
}

}  // namespace passbridge
