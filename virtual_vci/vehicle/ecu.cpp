#include "virtual_vci/vehicle/ecu.h"

#include <algorithm>
#include <utility>

namespace virtual_vci {

namespace {

// Tokens on the bus; cyclic messages follow.
constexpr std::uint64_t kResponseToken = 0;
constexpr std::uint64_t kEcuFlowControlToken = 1;
constexpr std::uint64_t kFirstCyclicToken = 2;
constexpr Micros kPatience = 100000;

bool IsFor(const CanFrame& frame, const CanAddress& address) {
  return frame.id == address.id && frame.extended == address.extended &&
         (!address.extension || (frame.size > 0 && frame.data[0] == *address.extension));
}

}  // namespace

Ecu::Ecu(const EcuConfig& config, Scheduler& scheduler, CanBus& bus, FloodGate mayFlood)
    : config_(config),
      scheduler_(scheduler),
      bus_(bus),
      mayFlood_(std::move(mayFlood)),
      cycles_(config.cyclic.size()),
      services_(config),
      receiver_(scheduler, *this),
      sender_(scheduler, *this) {
  IsoTpReceiver::Config receiver;
  receiver.flowControlTo = config.response;
  receiver.padding = config.padding;
  receiver.blockSize = config.transport.blockSize;
  receiver.stMin = config.transport.stMin;
  receiver.waits = config.transport.waits;
  receiver.maxLength = config.transport.maxLength;
  receiver_.Configure(receiver);
  bus_.Attach(*this);
  SetCyclic(true);
}

Ecu::~Ecu() {
  SetCyclic(false);
  scheduler_.Cancel(responseTimer_);
  bus_.Detach(*this);
}

void Ecu::SetCyclic(bool on) {
  if (on == cyclicOn_) return;
  cyclicOn_ = on;
  for (std::size_t index = 0; index < cycles_.size(); ++index) {
    scheduler_.Cancel(cycles_[index].timer);
    cycles_[index].held = false;
    if (on) {
      StartCycle(index);
    } else {
      bus_.Cancel(*this, kFirstCyclicToken + index);
    }
  }
}

void Ecu::StartCycle(std::size_t index) {
  if (config_.cyclic[index].period == 0) {
    Flood(index);
    return;
  }
  cycles_[index].timer =
      scheduler_.After(config_.cyclic[index].period, Pace::kPeriodic, [this, index] {
        SendCyclic(index);
        StartCycle(index);
      });
}

void Ecu::SendCyclic(std::size_t index) {
  const CyclicConfig& cyclic = config_.cyclic[index];
  const Bytes data = cyclic.data.Build(config_.signals, scheduler_.Now(), {});
  // A message that found nobody is not repeated: the next one is newer.
  bus_.Send(*this, CanFrame::Make(cyclic.address.id, cyclic.address.extended, data),
            kFirstCyclicToken + index, 0);
}

void Ecu::Flood(std::size_t index) {
  cycles_[index].held = !mayFlood_();
  if (!cycles_[index].held) SendCyclic(index);
}

void Ecu::Resume() {
  for (std::size_t index = 0; index < cycles_.size(); ++index) {
    if (cycles_[index].held) Flood(index);
  }
}

void Ecu::Sent(std::uint64_t token, const CanFrame&, bool acknowledged, FrameTimes) {
  if (token == kResponseToken) sender_.FrameSent(acknowledged);
  if (token < kFirstCyclicToken || !cyclicOn_) return;
  const auto index = static_cast<std::size_t>(token - kFirstCyclicToken);
  if (config_.cyclic[index].period == 0) Flood(index);
}

void Ecu::Heard(const CanFrame& frame, FrameTimes) {
  if (IsFor(frame, config_.request)) {
    const auto bytes = frame.Bytes().subspan(config_.request.extension ? 1 : 0);
    if (!bytes.empty() && bytes[0] >> 4 == 3) {
      sender_.FlowControl(bytes);
    } else {
      receiver_.Frame(bytes);
    }
  } else if (config_.functional && IsFor(frame, *config_.functional)) {
    HeardFunctional(frame.Bytes().subspan(config_.functional->extension ? 1 : 0));
  }
}

// Requests to all are single frames.
void Ecu::HeardFunctional(std::span<const std::uint8_t> frame) {
  if (frame.empty()) return;
  const std::size_t length = frame[0];
  if (length == 0 || length > 7 || length >= frame.size()) return;
  const auto request = frame.subspan(1, length);
  Request(Bytes(request.begin(), request.end()), true);
}

void Ecu::ReceiveEnded(IsoTpError error, Bytes message) {
  if (error == IsoTpError::kNone) Request(std::move(message), false);
}

// A request that comes while another is at work replaces it, as a tester that asks anew expects.
void Ecu::Request(Bytes request, bool functional) {
  scheduler_.Cancel(responseTimer_);
  responses_.clear();
  responseTimer_ = scheduler_.After(
      config_.responseTime, Pace::kProgress,
      [this, bytes = std::move(request), functional] { Answer(bytes, functional); });
}

void Ecu::Answer(const Bytes& request, bool functional) {
  for (Bytes& message : services_.Answer({request, functional, scheduler_.Now()})) {
    responses_.push_back(std::move(message));
  }
  SendNextResponse();
}

void Ecu::SendNextResponse() {
  if (responses_.empty() || sender_.Busy()) return;
  IsoTpSender::Config config;
  config.to = config_.response;
  config.padding = config_.padding;
  const Bytes message = std::move(responses_.front());
  responses_.pop_front();
  sender_.Start(config, message);
}

void Ecu::Transmit(const CanFrame& frame) { bus_.Send(*this, frame, kResponseToken, kPatience); }

void Ecu::TransmitFlowControl(const CanFrame& frame) {
  bus_.Send(*this, frame, kEcuFlowControlToken, kPatience);
}

void Ecu::SendEnded(IsoTpError) {
  if (responses_.empty()) return;
  scheduler_.Cancel(responseTimer_);
  responseTimer_ =
      scheduler_.After(config_.responseTime, Pace::kProgress, [this] { SendNextResponse(); });
}

}  // namespace virtual_vci
