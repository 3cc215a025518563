#include "channel/channel.h"

#include "trace/methods.h"

namespace passbridge {

void ChannelDeleter::operator()(CJ2534Channel* channel) const {
  if (channel != nullptr) channel->StopThreads();
  delete channel;
}

CJ2534Channel::~CJ2534Channel() { StopThreads(); }

void CJ2534Channel::StopThreads() {
  OwnedChannel periodic;  // delivers into this channel, and so goes before its buffer
  {
    platform::MutexLock lock(operationLock_);
    periodicChannel_ = nullptr;
    periodic = std::move(ownPeriodicChannel_);
  }
  periodic.reset();
  GetLink().StopEvents();
  EndReads();
}

Status CJ2534Channel::Initialize(UNUM32 moduleHandle, std::uint32_t protocolId, std::uint32_t flags,
                                 std::uint32_t baudRate) {
  return Traced(methods::channel::kInitialize, [&](Exits& exit) -> Status {
    if (SetIdentity(moduleHandle, protocolId, flags, baudRate) != STATUS_NOERROR) {
      return exit.Fail(1, ERR_INVALID_PROTOCOL_ID, "Invalid ProtocolID.");
    }
    return exit.Normal();
  });
}

}  // namespace passbridge
