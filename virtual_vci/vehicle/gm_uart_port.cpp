#include "virtual_vci/vehicle/gm_uart_port.h"

#include <utility>

#include "virtual_vci/vehicle/gm_uart_frame.h"

namespace virtual_vci {

namespace {

constexpr Micros kPauseInFrame = 20000;

}  // namespace

std::unique_ptr<EcuPort> GmUartLine::MakePort(const PortConfig& config,
                                              const PortContext& context) {
  return std::make_unique<GmUartPort>(static_cast<const GmUartPortConfig&>(config), context, *this);
}

GmUartPort::~GmUartPort() { context_.scheduler.Cancel(pollTimer_); }

void GmUartPort::SetCyclic(bool on) {
  context_.scheduler.Cancel(pollTimer_);
  if (on && !config_.polls.empty()) PollLater();
}

void GmUartPort::PollLater() {
  pollTimer_ = context_.scheduler.After(config_.pollPeriod, Pace::kPeriodic, [this] { Poll(); });
}

void GmUartPort::Poll() {
  PollLater();
  const Micros idle = context_.scheduler.Now() - line_.LastUsed();
  if (yielded_ && idle < config_.masterPatience) return;
  yielded_ = false;
  if (sender_.Busy() || responding_ || fault_ == EcuFault::kNoAnswer) return;
  polled_ = config_.polls[nextPoll_];
  nextPoll_ = (nextPoll_ + 1) % config_.polls.size();
  sender_.Start(GmUartFrame(*polled_, {}), format_, 0, [](FrameTimes) {});
}

void GmUartPort::ByteHeard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) {
  if (format != format_) return;
  receiver_.Take(byte, times, kPauseInFrame);
  if (GmUartLength(receiver_.SoFar()) == receiver_.SoFar().size()) receiver_.End();
}

void GmUartPort::MessageHeard(const Bytes& bytes, FrameTimes times) {
  if (!IsGmUartFrame(bytes)) return;
  if (std::exchange(polled_, {}) == bytes[0] && config_.yieldsTo.contains(bytes[0]))
    yielded_ = true;
  if (bytes[0] != config_.address || IsGmUartPoll(bytes)) return;
  // There are no refusals on this bus, as there are none for requests to all.
  context_.host.Requested(*this, Bytes(bytes.begin() + 2, bytes.end() - 1), true, times.start);
}

void GmUartPort::Respond(Bytes message) {
  Bytes frame = GmUartFrame(config_.address, message);
  if (fault_ == EcuFault::kWrongChecksum) frame.back() ^= 0x01;
  const auto sent = [this](FrameTimes) {
    responding_ = false;
    context_.host.Responded(*this);
  };
  responding_ = true;
  if (fault_ == EcuFault::kNoAnswer || message.size() > kLongestGmUartData) {
    sent({});
  } else {
    sender_.Start(std::move(frame), format_, fault_ == EcuFault::kLateBytes ? kLatePause : 0, sent);
  }
}

}  // namespace virtual_vci
