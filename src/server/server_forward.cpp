#include "server/device.h"
#include "server/server.h"
#include "trace/last_error.h"
#include "trace/methods.h"

namespace passbridge {

/// One operation that is carried out by a device: how it names itself and words its failures. The
/// exits of every one are, in this order: the gate, its own checks, the look-up, the device's
/// failure, and what is left.
struct CJ2534Server::Forwarding {
  Method method;
  IdKind by;
  const char* lookupFailure;
  const char* deviceFailure;
  std::uint16_t gatePoint = 1;
};

/// A cell, or a text of `count` words, that the operation writes.
struct CJ2534Server::PointerCheck {
  AppValue cell;
  std::size_t count;
  const char* message;
};

namespace {

constexpr const char* kNotConnected = "Return the device is not connected, reopen device.";

}  // namespace

Status CJ2534Server::FindUsable(const Exits& exit, const Forwarding& operation, std::uint32_t id,
                                std::initializer_list<PointerCheck> checks, DevicePtr& device) {
  std::uint16_t point = operation.gatePoint;
  if (LastErrorRecord::Instance().LastStatus() == ERR_DEVICE_NOT_CONNECTED) {
    return exit.Fail(point, ERR_DEVICE_NOT_CONNECTED, kNotConnected);
  }
  for (const PointerCheck& check : checks) {
    ++point;
    if (ValidatePointer(check.cell, check.count)) {
      return exit.Fail(point, ERR_NULL_PARAMETER, check.message);
    }
  }
  const Status status = operation.by == IdKind::Device ? GetDeviceFromDeviceID(id, &device)
                                                       : GetDeviceFromChannelID(id, &device);
  return status != STATUS_NOERROR
             ? exit.Fail(static_cast<std::uint16_t>(point + 1), status, operation.lookupFailure)
             : status;
}

/// Runs `call` (CJ2534Device& -> Status) between the exits that all operations share.
template <typename Call>
Status CJ2534Server::Forward(const Forwarding& operation, std::uint32_t id,
                             std::initializer_list<PointerCheck> checks, const Call& call) {
  const Status result = Traced(operation.method, [&](Exits& exit) -> Status {
    DevicePtr device;
    if (const Status status = FindUsable(exit, operation, id, checks, device)) return status;
    if (const Status status = call(*device)) {
      const auto point = static_cast<std::uint16_t>(operation.gatePoint + checks.size() + 2);
      return exit.PassOn(point, status, operation.deviceFailure);
    }
    return exit.Normal();
  });
  return RecordStatus(result);
}

Status CJ2534Server::PassThruConnect(std::uint32_t deviceId, std::uint32_t protocolId,
                                     std::uint32_t flags, std::uint32_t baudRate,
                                     const AppValue& channelId) {
  static constexpr Forwarding kConnect{
      methods::server::kPassThruConnect, IdKind::Device,
      "GetDeviceFromDeviceID() lRet = ", "Error in Device Connection."};
  return Forward(kConnect, deviceId, {}, [&](CJ2534Device& device) {
    ChannelDevices entry;
    entry.emplace(0, deviceId);
    std::uint32_t newChannelId = 0;
    if (const Status status =
            device.PassThruConnect(protocolId, flags, baudRate, channelId, newChannelId)) {
      return status;
    }
    KeepChannel(newChannelId, entry.extract(entry.begin()));
    channelId.Store(newChannelId);
    return Status{STATUS_NOERROR};
  });
}

Status CJ2534Server::PassThruDisconnect(std::uint32_t channelId) {
  static constexpr Forwarding kDisconnect{methods::server::kPassThruDisconnect, IdKind::Channel,
                                          "Attempting to get device.",
                                          "Error disconnecting channel."};
  const Status result = Traced(kDisconnect.method, [&](Exits& exit) -> Status {
    DevicePtr device;
    if (const Status status = FindUsable(exit, kDisconnect, channelId, {}, device)) return status;
    if (const Status status = device->PassThruDisconnect(channelId)) {
      return exit.PassOn(3, status, kDisconnect.deviceFailure);
    }
    if (!ForgetChannel(channelId)) {
      return exit.Fail(4, ERR_INVALID_CHANNEL_ID, "Invalid ChannelID.");
    }
    return exit.Normal();
  });
  return RecordStatus(result);
}

Status CJ2534Server::PassThruReadMsgs(std::uint32_t channelId, const AppMessage& msgs,
                                      const AppValue& numMsgs, std::uint32_t timeout) {
  static constexpr Forwarding kRead{methods::server::kPassThruReadMsgs, IdKind::Channel,
                                    "Getting Device From ChannelID.",
                                    "Error reading Msgs from device.", 3};
  // The pointers are checked in the name of the channel, and leave the last status alone.
  bool pointersAreGood = false;
  const Status result = Traced(kRead.method, [&](Exits& exit) -> Status {
    const AppValue messageWords(msgs.Address(), FieldWidth::k32);
    if (ValidatePointer(messageWords, msgs.Size() / sizeof(std::uint32_t))) {
      return Exits(methods::server::kPassThruReadMsgsPointers)
          .Fail(1, ERR_NULL_PARAMETER, "NULL Message pointer.");
    }
    if (ValidatePointer(numMsgs)) {
      return Exits(methods::server::kPassThruReadMsgsPointers)
          .Fail(2, ERR_NULL_PARAMETER, "NULL Number of Messages pointer.");
    }
    pointersAreGood = true;
    DevicePtr device;
    if (const Status status = FindUsable(exit, kRead, channelId, {}, device)) {
      numMsgs.Store(0);
      return status;
    }
    if (const Status status = device->PassThruReadMsgs(channelId, msgs, numMsgs, timeout)) {
      return exit.PassOn(5, status, kRead.deviceFailure);
    }
    return exit.Normal();
  });
  if (pointersAreGood) RecordStatus(result);
  return result;
}

Status CJ2534Server::PassThruWriteMsgs(std::uint32_t channelId, const AppMessage& msgs,
                                       const AppValue& numMsgs, std::uint32_t timeout) {
  static constexpr Forwarding kWrite{methods::server::kPassThruWriteMsgs, IdKind::Channel,
                                     "Could not identify the Channel.", "Error writing message."};
  return Forward(kWrite, channelId, {}, [&](CJ2534Device& device) {
    return device.PassThruWriteMsgs(channelId, msgs, numMsgs, timeout);
  });
}

Status CJ2534Server::PassThruStartPeriodicMsg(std::uint32_t channelId, const AppMessage& msg,
                                              const AppValue& msgId, std::uint32_t interval) {
  static constexpr Forwarding kStart{
      methods::server::kPassThruStartPeriodicMsg, IdKind::Channel,
      "GetDeviceFromChannelID lRet = ", "Error starting periodic message"};
  return Forward(kStart, channelId, {}, [&](CJ2534Device& device) {
    return device.PassThruStartPeriodicMsg(channelId, msg, msgId, interval);
  });
}

Status CJ2534Server::PassThruStopPeriodicMsg(std::uint32_t channelId, std::uint32_t msgId) {
  static constexpr Forwarding kStop{methods::server::kPassThruStopPeriodicMsg, IdKind::Channel,
                                    "Getting Device from ChannelID.",
                                    "Error stopping Periodic message."};
  return Forward(kStop, channelId, {}, [&](CJ2534Device& device) {
    return device.PassThruStopPeriodicMsg(channelId, msgId);
  });
}

Status CJ2534Server::PassThruStartMsgFilter(std::uint32_t channelId, std::uint32_t filterType,
                                            const AppMessage& mask, const AppMessage& pattern,
                                            const AppMessage& flowControl,
                                            const AppValue& filterId) {
  static constexpr Forwarding kStart{
      methods::server::kPassThruStartMsgFilter, IdKind::Channel,
      "GetDeviceFromChannelID() = ", "Error starting message filter."};
  return Forward(kStart, channelId, {{filterId, 1, "NULL Filter ID pointer."}},
                 [&](CJ2534Device& device) {
    return device.PassThruStartMsgFilter(channelId, filterType, mask, pattern, flowControl,
                                         filterId);
  });
}

Status CJ2534Server::PassThruStopMsgFilter(std::uint32_t channelId, std::uint32_t filterId) {
  static constexpr Forwarding kStop{methods::server::kPassThruStopMsgFilter, IdKind::Channel,
                                    "Device was not found.", "Error stopping message filter."};
  return Forward(kStop, channelId, {}, [&](CJ2534Device& device) {
    return device.PassThruStopMsgFilter(channelId, filterId);
  });
}

Status CJ2534Server::PassThruSetProgrammingVoltage(std::uint32_t deviceId, std::uint32_t pin,
                                                   std::uint32_t voltage) {
  static constexpr Forwarding kSet{methods::server::kPassThruSetProgrammingVoltage, IdKind::Device,
                                   "Attempting to get device.",
                                   "Error setting Programming Voltage."};
  return Forward(kSet, deviceId, {}, [&](CJ2534Device& device) {
    return device.PassThruSetProgrammingVoltage(pin, voltage);
  });
}

Status CJ2534Server::PassThruReadVersion(std::uint32_t deviceId, char* firmwareVersion,
                                         char* dllVersion, char* apiVersion) {
  static constexpr Forwarding kRead{methods::server::kPassThruReadVersion, IdKind::Device,
                                    "Device was not found ", "Error reading Version information."};
  return Forward(kRead, deviceId,
                 {{TextCell(firmwareVersion), kTextCells, "NULL FirmwareVersion pointer."},
                  {TextCell(dllVersion), kTextCells, "NULL DllVersion pointer."},
                  {TextCell(apiVersion), kTextCells, "NULL ApiVersion pointer."}},
                 [&](CJ2534Device& device) {
    return device.PassThruReadVersion(firmwareVersion, dllVersion, apiVersion);
  });
}

Status CJ2534Server::PassThruIoctl(std::uint32_t id, std::uint32_t ioctlId, const AppPointer& input,
                                   const AppPointer& output) {
  const Forwarding ioctl{methods::server::kPassThruIoctl, CJ2534Device::IdOfIoctl(ioctlId),
                         "Device was not found", "NULL Channel."};
  return Forward(ioctl, id, {}, [&](CJ2534Device& device) {
    return device.PassThruIoctl(id, ioctlId, input, output);
  });
}

}  // namespace passbridge
