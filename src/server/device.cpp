#include "server/device.h"

#include <array>
#include <utility>
#include <vector>

#include "channel/channel.h"
#include "channel/object_counter.h"
#include "pdu/pdu_api.h"
#include "pdu/result_map.h"
#include "protocols/channel_factory.h"
#include "server/server.h"
#include "trace/last_error.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

/// What a result of PDUModuleConnect means; the last row is for any other.
struct ConnectFailure {
  T_PDU_ERROR result;
  Status status;
  const char* message;
};

constexpr std::array<ConnectFailure, 9> kConnectFailures{{
    {PDU_ERR_DEVICE_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED,
     "Error connecting to the Module - Device Not Connected."},
    {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_FAILED,
     "Error connecting to the Module - PDU API Not Constructed."},
    {PDU_ERR_SHARING_VIOLATION, ERR_DEVICE_IN_USE,
     "Error connecting to the Module - Sharing Violation."},
    {PDU_ERR_INVALID_HANDLE, ERR_DEVICE_NOT_CONNECTED,
     "Error connecting to the Module - Invalid Handle."},
    {PDU_ERR_MODULE_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED,
     "Error connecting to the Module - Module Not Connected."},
    {PDU_ERR_API_SW_OUT_OF_DATE, ERR_FAILED,
     "Error connecting to the Module - PC Software out of Date."},
    {PDU_ERR_MODULE_FW_OUT_OF_DATE, ERR_FAILED,
     "Error connecting to the Module - Firmware out of Date."},
    {PDU_ERR_DEVICE_IN_USE, ERR_DEVICE_IN_USE, "Error connecting to the Module - Device in use."},
    {PDU_STATUS_NOERROR, ERR_FAILED, "Error connecting to the Module."},
}};
constexpr std::uint16_t kFirstConnectPoint = 3;

Status FailConnect(const Exits& exit, T_PDU_ERROR result) {
  std::size_t row = 0;
  while (row + 1 < kConnectFailures.size() && kConnectFailures[row].result != result) ++row;
  const ConnectFailure& failure = kConnectFailures[row];
  return exit.Fail(static_cast<std::uint16_t>(kFirstConnectPoint + row), failure.status,
                   failure.message, result);
}

constexpr pdu::ResultMap kDisconnectResults{
    ERR_FAILED,
    {{PDU_ERR_DEVICE_NOT_CONNECTED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_SHARING_VIOLATION, ERR_DEVICE_IN_USE}}};

}  // namespace

CJ2534Device::CJ2534Device() : CJ2534Device(&CreateChannel) {}

CJ2534Device::CJ2534Device(ChannelFactory createChannel)
    : createChannel_(std::move(createChannel)), deviceId_(NextObjectId()) {}

CJ2534Device::~CJ2534Device() = default;

Status CJ2534Device::Initialize() {
  opened_ = false;
  return STATUS_NOERROR;
}

Status CJ2534Device::CheckUsable(const Exits& exit, bool withGate) const {
  if (!opened_) return exit.Fail(1, ERR_INVALID_DEVICE_ID, "PassThruOpen() was not called.");
  if (!IsConnected()) {
    return exit.Fail(2, ERR_DEVICE_NOT_CONNECTED, "The Device is not connected.");
  }
  if (withGate && LastErrorRecord::Instance().LastStatus() == ERR_DEVICE_NOT_CONNECTED) {
    return exit.Fail(3, ERR_DEVICE_NOT_CONNECTED, "The Device is not connected, open device.");
  }
  return STATUS_NOERROR;
}

Status CJ2534Device::FailPdu(const Exits& exit, std::uint16_t point, Status status,
                             const char* message, T_PDU_ERROR result) {
  if (status == ERR_DEVICE_NOT_CONNECTED) NoteLineBroken();
  return exit.Fail(point, status, message, result);
}

Status CJ2534Device::PassThruOpen(const UNUM32* moduleHandle, const std::uint32_t* serialNumber) {
  return Traced(methods::device::kPassThruOpen, [&](Exits& exit) -> Status {
    if (opened_) return Exits::NormalAs("CJ2534Device::PassThruOpen() - Already Open!");
    if (moduleHandle == nullptr) return exit.Fail(2, ERR_FAILED, "Module handle was not valid.");
    if (const T_PDU_ERROR result = pdu::Api().PDUModuleConnect(*moduleHandle)) {
      return FailConnect(exit, result);
    }
    deviceId_ = *moduleHandle;
    moduleHandle_ = *moduleHandle;
    serialNumber_ = serialNumber != nullptr ? *serialNumber : 0;
    opened_ = true;
    SetConnected(true);
    pdu::Api().PDURegisterEventCallback(moduleHandle_, PDU_HANDLE_UNDEF,
                                        &CJ2534Server::ModuleEventCallback);
    return exit.Normal();
  });
}

Status CJ2534Device::PassThruClose() {
  return Traced(methods::device::kPassThruClose, [&](Exits& exit) -> Status {
    if (const Status status = CheckUsable(exit, false)) return status;
    if (const Status status = CloseChannels(exit)) return status;
    const T_PDU_ERROR result = pdu::Api().PDUModuleDisconnect(moduleHandle_);
    if (const Status status = kDisconnectResults(result)) {
      return FailPdu(exit, 5, status, "Error disconnecting from the Module.", result);
    }
    opened_ = false;
    SetConnected(false);
    TraceNote("CJ2534Channel::PassThruClose()", "Closed");
    return exit.Normal();
  });
}

Status CJ2534Device::CloseChannels(const Exits& exit) {
  while (const ChannelPtr channel = FirstChannel()) {
    const std::uint32_t channelId = channel->ChannelId();
    const Status status = Disconnect(channelId, false);
    if (status == ERR_INVALID_CHANNEL_ID) {
      return exit.Fail(3, ERR_FAILED,
                       Formatted("Error disconnection ChannelID: 0x%08X", channelId));
    }
    if (status != STATUS_NOERROR) {
      return exit.PassOn(4, status, "Error disconnecting a Channel.");
    }
  }
  return STATUS_NOERROR;
}

void CJ2534Device::SetConnected(bool connected) {
  constexpr const char* kName = "CJ2534Device::SetConnected()";
  TraceEnter(kName);
  Channels channels;
  {
    const platform::MutexLock lock(deviceLock_);
    connected_ = connected;
    channels = channels_;
  }
  for (const auto& [channelId, channel] : channels) channel->SetVehicleConnected(connected);
  TraceLeave(kName);
}

bool CJ2534Device::IsConnected() const {
  TracePassage("CJ2534Device::IsConnected()");
  return connected_;
}

void CJ2534Device::NoteLineBroken() {
  const platform::MutexLock lock(deviceLock_);
  connected_ = false;
}

void CJ2534Device::Abandon() {
  Channels channels;
  {
    const platform::MutexLock lock(deviceLock_);
    connected_ = false;
    channels.swap(channels_);
  }
  for (const auto& [id, channel] : channels) channel->PassThruDisconnect();
}

}  // namespace passbridge
