#include "virtual_vci/vehicle/can_port.h"

#include <utility>

#include "virtual_vci/vehicle/ecu_services.h"

namespace virtual_vci {

namespace {

// Tokens on the bus; cyclic messages follow.
constexpr std::uint64_t kResponseToken = 0;
constexpr std::uint64_t kEcuFlowControlToken = 1;
constexpr std::uint64_t kFirstCyclicToken = 2;
constexpr Micros kPatience = 100000;

// Services that change the speed of single-wire CAN.
constexpr std::uint8_t kEndProgramming = 0x20;
constexpr std::uint8_t kProgrammingMode = 0xA5;
constexpr std::uint8_t kRequestHighSpeed = 0x02;
constexpr std::uint8_t kEnableProgramming = 0x03;

std::vector<Micros> PeriodsOf(const std::vector<CanPortConfig::Cyclic>& messages) {
  std::vector<Micros> periods;
  for (const auto& message : messages) periods.push_back(message.period);
  return periods;
}

}  // namespace

std::unique_ptr<EcuPort> CanBus::MakePort(const PortConfig& config, const PortContext& context) {
  return std::make_unique<CanPort>(static_cast<const CanPortConfig&>(config), context, *this);
}

CanPort::CanPort(const CanPortConfig& config, const PortContext& context, CanBus& bus)
    : config_(config),
      context_(context),
      bus_(bus),
      cyclic_(PeriodsOf(config.cyclic), context.scheduler, context.flood, *this),
      receiver_(context.scheduler, *this),
      sender_(context.scheduler, *this) {
  IsoTpReceiver::Config receiver;
  receiver.flowControlTo = config.response;
  receiver.padding = config.padding;
  receiver.blockSize = config.transport.blockSize;
  receiver.stMin = config.transport.stMin;
  receiver.waits = config.transport.waits;
  receiver.maxLength = config.transport.maxLength;
  receiver.room = FrameRoom(config.request);
  receiver_.Configure(receiver);
  bus_.Attach(*this);
}

CanPort::~CanPort() { bus_.Detach(*this); }

std::uint32_t CanPort::BitRate() const {
  if (!fast_) return config_.bitRate.value_or(bus_.BitRate());
  return config_.needsTermination && !bus_.IsTerminated() ? 0 : config_.highBitRate;
}

bool CanPort::IsAwake() const {
  return config_.awakeTime == 0 || (awakeUntil_ && context_.scheduler.Now() <= *awakeUntil_);
}

void CanPort::SendCyclic(std::size_t index) {
  if (!IsAwake()) return;
  const CanPortConfig::Cyclic& cyclic = config_.cyclic[index];
  const Bytes data = cyclic.data.Build(context_.signals, context_.scheduler.Now(), {});
  // A message that found nobody is not repeated: the next one is newer.
  bus_.Send(*this, CanFrame::Make(cyclic.address.id, cyclic.address.extended, data),
            kFirstCyclicToken + index, std::nullopt);
}

void CanPort::CancelCyclic(std::size_t index) { bus_.Cancel(*this, kFirstCyclicToken + index); }

void CanPort::Sent(std::uint64_t token, const CanFrame&, bool acknowledged, FrameTimes) {
  if (token == kResponseToken) sender_.FrameSent(acknowledged);
  if (token >= kFirstCyclicToken) cyclic_.Sent(static_cast<std::size_t>(token - kFirstCyclicToken));
}

void CanPort::Heard(const CanFrame& frame, FrameTimes) {
  // It heard nothing of the frame that woke it.
  const bool wasAwake = IsAwake();
  if (wasAwake || frame.highVoltage) awakeUntil_ = context_.scheduler.Now() + config_.awakeTime;
  if (!wasAwake) return;
  if (HasAddress(frame, config_.request)) {
    const auto bytes = frame.Bytes().subspan(config_.request.extension ? 1 : 0);
    if (!bytes.empty() && bytes[0] >> 4 == 3) {
      sender_.FlowControl(bytes);
    } else {
      receiver_.Frame(bytes);
    }
  } else if (config_.functional && HasAddress(frame, *config_.functional)) {
    HeardFunctional(frame.Bytes().subspan(config_.functional->extension ? 1 : 0));
  }
}

// Requests to all are single frames.
void CanPort::HeardFunctional(std::span<const std::uint8_t> frame) {
  if (frame.empty()) return;
  const std::size_t length = frame[0];
  if (length == 0 || length > 7 || length >= frame.size()) return;
  const auto request = frame.subspan(1, length);
  Requested(Bytes(request.begin(), request.end()), true, context_.scheduler.Now());
}

void CanPort::Requested(Bytes request, bool functional, Micros begun) {
  if (!ChangesSpeed(request)) context_.host.Requested(*this, std::move(request), functional, begun);
}

bool CanPort::ChangesSpeed(const Bytes& request) {
  if (config_.highBitRate == 0) return false;
  if (request == Bytes{kProgrammingMode, kRequestHighSpeed}) {
    if (!Busy()) Respond({kProgrammingMode | kPositive});
  } else if (request == Bytes{kProgrammingMode, kEnableProgramming}) {
    fast_ = true;
  } else if (fast_ && request == Bytes{kEndProgramming}) {
    fast_ = false;
  } else {
    return false;
  }
  return true;
}

void CanPort::ReceiveEnded(IsoTpError error, Bytes message) {
  const Micros begun = std::exchange(requestBegun_, {}).value_or(context_.scheduler.Now());
  if (error == IsoTpError::kNone) Requested(std::move(message), false, begun);
}

void CanPort::Respond(Bytes message) {
  IsoTpSender::Config config;
  config.to = config_.response;
  config.padding = config_.padding;
  sender_.Start(config, std::move(message));
}

void CanPort::Transmit(const CanFrame& frame) {
  bus_.Send(*this, frame, kResponseToken, kPatience);
}

void CanPort::TransmitFlowControl(const CanFrame& frame) {
  bus_.Send(*this, frame, kEcuFlowControlToken, kPatience);
}

void CanPort::SendEnded(IsoTpError) { context_.host.Responded(*this); }

}  // namespace virtual_vci
