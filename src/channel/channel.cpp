#include "channel/channel.h"

#include <set>

#include "channel/object_counter.h"
#include "platform/never_destroyed.h"
#include "trace/method.h"

namespace passbridge {

namespace {

/// The channels that a link callback may speak of. Guarded by PduApiLock.
std::set<const void*>& LiveChannels() {
  static platform::NeverDestroyed<std::set<const void*>> channels;
  return channels.Get();
}

}  // namespace

void CopControl::ExpectEveryResponse(UNUM32 numMaskPatternBytes) {
  constexpr UNUM32 kAcceptanceId = 0x2534;
  response_.AcceptanceId = kAcceptanceId;
  response_.NumMaskPatternBytes = numMaskPatternBytes;
  response_.pMaskData = &mask_;
  response_.pPatternData = &pattern_;
  data.NumPossibleExpectedResponses = 1;
  data.pExpectedResponseArray = &response_;
}

CJ2534Channel::CJ2534Channel() : channelId_(NextObjectId()) {
  platform::RecursiveMutexLock lock(pdu::PduApiLock());
  LiveChannels().insert(this);
}

CJ2534Channel::~CJ2534Channel() {
  {
    platform::RecursiveMutexLock lock(pdu::PduApiLock());
    LiveChannels().erase(this);
  }
  StopEventProcessors();
}

Status CJ2534Channel::Initialize(UNUM32 moduleHandle, std::uint32_t protocolId, std::uint32_t flags,
                                 std::uint32_t baudRate) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::Initialize()", 0x02);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    vehicleConnected_ = false;
    moduleHandle_ = moduleHandle;
    protocolId_ = protocolId;
    connectFlags_ = flags;
    baudRate_ = baudRate;
    if (SetProtocolType(protocolId) != STATUS_NOERROR) {
      return exit.Fail(1, ERR_INVALID_PROTOCOL_ID, "Invalid ProtocolID.");
    }
    return exit.Normal();
  });
}

void CJ2534Channel::SetVehicleConnected(bool connected) {
  platform::MutexLock lock(channelLock_);
  vehicleConnected_ = connected;
  if (connected) return;
  // Not PassThruDisconnect: this may be the event thread, which must not wait for its own end.
  ReleaseLinkItems();
  rxEvent_->Set();
}

void CJ2534Channel::SignalEventProcessor() {
  platform::RecursiveMutexLock lock(pdu::PduApiLock());
  if (eventProcessor_ != nullptr) eventProcessor_->Signal();
}

Status CJ2534Channel::SetJ2534ReceiveBuffer(CJ2534ReceiveBuffer* buffer) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::SetJ2534ReceiveBuffer()", 0x38);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    if (buffer == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL CLL Create Flags Pointer.");
    }
    receiveBuffer_ = buffer;
    return exit.Normal();
  });
}

Status CJ2534Channel::CSingleThreadSync(CJ2534Event* event) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::CSingleThreadSync()", 0x39);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    if (event == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL CLL Create Flags Pointer.");
    }
    rxEvent_ = event;
    return exit.Normal();
  });
}

Status CJ2534Channel::GetPDUComParam(UNUM32 comParamId) {
  return comParams_.Fetch({moduleHandle_, cllHandle_}, comParamId);
}

Status CJ2534Channel::SetPduComParam(UNUM32 comParamId, const void* value, std::uint32_t size) {
  return comParams_.Set({moduleHandle_, cllHandle_}, comParamId, value, size);
}

Status CJ2534Channel::GetPDUValue(UNUM32 comParamId, UNUM32* value) {
  return comParams_.Get({moduleHandle_, cllHandle_}, comParamId, value);
}

void PDUAPI PduEventCallback(T_PDU_EVT_DATA /*eventType*/, UNUM32 /*hMod*/, UNUM32 /*hCll*/,
                             void* pCllTag, void* /*pApiTag*/) {
  platform::RecursiveMutexLock lock(pdu::PduApiLock());
  if (LiveChannels().count(pCllTag) == 0) return;
  static_cast<CJ2534Channel*>(pCllTag)->SignalEventProcessor();
}

}  // namespace passbridge
