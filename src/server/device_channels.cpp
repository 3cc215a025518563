#include <algorithm>
#include <utility>

#include "channel/channel.h"
#include "server/device.h"
#include "trace/methods.h"

namespace passbridge {

/// One operation that is carried out by a channel: how it names itself and words its failures. The
/// exits of every one are the device checks, the look-up and the channel's failure.
struct CJ2534Device::Forwarding {
  Method method;
  Status lookupStatus;  ///< 0: that of the look-up
  const char* lookupFailure;
  const char* channelFailure;
};

namespace {

constexpr const char* kPinSwitchable = "Pin-switchable Protocols.";

}  // namespace

/// Runs `call` (CJ2534Channel& -> Status) between the exits that all operations share.
template <typename Call>
Status CJ2534Device::Forward(const Forwarding& operation, std::uint32_t channelId,
                             const Call& call) {
  return Traced(operation.method, [&](Exits& exit) -> Status {
    if (const Status status = CheckUsable(exit, true)) return status;
    ChannelPtr channel;
    if (const Status status = GetChannelFromChannelID(channelId, &channel)) {
      return exit.Fail(4, operation.lookupStatus != 0 ? operation.lookupStatus : status,
                       operation.lookupFailure);
    }
    if (const Status status = OutcomeOf(channelId, call(*channel))) {
      return exit.PassOn(5, status, operation.channelFailure);
    }
    return exit.Normal();
  });
}

Status CJ2534Device::OutcomeOf(std::uint32_t channelId, Status status) const {
  const bool isGone = status == ERR_DEVICE_NOT_CONNECTED && FindChannel(channelId) == nullptr;
  return isGone ? ERR_INVALID_CHANNEL_ID : status;
}

Status CJ2534Device::PassThruConnect(std::uint32_t protocolId, std::uint32_t flags,
                                     std::uint32_t baudRate, const AppValue& channelId,
                                     std::uint32_t& newChannelId) {
  return Traced(methods::device::kPassThruConnect, [&](Exits& exit) -> Status {
    ProtocolType type = 0;
    if (const Status status = CheckConnect(exit, protocolId, channelId, type)) return status;
    ChannelPtr channel;
    if (const Status status = MakeChannel(exit, type, channel)) return status;
    Channels entry;
    entry.emplace(channel->ChannelId(), channel);
    if (const Status status = ConnectChannel(exit, *channel, protocolId, flags, baudRate)) {
      return status;
    }
    KeepChannel(entry);
    if (!IsConnected()) channel->SetVehicleConnected(false);  // the VCI was lost meanwhile
    newChannelId = channel->ChannelId();
    return exit.Normal();
  });
}

Status CJ2534Device::CheckConnect(const Exits& exit, std::uint32_t protocolId,
                                  const AppValue& channelId, ProtocolType& type) const {
  if (const Status status = CheckUsable(exit, false)) return status;
  if (ValidatePointer(channelId)) {
    return exit.Fail(3, ERR_NULL_PARAMETER, "NULL Channel ID pointer.");
  }
  if (const Status status = GetProtocolType(protocolId, &type)) {
    return exit.Fail(4, status, "Error getting ProtocolType.");
  }
  if (IsPinSwitched(protocolId)) {
    TraceNote(exit.Name(), kPinSwitchable);
  } else if (HasChannelOf(protocolId)) {
    return exit.Fail(5, ERR_CHANNEL_IN_USE, "Channel in Use.");
  }
  return STATUS_NOERROR;
}

Status CJ2534Device::MakeChannel(const Exits& exit, ProtocolType type, ChannelPtr& channel) const {
  try {
    channel = createChannel_(type);
  } catch (...) {
    return exit.Fail(7, ERR_FAILED, "Error creating Channel");
  }
  return channel == nullptr ? exit.Fail(6, ERR_NOT_SUPPORTED, "Error creating Channel")
                            : STATUS_NOERROR;
}

Status CJ2534Device::ConnectChannel(const Exits& exit, CJ2534Channel& channel,
                                    std::uint32_t protocolId, std::uint32_t flags,
                                    std::uint32_t baudRate) const {
  if (const Status status = channel.Initialize(moduleHandle_, protocolId, flags, baudRate)) {
    return exit.PassOn(8, status, "Error initializing Channel.");
  }
  if (IsPinSwitched(protocolId)) TraceNote(exit.Name(), kPinSwitchable);
  if (const Status status = channel.PassThruConnect(protocolId, flags, baudRate)) {
    return exit.PassOn(9, status, "Error connecting to Channel.");
  }
  return STATUS_NOERROR;
}

Status CJ2534Device::PassThruDisconnect(std::uint32_t channelId) {
  return Disconnect(channelId, true);
}

Status CJ2534Device::Disconnect(std::uint32_t channelId, bool withGate) {
  return Traced(methods::device::kPassThruDisconnect, [&](Exits& exit) -> Status {
    if (const Status status = CheckUsable(exit, withGate)) return status;
    ChannelPtr channel;
    if (const Status status = GetChannelFromChannelID(channelId, &channel)) {
      return exit.Fail(4, status, "Attempting to get device.");
    }
    if (const Status status = channel->PassThruDisconnect()) {
      return exit.PassOn(5, status, "Error disconnecting channel.");
    }
    if (!ForgetChannel(channelId)) {
      return exit.Fail(6, ERR_INVALID_CHANNEL_ID, "Invalid ChannelID.");
    }
    return exit.Normal();
  });
}

Status CJ2534Device::PassThruReadMsgs(std::uint32_t channelId, const AppMessage& msgs,
                                      const AppValue& numMsgs, std::uint32_t timeout) {
  static constexpr Forwarding kRead{methods::device::kPassThruReadMsgs, ERR_INVALID_DEVICE_ID,
                                    "Error locating channel.",
                                    "Error reading messages from Channel."};
  return Forward(kRead, channelId, [&](CJ2534Channel& channel) {
    return channel.PassThruReadMsgs(msgs, numMsgs, timeout);
  });
}

Status CJ2534Device::PassThruWriteMsgs(std::uint32_t channelId, const AppMessage& msgs,
                                       const AppValue& numMsgs, std::uint32_t timeout) {
  static constexpr Forwarding kWrite{methods::device::kPassThruWriteMsgs, 0,
                                     "Error locating Channel.",
                                     "Error writing messages to channel."};
  return Forward(kWrite, channelId, [&](CJ2534Channel& channel) {
    return channel.PassThruWriteMsgs(msgs, numMsgs, timeout);
  });
}

Status CJ2534Device::PassThruStartPeriodicMsg(std::uint32_t channelId, const AppMessage& msg,
                                              const AppValue& msgId, std::uint32_t interval) {
  static constexpr Forwarding kStart{methods::device::kPassThruStartPeriodicMsg,
                                     ERR_INVALID_DEVICE_ID, "Error locating channel.",
                                     "Channel. Return Value = "};
  return Forward(kStart, channelId, [&](CJ2534Channel& channel) {
    return channel.PassThruStartPeriodicMsg(msg, msgId, interval);
  });
}

Status CJ2534Device::PassThruStopPeriodicMsg(std::uint32_t channelId, std::uint32_t msgId) {
  static constexpr Forwarding kStop{methods::device::kPassThruStopPeriodicMsg,
                                    ERR_INVALID_DEVICE_ID, "Error locating channel.",
                                    "Error stopping periodic message in channel."};
  return Forward(kStop, channelId,
                 [&](CJ2534Channel& channel) { return channel.PassThruStopPeriodicMsg(msgId); });
}

Status CJ2534Device::PassThruStartMsgFilter(std::uint32_t channelId, std::uint32_t filterType,
                                            const AppMessage& mask, const AppMessage& pattern,
                                            const AppMessage& flowControl,
                                            const AppValue& filterId) {
  static constexpr Forwarding kStart{methods::device::kPassThruStartMsgFilter, 0,
                                     "Error locating channel.",
                                     "Error starting filter in channel."};
  return Forward(kStart, channelId, [&](CJ2534Channel& channel) {
    return channel.PassThruStartMsgFilter(filterType, mask, pattern, flowControl, filterId);
  });
}

Status CJ2534Device::PassThruStopMsgFilter(std::uint32_t channelId, std::uint32_t filterId) {
  return Traced(methods::device::kPassThruStopMsgFilter, [&](Exits& exit) -> Status {
    if (const Status status = CheckUsable(exit, true)) return status;
    if (filterId == 0) return exit.Fail(4, ERR_INVALID_FILTER_ID, "Invalid Filter ID.");
    ChannelPtr channel;
    if (GetChannelFromChannelID(channelId, &channel)) {
      return exit.Fail(5, ERR_INVALID_DEVICE_ID, "Error locating channel.");
    }
    if (const Status status = OutcomeOf(channelId, channel->PassThruStopMsgFilter(filterId))) {
      return exit.PassOn(6, status, "Error stopping filter in channel.");
    }
    return exit.Normal();
  });
}

Status CJ2534Device::GetChannelFromChannelID(std::uint32_t channelId, ChannelPtr* channel) {
  return Traced(methods::device::kGetChannelFromChannelID, [&](Exits& exit) -> Status {
    if (ValidatePointer(channel)) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL Channel ID pointer pointer.");
    }
    ChannelPtr found = FindChannel(channelId);
    if (found == nullptr) return exit.PassOn(2, ERR_INVALID_CHANNEL_ID, "Invalid ChannelID.");
    *channel = std::move(found);
    return exit.Normal();
  });
}

bool CJ2534Device::HasChannelOf(std::uint32_t protocolId) const {
  const platform::MutexLock lock(deviceLock_);
  return std::any_of(channels_.begin(), channels_.end(), [protocolId](const auto& entry) {
    return entry.second->ProtocolId() == protocolId;
  });
}

ChannelPtr CJ2534Device::FindChannel(std::uint32_t channelId) const {
  const platform::MutexLock lock(deviceLock_);
  const auto found = channels_.find(channelId);
  return found != channels_.end() ? found->second : nullptr;
}

ChannelPtr CJ2534Device::FirstChannel() const {
  const platform::MutexLock lock(deviceLock_);
  return channels_.empty() ? nullptr : channels_.begin()->second;
}

void CJ2534Device::KeepChannel(Channels& entry) {
  const platform::MutexLock lock(deviceLock_);
  channels_.merge(entry);
}

bool CJ2534Device::ForgetChannel(std::uint32_t channelId) {
  ChannelPtr forgotten;  // goes after the lock
  const platform::MutexLock lock(deviceLock_);
  const auto found = channels_.find(channelId);
  if (found == channels_.end()) return false;
  forgotten = std::move(found->second);
  channels_.erase(found);
  return true;
}

}  // namespace passbridge
