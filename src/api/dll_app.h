#ifndef PASSBRIDGE_API_DLL_APP_H_
#define PASSBRIDGE_API_DLL_APP_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "j2534/app_memory.h"
#include "platform/dynamic_library.h"
#include "platform/mutex.h"
#include "server/device_selection.h"
#include "server/server.h"
#include "trace/location.h"

namespace passbridge {

/// How the D-PDU API library comes and goes.
struct PduLoader {
  bool (*load)();  ///< finds, loads and binds it
  void (*unload)();
};

/// The library object: what concerns the whole process. It loads the D-PDU API library for the
/// first open and unloads it after the last close, chooses the VCI, and hands everything else to
/// the server. Nothing happens when it is created; the settings are read on first use.
///
/// Any thread may call; opens and closes of several threads at once are in order. Addresses are the
/// application's and are checked here or further down.
class CJ2534DllApp {
 public:
  /// The library object of this process.
  static CJ2534DllApp& Instance();

  explicit CJ2534DllApp(CJ2534Server& server);
  CJ2534DllApp(CJ2534Server& server, const PduLoader& loader);
  CJ2534DllApp(const CJ2534DllApp&) = delete;
  CJ2534DllApp& operator=(const CJ2534DllApp&) = delete;

  /// Reads the selection settings, once; true.
  bool InitInstance() EXCLUDES(initLock_);
  DeviceSelection& Selection() { return selection_; }

  /// Loads and constructs the D-PDU API unless it is. True if it is afterwards; if that is not
  /// possible, nothing is loaded, and the next call tries again.
  /// @param vciName  null, or what the D-PDU library gets to choose its VCI by. One that is too
  ///                 long fails before anything is loaded.
  bool InitializePduApi(const char* vciName) EXCLUDES(lifeLock_);
  /// Destructs and unloads the D-PDU API if it is loaded; true.
  bool ReleasePduApi() EXCLUDES(lifeLock_);

  /// @param name  null, or a text: "J2534-2:…" names the VCI, "… VCIName…" goes to the D-PDU
  /// library. One that cannot be read counts as null.
  Status PassThruOpen(const void* name, const AppValue& deviceId);
  Status PassThruClose(std::uint32_t deviceId);
  /// Texts of 80 characters each. The version of this library is given even when the rest fails.
  Status PassThruReadVersion(std::uint32_t deviceId, char* firmwareVersion, char* dllVersion,
                             char* apiVersion);
  Status PassThruIoctl(std::uint32_t id, std::uint32_t ioctlId, const AppPointer& input,
                       const AppPointer& output);

  // The rest is the server's.
  Status PassThruConnect(std::uint32_t deviceId, std::uint32_t protocolId, std::uint32_t flags,
                         std::uint32_t baudRate, const AppValue& channelId) {
    return server_.PassThruConnect(deviceId, protocolId, flags, baudRate, channelId);
  }
  Status PassThruDisconnect(std::uint32_t channelId) {
    return server_.PassThruDisconnect(channelId);
  }
  Status PassThruReadMsgs(std::uint32_t channelId, const AppMessage& msgs, const AppValue& numMsgs,
                          std::uint32_t timeout) {
    return server_.PassThruReadMsgs(channelId, msgs, numMsgs, timeout);
  }
  Status PassThruWriteMsgs(std::uint32_t channelId, const AppMessage& msgs, const AppValue& numMsgs,
                           std::uint32_t timeout) {
    return server_.PassThruWriteMsgs(channelId, msgs, numMsgs, timeout);
  }
  Status PassThruStartPeriodicMsg(std::uint32_t channelId, const AppMessage& msg,
                                  const AppValue& msgId, std::uint32_t interval) {
    return server_.PassThruStartPeriodicMsg(channelId, msg, msgId, interval);
  }
  Status PassThruStopPeriodicMsg(std::uint32_t channelId, std::uint32_t msgId) {
    return server_.PassThruStopPeriodicMsg(channelId, msgId);
  }
  Status PassThruStartMsgFilter(std::uint32_t channelId, std::uint32_t filterType,
                                const AppMessage& mask, const AppMessage& pattern,
                                const AppMessage& flowControl, const AppValue& filterId) {
    return server_.PassThruStartMsgFilter(channelId, filterType, mask, pattern, flowControl,
                                          filterId);
  }
  Status PassThruStopMsgFilter(std::uint32_t channelId, std::uint32_t filterId) {
    return server_.PassThruStopMsgFilter(channelId, filterId);
  }
  Status PassThruSetProgrammingVoltage(std::uint32_t deviceId, std::uint32_t pin,
                                       std::uint32_t voltage) {
    return server_.PassThruSetProgrammingVoltage(deviceId, pin, voltage);
  }
  static Status PassThruGetLastError(char* errorDescription) {
    return CJ2534Server::PassThruGetLastError(errorDescription);
  }

 private:
  class CallInProgress;
  /// Serial numbers by DeviceID.
  using OpenDevices = std::map<std::uint32_t, std::uint32_t>;

  /// Runs `call` (-> Status); what it throws becomes ERR_DEVICE_NOT_CONNECTED.
  template <typename Call>
  static Status Guarded(const Call& call);
  Status Open(const void* name, const AppValue& deviceId);
  Status OpenChosen(const VciChoice& choice, const AppValue& deviceId);
  /// Counts a device that was opened. The same VCI, if it was lost before, counts no longer.
  void CountDevice(OpenDevices& entry) EXCLUDES(lifeLock_);
  VciChoice Choose(const std::optional<std::string>& name);
  Status Close(std::uint32_t deviceId);
  Status SuppressDialog(const AppPointer& input);

  /// The D-PDU library goes when no device is open and no open or close is under way any more.
  void WantRelease() EXCLUDES(lifeLock_);
  void EndUnused() REQUIRES(lifeLock_);
  void Release() REQUIRES(lifeLock_);

  CJ2534Server& server_;
  const PduLoader loader_;
  DeviceSelection selection_;

  platform::Mutex initLock_;
  bool initialised_ GUARDED_BY(initLock_) = false;

  // Held while the D-PDU library is loaded, constructed, destructed or unloaded: whoever comes
  // meanwhile waits for the outcome. No callback takes it, and it is not held during a selection.
  platform::Mutex lifeLock_;
  bool loaded_ GUARDED_BY(lifeLock_) = false;
  bool releaseWanted_ GUARDED_BY(lifeLock_) = false;
  OpenDevices openDevices_ GUARDED_BY(lifeLock_);
  std::int32_t callsInProgress_ GUARDED_BY(lifeLock_) = 0;
  // This library, held while the D-PDU library is loaded: an application may unload it with a
  // device open, whose threads run on, or to load it again, when it must find what it constructed.
  platform::DynamicLibrary self_ GUARDED_BY(lifeLock_);
};

}  // namespace passbridge

#endif  // PASSBRIDGE_API_DLL_APP_H_
