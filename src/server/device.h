#ifndef PASSBRIDGE_SERVER_DEVICE_H_
#define PASSBRIDGE_SERVER_DEVICE_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "j2534/cj2534.h"
#include "passbridge/d_pdu_api.h"
#include "platform/mutex.h"

namespace passbridge {

class CJ2534Channel;
struct ChannelDeleter;
class Exits;
struct Method;

/// Shared by the device and by the calls that are under way on the channel.
using ChannelPtr = std::shared_ptr<CJ2534Channel>;
/// Makes the channel object for a protocol; null for a type that has no class.
using ChannelFactory = std::function<std::unique_ptr<CJ2534Channel, ChannelDeleter>(ProtocolType)>;

/// What an application's identifier names.
enum class IdKind { Device, Channel };

/// One opened VCI: a connection to a D-PDU module with the channels on it. The same rules for
/// threads hold as for the server; SetConnected may come from any thread at any time.
///
/// A device that lost its VCI refuses every operation with ERR_DEVICE_NOT_CONNECTED, the close
/// included; opening the VCI again makes a new device.
class CJ2534Device : public CJ2534 {
 public:
  /// Channels come from the protocols' factory.
  CJ2534Device();
  explicit CJ2534Device(ChannelFactory createChannel);
  CJ2534Device(const CJ2534Device&) = delete;
  CJ2534Device& operator=(const CJ2534Device&) = delete;
  ~CJ2534Device();

  /// Always succeeds.
  Status Initialize();

  std::uint32_t DeviceId() const { return deviceId_; }
  UNUM32 ModuleHandle() const { return moduleHandle_; }

  Status PassThruOpen(const UNUM32* moduleHandle, const std::uint32_t* serialNumber);
  Status PassThruClose();
  /// @param channelId     where the application wants its ChannelID; only validated
  /// @param newChannelId  set on success
  Status PassThruConnect(std::uint32_t protocolId, std::uint32_t flags, std::uint32_t baudRate,
                         const AppValue& channelId, std::uint32_t& newChannelId);
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
  /// @param pin      J1962 pin, 0 for the auxiliary output
  /// @param voltage  mV, SHORT_TO_GROUND or VOLTAGE_OFF
  Status PassThruSetProgrammingVoltage(std::uint32_t pin, std::uint32_t voltage);
  /// Texts of 80 characters each; "00.00" for the library itself.
  Status PassThruReadVersion(char* firmwareVersion, char* dllVersion, char* apiVersion);
  Status PassThruIoctl(std::uint32_t channelId, std::uint32_t ioctlId, const AppPointer& input,
                       const AppPointer& output);
  /// Which identifier comes with an ioctl.
  static IdKind IdOfIoctl(std::uint32_t ioctlId);

  Status GetChannelFromChannelID(std::uint32_t channelId, ChannelPtr* channel);

  /// Also tells every channel. Any thread; no lock of the device is held meanwhile.
  void SetConnected(bool connected) EXCLUDES(deviceLock_);
  bool IsConnected() const;

  /// For a device that could not be closed, before its D-PDU library goes: disconnected from now
  /// on, its channels and what they hold of that library are let go.
  void Abandon() EXCLUDES(deviceLock_);

 private:
  struct Forwarding;
  struct Ioctl;
  struct Reading;
  using Channels = std::map<std::uint32_t, ChannelPtr>;

  /// The checks that operations begin with: exits 1 and 2, and 3 with the gate.
  Status CheckUsable(const Exits& exit, bool withGate) const;
  template <typename Call>
  Status Forward(const Forwarding& operation, std::uint32_t channelId, const Call& call);
  /// Reports a D-PDU call's failure; a broken line to the VCI ends the connection.
  Status FailPdu(const Exits& exit, std::uint16_t point, Status status, const char* message,
                 T_PDU_ERROR result);

  /// What a channel's failure tells the application: a channel that was disconnected while it
  /// worked is gone, but its VCI is not lost.
  Status OutcomeOf(std::uint32_t channelId, Status status) const EXCLUDES(deviceLock_);
  Status CloseChannels(const Exits& exit);
  Status Disconnect(std::uint32_t channelId, bool withGate);
  /// The checks that come before a channel is made.
  Status CheckConnect(const Exits& exit, std::uint32_t protocolId, const AppValue& channelId,
                      ProtocolType& type) const;
  Status MakeChannel(const Exits& exit, ProtocolType type, ChannelPtr& channel) const;
  Status ConnectChannel(const Exits& exit, CJ2534Channel& channel, std::uint32_t protocolId,
                        std::uint32_t flags, std::uint32_t baudRate) const;
  /// Takes over an entry that was made before the channel was connected: it can't fail.
  void KeepChannel(Channels& entry) EXCLUDES(deviceLock_);
  bool HasChannelOf(std::uint32_t protocolId) const EXCLUDES(deviceLock_);
  ChannelPtr FindChannel(std::uint32_t channelId) const EXCLUDES(deviceLock_);
  ChannelPtr FirstChannel() const EXCLUDES(deviceLock_);
  bool ForgetChannel(std::uint32_t channelId) EXCLUDES(deviceLock_);

  Status ReadNumber(const Reading& reading, const AppPointer& output);
  Status ReadItem(const Exits& exit, const Reading& reading, const AppValue& output);
  Status ClaimPin(const Exits& exit, std::uint32_t pin, std::uint32_t voltage);
  /// Clears the connected flag without telling the channels.
  void NoteLineBroken() EXCLUDES(deviceLock_);

  const ChannelFactory createChannel_;

  // Set by PassThruOpen, before the device is known to anyone else.
  std::uint32_t deviceId_;
  UNUM32 moduleHandle_ = 0;
  std::uint32_t serialNumber_ = 0;

  // Synchronised by themselves.
  std::atomic<bool> opened_{false};
  std::atomic<std::int32_t> programmingPin_{-1};  // pin that carries a voltage, -1 if none

  // Held for these members only; never while a channel or the D-PDU library is called.
  mutable platform::Mutex deviceLock_;
  std::atomic<bool> connected_{false};  // written under the lock, with what it means for channels_
  Channels channels_ GUARDED_BY(deviceLock_);  // by ChannelID
};

}  // namespace passbridge

#endif  // PASSBRIDGE_SERVER_DEVICE_H_
