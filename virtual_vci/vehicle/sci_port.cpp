#include "virtual_vci/vehicle/sci_port.h"

#include <utility>

namespace virtual_vci {

namespace {

// Ends a request of unknown length.
constexpr Micros kRequestPause = 30000;

}  // namespace

std::unique_ptr<EcuPort> SciLine::MakePort(const PortConfig& config, const PortContext& context) {
  return std::make_unique<SciPort>(static_cast<const SciPortConfig&>(config), context, *this);
}

SciPort::SciPort(const SciPortConfig& config, const PortContext& context, SciLine& line)
    : SerialPort({config.bitRate}, config.fault, context, line), config_(config), line_(line) {}

SerialFormat SciPort::Format() const { return fast_ ? SerialFormat{config_.highBitRate} : format_; }

bool SciPort::IsComplete() const {
  const Bytes& request = receiver_.SoFar();
  const auto known = config_.requestLengths.find(request[0]);
  return known != config_.requestLengths.end() && request.size() >= known->second;
}

void SciPort::ByteHeard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) {
  if (format != Format() || fault_ == EcuFault::kNoAnswer) return;
  receiver_.Take(byte, times, EchoTime() + kRequestPause);
  if (line_.Transmission().halfDuplex) {
    Echo(byte);
  } else if (IsComplete()) {
    receiver_.End();
  }
}

Micros SciPort::EchoTime() const {
  return fault_ == EcuFault::kLateBytes ? kLatePause : config_.echoTime;
}

void SciPort::Echo(std::uint8_t byte) {
  if (fault_ == EcuFault::kWrongChecksum) byte ^= 0x01;
  AfterPause(EchoTime(), [this, byte] {
    if (sender_.Busy()) return;
    sender_.Start({byte}, Format(), 0, [this](FrameTimes) {
      if (!receiver_.SoFar().empty() && IsComplete()) receiver_.End();
    });
  });
}

void SciPort::MessageHeard(const Bytes& bytes, FrameTimes times) {
  if (ChangesSpeed(bytes)) return;
  if (config_.needVoltage.contains(bytes[0]) && !line_.Transmission().raisedVoltage) return;
  // There are no refusals on this bus, as there are none for requests to all.
  context_.host.Requested(*this, bytes, true, times.start);
}

bool SciPort::ChangesSpeed(const Bytes& request) {
  if (config_.highBitRate == 0 || request.size() != 1) return false;
  if (request[0] != config_.toHigh && request[0] != config_.toNormal) return false;
  fast_ = request[0] == config_.toHigh;
  return true;
}

void SciPort::HeardPulse(FrameTimes) {
  CancelPause();
  sender_.Cancel();
  receiver_.Reset();
  fast_ = false;
  if (std::exchange(responding_, false)) context_.host.Responded(*this);
}

void SciPort::Respond(Bytes message) {
  const Micros pause = fault_ == EcuFault::kLateBytes ? kLatePause : 0;
  responding_ = true;
  CancelPause();
  sender_.Start(std::move(message), Format(), pause, [this](FrameTimes) {
    responding_ = false;
    context_.host.Responded(*this);
  });
}

}  // namespace virtual_vci
