#include "channel/channel.h"

#include "channel/object_counter.h"
#include "trace/last_error.h"
#include "trace/methods.h"

namespace passbridge {

void ChannelDeleter::operator()(CJ2534Channel* channel) const {
  if (channel != nullptr) channel->StopThreads();
  delete channel;
}

CJ2534Channel::CJ2534Channel() : channelId_(NextObjectId()), link_(*this, this) {}

CJ2534Channel::~CJ2534Channel() { StopThreads(); }

void CJ2534Channel::StopThreads() {
  OwnedChannel periodic;  // delivers into this channel, and so goes before its buffer
  {
    platform::MutexLock lock(operationLock_);
    periodicChannel_ = nullptr;
    periodic = std::move(ownPeriodicChannel_);
  }
  periodic.reset();
  link_.StopEvents();
  EndReads();
}

Status CJ2534Channel::Initialize(UNUM32 moduleHandle, std::uint32_t protocolId, std::uint32_t flags,
                                 std::uint32_t baudRate) {
  return Traced(methods::channel::kInitialize, [&](Exits& exit) -> Status {
    link_.SetModule(moduleHandle);
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
  // Not PassThruDisconnect: this may be the event thread, which must not wait for its own end.
  if (!connected && link_.Lose()) EndReads();
}

void CJ2534Channel::EndReads() {
  if (rxEvent_ == &ownRxEvent_) {
    rxEvent_->End();
  } else {
    rxEvent_->Set();
  }
}

bool CJ2534Channel::HasPins() const {
  const Link::State state = link_.GetState();
  return j1962Pins_ != 0 && state != Link::State::None && state != Link::State::Connecting;
}

Status CJ2534Channel::ReportNotConnected(const Exits& exit, std::uint16_t point) const {
  if (link_.GetState() == Link::State::Ending) {
    return exit.PassOn(point, ERR_INVALID_CHANNEL_ID, "Invalid ChannelID.");
  }
  LastErrorRecord::Instance().SetLastStatus(ERR_DEVICE_NOT_CONNECTED);
  return exit.Fail(point, ERR_DEVICE_NOT_CONNECTED, "The Device is not connected.");
}

std::shared_ptr<CJ2534FilterList> CJ2534Channel::Filters() const {
  platform::MutexLock lock(listLock_);
  return filterList_;
}

std::shared_ptr<CJ2534ParameterList> CJ2534Channel::Parameters() const {
  platform::MutexLock lock(listLock_);
  return parameterList_;
}

bool CJ2534Channel::IsMixedFormat() const {
  std::uint32_t format = 0;
  const auto parameters = Parameters();
  return parameters != nullptr &&
         parameters->GetJ2534ParameterValue(CAN_MIXED_FORMAT, &format) == STATUS_NOERROR &&
         format != 0;
}

Status CJ2534Channel::SetJ2534ReceiveBuffer(CJ2534ReceiveBuffer* buffer) {
  return Traced(methods::channel::kSetJ2534ReceiveBuffer, [&](Exits& exit) -> Status {
    if (buffer == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL CLL Create Flags Pointer.");
    }
    receiveBuffer_ = buffer;
    return exit.Normal();
  });
}

Status CJ2534Channel::CSingleThreadSync(CJ2534Event* event) {
  return Traced(methods::channel::kCSingleThreadSync, [&](Exits& exit) -> Status {
    if (event == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL CLL Create Flags Pointer.");
    }
    rxEvent_ = event;
    return exit.Normal();
  });
}

}  // namespace passbridge
