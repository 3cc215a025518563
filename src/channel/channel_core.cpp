#include "channel/channel_core.h"

#include <utility>

#include "channel/object_counter.h"
#include "trace/last_error.h"
#include "trace/methods.h"

namespace passbridge {

ChannelCore::ChannelCore() : channelId_(NextObjectId()), link_(*this, this) {}

Status ChannelCore::SetIdentity(UNUM32 module, std::uint32_t protocolId, std::uint32_t flags,
                                std::uint32_t baudRate) {
  link_.SetModule(module);
  protocolId_ = protocolId;
  connectFlags_ = flags;
  baudRate_ = baudRate;
  return SetProtocolType(protocolId);
}

void ChannelCore::SetVehicleConnected(bool connected) {
  // Not PassThruDisconnect: this may be the event thread, which must not wait for its own end.
  if (!connected && link_.Lose()) EndReads();
}

void ChannelCore::EndReads() {
  if (rxEvent_ == &ownRxEvent_) {
    rxEvent_->End();
  } else {
    rxEvent_->Set();
  }
}

bool ChannelCore::HasPins() const {
  const Link::State state = link_.GetState();
  return j1962Pins_ != 0 && state != Link::State::None && state != Link::State::Connecting;
}

Status ChannelCore::TakePins(const Exits& exit, std::uint32_t pins, bool& pinsSet) {
  if (HasLink() && pins != j1962Pins_) {
    return exit.Fail(3, ERR_CHANNEL_IN_USE, "Error setting J2534 Parameter value.");
  }
  pinsSet = pinsSet || !HasLink();
  j1962Pins_ = pins;
  return STATUS_NOERROR;
}

Status ChannelCore::ReportNotConnected(const Exits& exit, std::uint16_t point) const {
  if (link_.GetState() == Link::State::Ending) {
    return exit.PassOn(point, ERR_INVALID_CHANNEL_ID, "Invalid ChannelID.");
  }
  LastErrorRecord::Instance().SetLastStatus(ERR_DEVICE_NOT_CONNECTED);
  return exit.Fail(point, ERR_DEVICE_NOT_CONNECTED, "The Device is not connected.");
}

std::shared_ptr<CJ2534FilterList> ChannelCore::Filters() const {
  platform::MutexLock lock(listLock_);
  return filterList_;
}

std::shared_ptr<CJ2534ParameterList> ChannelCore::Parameters() const {
  platform::MutexLock lock(listLock_);
  return parameterList_;
}

bool ChannelCore::IsMixedFormat() const {
  std::uint32_t format = 0;
  const auto parameters = Parameters();
  return parameters != nullptr &&
         parameters->GetJ2534ParameterValue(CAN_MIXED_FORMAT, &format) == STATUS_NOERROR &&
         format != 0;
}

Status ChannelCore::SetJ2534ReceiveBuffer(CJ2534ReceiveBuffer* buffer) {
  return Traced(methods::channel::kSetJ2534ReceiveBuffer, [&](Exits& exit) -> Status {
    if (buffer == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL CLL Create Flags Pointer.");
    }
    receiveBuffer_ = buffer;
    return exit.Normal();
  });
}

Status ChannelCore::CSingleThreadSync(CJ2534Event* event) {
  return Traced(methods::channel::kCSingleThreadSync, [&](Exits& exit) -> Status {
    if (event == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL CLL Create Flags Pointer.");
    }
    rxEvent_ = event;
    return exit.Normal();
  });
}

Status ChannelCore::MakeLists(const Exits& exit) {
  auto parameters = std::make_shared<CJ2534ParameterList>();
  if (const Status status = parameters->Initialize(this)) {
    return exit.Fail(9, status, "Error initializing Parameter List.");
  }
  auto filters = std::make_shared<CJ2534FilterList>();
  if (const Status status = filters->Initialize(this)) {
    return exit.Fail(11, status, "Error initializing Filter List.");
  }
  platform::MutexLock lock(listLock_);
  parameterList_ = std::move(parameters);
  filterList_ = std::move(filters);
  return STATUS_NOERROR;
}

void ChannelCore::DropLists() {
  // Whoever uses one just now keeps it until then; they go after the lock.
  std::shared_ptr<CJ2534ParameterList> parameters;
  std::shared_ptr<CJ2534FilterList> filters;
  platform::MutexLock lock(listLock_);
  parameters.swap(parameterList_);
  filters.swap(filterList_);
}

}  // namespace passbridge
