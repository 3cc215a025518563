#ifndef PASSBRIDGE_SERVER_SERVER_H_
#define PASSBRIDGE_SERVER_SERVER_H_

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <vector>

#include "j2534/cj2534.h"
#include "passbridge/d_pdu_api.h"
#include "platform/mutex.h"
#include "server/device_info_list.h"

namespace passbridge {

class CJ2534Device;
class Exits;

/// Shared by the registry and by the calls that are under way on the device, so that a device which
/// is closed meanwhile lives until they return.
using DevicePtr = std::shared_ptr<CJ2534Device>;

/// The dispatcher between the exported functions and the open devices: it constructs the D-PDU API,
/// keeps the devices and the channels by their identifiers, and records every operation's status as
/// the last status. Any thread may call; an application runs open, close, connect and disconnect
/// beside no other call on the same device.
///
/// Once an operation gave ERR_DEVICE_NOT_CONNECTED, the others give it, too, until an open or a
/// close stores another status.
class CJ2534Server : public CJ2534 {
 public:
  /// The server of this process.
  static CJ2534Server& Instance();

  CJ2534Server() = default;
  CJ2534Server(const CJ2534Server&) = delete;
  CJ2534Server& operator=(const CJ2534Server&) = delete;

  /// Whether a VCI name (null: none) fits into what the D-PDU library can be told.
  static bool AcceptsVciName(const char* vciName);
  /// Constructs the D-PDU API that was just loaded, and sets the trace switch.
  /// @param vciName  null, or what the D-PDU library gets to choose its VCI by
  /// @return false when the name is not accepted or PDUConstruct fails: nothing is constructed then
  bool Initialize(bool traceOn, const char* vciName);
  /// Before the D-PDU library is unloaded: devices that could not be closed lose their connection
  /// and their channels, then the D-PDU API is destructed. The last error stays as it is. True.
  bool Uninitialize();
  /// False once the D-PDU library has said otherwise when it was asked for its VCIs.
  bool IsConstructed() const { return isConstructed_; }

  // Look-ups. None of them updates the last error, but for a null `device` given by module handle.
  Status GetDeviceIDFromChannelID(std::uint32_t channelId, std::uint32_t* deviceId);
  Status GetDeviceFromDeviceID(std::uint32_t deviceId, DevicePtr* device);
  /// `device` is left alone when no device has the handle.
  Status GetDeviceFromModuleHandle(UNUM32 moduleHandle, DevicePtr* device);
  Status GetDeviceFromChannelID(std::uint32_t channelId, DevicePtr* device);

  /// Whether a device is registered that lost its VCI.
  bool IsLost(std::uint32_t deviceId);

  /// Adds the VCIs that the D-PDU library sees now. After a failure what was found so far is in the
  /// list.
  Status PopulateDeviceInfoList(VqxInfoList* list);

  // The operations behind the exports. Module handle and serial number are those of the VCI chosen.
  Status PassThruOpen(const UNUM32* moduleHandle, const std::uint32_t* serialNumber,
                      const AppValue& deviceId);
  Status PassThruClose(std::uint32_t deviceId);
  Status PassThruConnect(std::uint32_t deviceId, std::uint32_t protocolId, std::uint32_t flags,
                         std::uint32_t baudRate, const AppValue& channelId);
  Status PassThruDisconnect(std::uint32_t channelId);
  Status PassThruReadMsgs(std::uint32_t channelId, const AppMessage& msgs, const AppValue& numMsgs,
                          std::uint32_t timeout);
  Status PassThruWriteMsgs(std::uint32_t channelId, const AppMessage& msgs, const AppValue& numMsgs,
                           std::uint32_t timeout);
  Status PassThruStartPeriodicMsg(std::uint32_t channelId, const AppMessage& msg,
                                  const AppValue& msgId, std::uint32_t interval);
  Status PassThruStopPeriodicMsg(std::uint32_t channelId, std::uint32_t msgId);
  Status PassThruStartMsgFilter(std::uint32_t channelId, std::uint32_t filterType,
                                const AppMessage& mask, const AppMessage& pattern,
                                const AppMessage& flowControl, const AppValue& filterId);
  Status PassThruStopMsgFilter(std::uint32_t channelId, std::uint32_t filterId);
  Status PassThruSetProgrammingVoltage(std::uint32_t deviceId, std::uint32_t pin,
                                       std::uint32_t voltage);
  /// Texts of 80 characters each.
  Status PassThruReadVersion(std::uint32_t deviceId, char* firmwareVersion, char* dllVersion,
                             char* apiVersion);
  /// @param id  a DeviceID for the ioctls that concern the device, else a ChannelID
  Status PassThruIoctl(std::uint32_t id, std::uint32_t ioctlId, const AppPointer& input,
                       const AppPointer& output);

  /// The D-PDU library's event callback of every open module: marks a device disconnected whose
  /// VCI is lost. Comes on a thread of the D-PDU library, which is called back without a lock held.
  static void PDUAPI ModuleEventCallback(T_PDU_EVT_DATA eventType, UNUM32 hMod, UNUM32 hCll,
                                         void* pCllTag, void* pApiTag);

 private:
  struct Forwarding;
  struct PointerCheck;

  // The steps that the forwarding operations have in common; see server_forward.cpp.
  Status FindUsable(const Exits& exit, const Forwarding& operation, std::uint32_t id,
                    std::initializer_list<PointerCheck> checks, DevicePtr& device);
  template <typename Call>
  Status Forward(const Forwarding& operation, std::uint32_t id,
                 std::initializer_list<PointerCheck> checks, const Call& call);

  using Devices = std::map<std::uint32_t, DevicePtr>;             // by DeviceID
  using ChannelDevices = std::map<std::uint32_t, std::uint32_t>;  // DeviceIDs by ChannelID

  Status OpenDevice(const UNUM32* moduleHandle, const std::uint32_t* serialNumber,
                    const AppValue& deviceId);
  Status CloseDevice(std::uint32_t deviceId);
  // The entries are made before anything is connected, under any key: keeping them can't fail.
  void KeepDevice(std::uint32_t deviceId, Devices::node_type entry) EXCLUDES(mapLock_);
  bool ForgetDevice(std::uint32_t deviceId) EXCLUDES(mapLock_);
  std::vector<DevicePtr> AllDevices() EXCLUDES(mapLock_);

  void KeepChannel(std::uint32_t channelId, ChannelDevices::node_type entry) EXCLUDES(mapLock_);
  bool ForgetChannel(std::uint32_t channelId) EXCLUDES(mapLock_);
  /// Those of devices that are not registered any more.
  void ForgetStrayChannels() EXCLUDES(mapLock_);

  std::atomic<bool> isConstructed_{false};

  // Held for map operations only; never while a device or the D-PDU library is called.
  platform::Mutex mapLock_;
  Devices devices_ GUARDED_BY(mapLock_);
  std::atomic<bool> hasDevices_{false};  // written under the lock
  ChannelDevices channelDevices_ GUARDED_BY(mapLock_);
};

}  // namespace passbridge

#endif  // PASSBRIDGE_SERVER_SERVER_H_
