#include "server/server.h"

#include <array>
#include <cstdio>
#include <utility>

#include "pdu/com_param.h"
#include "pdu/pdu_api.h"
#include "platform/never_destroyed.h"
#include "server/device.h"
#include "trace/last_error.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

/// PDUConstruct gets its option text in a field of this size, the terminator included.
using OptionText = std::array<char, 100>;

/// False when the text would have to be cut.
bool MakeOptionText(const char* vciName, OptionText& text) {
  if (vciName == nullptr) return true;
  const int length = std::snprintf(text.data(), text.size(), "VCIName='%s' Port='8080'", vciName);
  return length >= 0 && static_cast<std::size_t>(length) < text.size();
}

/// Constructs the D-PDU API; true if that worked.
bool Construct(const char* vciName, void* apiTag) {
  OptionText options{};
  return MakeOptionText(vciName, options) &&
         pdu::Api().PDUConstruct(options.data(), apiTag) == PDU_STATUS_NOERROR;
}

void ResolveIdentifiers() noexcept {
  try {
    pdu::ResolvePduObjectIds();
  } catch (...) {  // NOLINT(bugprone-empty-catch): out of memory; the next construction asks again
  }
}

DevicePtr CreateDevice() noexcept {
  try {
    return std::make_shared<CJ2534Device>();
  } catch (...) {
    return nullptr;
  }
}

}  // namespace

CJ2534Server& CJ2534Server::Instance() {
  static platform::NeverDestroyed<CJ2534Server> server;
  return server.Get();
}

bool CJ2534Server::AcceptsVciName(const char* vciName) {
  OptionText options{};
  return MakeOptionText(vciName, options);
}

bool CJ2534Server::Initialize(bool traceOn, const char* vciName) {
  constexpr const char* kName = "CJ2534Server::Initialize()";
  TraceEnter(kName);
  RecordStatus(STATUS_NOERROR);
  SetTraceEnabled(traceOn ? 1 : 0);
  const bool constructed = Construct(vciName, this);
  isConstructed_ = constructed;
  if (constructed) ResolveIdentifiers();
  TraceLeave(kName);
  return constructed;
}

bool CJ2534Server::Uninitialize() {
  constexpr const char* kName = "CJ2534Server::Uninitialize()";
  TraceEnter(kName);
  const LastErrorKept kept;
  for (const DevicePtr& device : AllDevices()) device->Abandon();
  ForgetStrayChannels();
  pdu::Api().PDUDestruct();
  TraceLeave(kName);
  return true;
}

Status CJ2534Server::PassThruOpen(const UNUM32* moduleHandle, const std::uint32_t* serialNumber,
                                  const AppValue& deviceId) {
  return RecordStatus(OpenDevice(moduleHandle, serialNumber, deviceId));
}

Status CJ2534Server::OpenDevice(const UNUM32* moduleHandle, const std::uint32_t* serialNumber,
                                const AppValue& deviceId) {
  return Traced(methods::server::kPassThruOpen, [&](Exits& exit) -> Status {
    if (ValidatePointer(deviceId)) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL Device ID pointer.");
    }
    const DevicePtr device = CreateDevice();
    if (device == nullptr) {
      return exit.Fail(2, ERR_FAILED, "Unable to create a J2534 Device.");
    }
    if (device->Initialize()) {
      return exit.Fail(3, ERR_FAILED, "Unable to initialize the J2534 Device.");
    }
    Devices entry;
    entry.emplace(0, device);
    if (const Status status = device->PassThruOpen(moduleHandle, serialNumber)) {
      return exit.PassOn(4, status, "Error opening device.");
    }
    KeepDevice(device->ModuleHandle(), entry.extract(entry.begin()));
    deviceId.Store(device->ModuleHandle());
    return exit.Normal();
  });
}

Status CJ2534Server::PassThruClose(std::uint32_t deviceId) {
  return RecordStatus(CloseDevice(deviceId));
}

Status CJ2534Server::CloseDevice(std::uint32_t deviceId) {
  return Traced(methods::server::kPassThruClose, [&](Exits& exit) -> Status {
    DevicePtr device;
    if (const Status status = GetDeviceFromDeviceID(deviceId, &device)) {
      return exit.Fail(1, status, "Error finding device.");
    }
    if (device == nullptr) return exit.Fail(2, ERR_FAILED, "Error invalid device was found.");
    if (const Status status = device->PassThruClose()) {
      return exit.PassOn(3, status, "Error closing device");
    }
    if (!ForgetDevice(deviceId)) {
      return exit.Fail(4, ERR_INVALID_DEVICE_ID, "Invalid DeviceID.");
    }
    return exit.Normal();
  });
}

void CJ2534Server::KeepDevice(std::uint32_t deviceId, Devices::node_type entry) {
  DevicePtr replaced;
  entry.key() = deviceId;
  {
    const platform::MutexLock lock(mapLock_);
    const auto kept = devices_.insert(std::move(entry));
    if (!kept.inserted) replaced = std::exchange(kept.position->second, kept.node.mapped());
    hasDevices_ = true;
  }
  if (replaced == nullptr) return;
  const LastErrorKept kept;
  replaced->Abandon();  // calls on it that are under way end
}

bool CJ2534Server::ForgetDevice(std::uint32_t deviceId) {
  DevicePtr forgotten;  // goes after the lock
  const platform::MutexLock lock(mapLock_);
  const auto found = devices_.find(deviceId);
  if (found == devices_.end()) return false;
  forgotten = std::move(found->second);
  devices_.erase(found);
  hasDevices_ = !devices_.empty();
  return true;
}

}  // namespace passbridge
