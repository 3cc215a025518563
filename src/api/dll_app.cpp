#include "api/dll_app.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "j2534/foreign_text.h"
#include "passbridge/j2534.h"
#include "pdu/pdu_api.h"
#include "platform/memory_probe.h"
#include "platform/never_destroyed.h"
#include "platform/registry.h"
#include "platform/version_resource.h"
#include "trace/last_error.h"

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
      platform::RegistryRoot::User, "SOFTWARE\\QUARN\\QUARN_VCI\\Monitoring",
      platform::RegistryAccess::Read);
  return key && key->ReadFourBytes("VCI Logging").value_or(0) > 0;
}

void WriteProductVersion(char* text) {
  const std::optional<std::string> version = platform::ProductVersion();
  if (!version || !platform::IsWritable(text, J2534_TEXT_SIZE)) return;
  const std::size_t size = std::min<std::size_t>(version->size(), J2534_TEXT_SIZE - 1);
  std::memcpy(text, version->data(), size);
  text[size] = '\0';
}

}  // namespace

/// Keeps the D-PDU library loaded while an open is under way beside others that fail or close.
class CJ2534DllApp::OpenInProgress {
 public:
  explicit OpenInProgress(CJ2534DllApp& app) : app_(app) { Count(1); }
  OpenInProgress(const OpenInProgress&) = delete;
  OpenInProgress& operator=(const OpenInProgress&) = delete;
  ~OpenInProgress() { Count(-1); }

 private:
  void Count(std::int32_t step) {
    const platform::MutexLock lock(app_.lifeLock_);
    app_.opensInProgress_ += step;
  }

  CJ2534DllApp& app_;
};

CJ2534DllApp& CJ2534DllApp::Instance() {
  static platform::NeverDestroyed<CJ2534DllApp> app(CJ2534Server::Instance());
  return app.Get();
}

CJ2534DllApp::CJ2534DllApp(CJ2534Server& server) : CJ2534DllApp(server, kInstalledLibrary) {}

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
  if (!loader_.load()) return false;
  loaded_ = true;
  server_.Initialize(IsTraceSwitchedOn(), vciName);
  return true;
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

void CJ2534DllApp::ReleaseIfUnused(std::int32_t own) {
  if (openDevices_ == 0 && opensInProgress_ == own) Release();
}

Status CJ2534DllApp::PassThruOpen(const void* name, const AppValue& deviceId) {
  try {
    return Open(name, deviceId);
  } catch (...) {
    return RecordStatus(ERR_DEVICE_NOT_CONNECTED);
  }
}

Status CJ2534DllApp::Open(const void* name, const AppValue& deviceId) {
  const std::optional<std::string> text = ReadForeignText(name, kMaxName);
  if (name != nullptr && !text) return RecordStatus(ERR_NULL_PARAMETER);
  InitInstance();
  const OpenInProgress inProgress(*this);
  const bool hasVciName = Contains(text, kVciNameKey);
  const std::string vciName = hasVciName ? text->substr(0, kMaxVciName) : std::string();
  if (!InitializePduApi(hasVciName ? vciName.c_str() : nullptr)) {
    return RecordStatus(ERR_DEVICE_NOT_CONNECTED);
  }
  const VciChoice choice = Choose(text);
  if (choice.IsCancelled()) {
    const platform::MutexLock lock(lifeLock_);
    ReleaseIfUnused(1);
  }
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
  const Status status = server_.PassThruOpen(&choice.moduleHandle, &choice.serialNumber, deviceId);
  {
    const platform::MutexLock lock(lifeLock_);
    if (status != STATUS_NOERROR) {
      ReleaseIfUnused(1);
      return status;
    }
    ++openDevices_;
  }
  DeviceSelection::StoreLastUsedVci(choice.serialNumber, choice.interfaceType);
  return status;
}

Status CJ2534DllApp::PassThruClose(std::uint32_t deviceId) {
  try {
    return Close(deviceId);
  } catch (...) {
    return RecordStatus(ERR_DEVICE_NOT_CONNECTED);
  }
}

Status CJ2534DllApp::Close(std::uint32_t deviceId) {
  const Status status = server_.PassThruClose(deviceId);
  if (status == ERR_INVALID_DEVICE_ID) return status;
  const platform::MutexLock lock(lifeLock_);
  if (openDevices_ <= 0) return status;
  --openDevices_;
  ReleaseIfUnused(0);
  return status;
}

Status CJ2534DllApp::PassThruReadVersion(std::uint32_t deviceId, char* firmwareVersion,
                                         char* dllVersion, char* apiVersion) {
  try {
    const Status status =
        server_.PassThruReadVersion(deviceId, firmwareVersion, dllVersion, apiVersion);
    WriteProductVersion(dllVersion);
    return status;
  } catch (...) {
    return RecordStatus(ERR_DEVICE_NOT_CONNECTED);
  }
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
