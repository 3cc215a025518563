#include "virtual_vci/vehicle/kline_port.h"

#include <algorithm>
#include <array>
#include <utility>

#include "virtual_vci/vehicle/legacy_obd.h"

namespace virtual_vci {

namespace {

constexpr std::uint8_t kSyncByte = 0x55;
// Of CP_5BaudMode.
constexpr std::uint8_t kWithoutAddress = 1;
constexpr std::uint8_t kWithoutTester = 2;
constexpr Micros kTesterPause = 20000;  // P4 of a tester, at most
// A wake-up pattern begins with a low level of 25 ms, and a request follows soon after it.
constexpr Micros kShortestWakeUp = 24000;
constexpr Micros kLongestWakeUp = 26000;
constexpr Micros kWakeUpPatience = 100000;

// Services of the link itself (ISO 14230-2), and what came before UDS.
constexpr std::uint8_t kStartCommunication = 0x81;
constexpr std::uint8_t kStopCommunication = 0x82;
constexpr std::uint8_t kTesterPresent = 0x3E;
constexpr std::uint8_t kNoResponseRequired = 0x02;
constexpr std::uint8_t kPositiveResponse = 0x40;

}  // namespace

std::unique_ptr<EcuPort> KLine::MakePort(const PortConfig& config, const PortContext& context) {
  return std::make_unique<KLinePort>(static_cast<const KLinePortConfig&>(config), context, *this);
}

bool KLinePort::IsActive() const {
  return activeUntil_ && context_.scheduler.Now() <= *activeUntil_;
}

void KLinePort::Activate() {
  step_ = Step::kNone;
  activeUntil_ = context_.scheduler.Now() + config_.timing.p3Max;
}

void KLinePort::ByteHeard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) {
  if (format == format_ && step_ == Step::kAwaitKey2) {
    const auto inverted = static_cast<std::uint8_t>(~config_.keyBytes[1]);
    if (byte != inverted) return;
    if ((config_.fiveBaudMode & kWithoutAddress) != 0) {
      Activate();
    } else {
      After(config_.timing.w4, Step::kAddress);
    }
  } else if (format == format_ && step_ == Step::kNone && (IsActive() || wokenUp_)) {
    receiver_.Take(byte, times, kTesterPause);
    const auto length =
        config_.header == KLineHeader::kIso9141 ? std::nullopt : Iso14230Length(receiver_.SoFar());
    if (length && receiver_.SoFar().size() >= *length) receiver_.End();
  }
}

void KLinePort::HeardAddress(std::uint8_t byte, bool alsoOnL, FrameTimes) {
  const auto& addresses = config_.fiveBaud;
  if (config_.initOnL && !alsoOnL) return;
  if (std::find(addresses.begin(), addresses.end(), byte) != addresses.end()) BeginFiveBaud(byte);
}

void KLinePort::HeardPulse(FrameTimes low) {
  const Micros length = low.end - low.start;
  if (!config_.fastInit || length < kShortestWakeUp || length > kLongestWakeUp) return;
  Restart();
  wokenUp_ = low.end;
}

void KLinePort::Restart() {
  CancelPause();
  sender_.Cancel();
  receiver_.Reset();
  responses_.clear();
  busy_ = false;
  wokenUp_.reset();
  activeUntil_.reset();
  step_ = Step::kNone;
}

void KLinePort::BeginFiveBaud(std::uint8_t address) {
  Restart();
  initAddress_ = address;
  if (fault_ != EcuFault::kNoAnswer) After(config_.timing.w1, Step::kSync);
}

void KLinePort::After(Micros pause, Step step) {
  step_ = step;
  AfterPause(pause, [this] { SendInitByte(); });
}

void KLinePort::SendInitByte() {
  std::uint8_t byte = 0;
  switch (step_) {
    case Step::kSync:
      byte = kSyncByte;
      break;
    case Step::kKey1:
      byte = config_.keyBytes[0];
      break;
    case Step::kKey2:
      byte = config_.keyBytes[1];
      if (fault_ == EcuFault::kWrongKeyByte) byte ^= 0x01;
      break;
    case Step::kAddress:
      byte = static_cast<std::uint8_t>(~initAddress_);
      break;
    default:
      return;
  }
  sender_.Start({byte}, format_, 0, [this](FrameTimes) { InitByteSent(); });
}

void KLinePort::InitByteSent() {
  switch (step_) {
    case Step::kSync:
      After(fault_ == EcuFault::kLateBytes ? kLatePause : config_.timing.w2, Step::kKey1);
      break;
    case Step::kKey1:
      After(config_.timing.w3, Step::kKey2);
      break;
    case Step::kKey2:
      if ((config_.fiveBaudMode & kWithoutTester) == 0) {
        step_ = Step::kAwaitKey2;
      } else if ((config_.fiveBaudMode & kWithoutAddress) == 0) {
        After(config_.timing.w4, Step::kAddress);
      } else {
        Activate();
      }
      break;
    default:
      Activate();
      break;
  }
}

void KLinePort::MessageHeard(const Bytes& bytes, FrameTimes times) {
  auto request = ReadKLineRequest(config_.header, bytes);
  if (!request) return;
  const bool forThis = request->functional ? request->target == config_.functional ||
                                                 config_.header == KLineHeader::kIso9141
                                           : request->target == config_.address;
  if (forThis) Asked(std::move(*request), times.start);
}

void KLinePort::Asked(KLineRequest request, Micros begun) {
  const bool starts = request.data == Bytes{kStartCommunication};
  const bool wokenUp = wokenUp_ && begun <= *wokenUp_ + kWakeUpPatience;
  wokenUp_.reset();
  if (!IsActive() && !(starts && wokenUp)) return;
  activeUntil_ = context_.scheduler.Now() + config_.timing.p3Max;
  tester_ = request.source;
  if (!AnswerItself(request))
    context_.host.Requested(*this, std::move(request.data), request.functional, begun);
}

bool KLinePort::AnswerItself(const KLineRequest& request) {
  const std::uint8_t service = request.data[0];
  Bytes answer{static_cast<std::uint8_t>(service | kPositiveResponse)};
  if (service == kStartCommunication) {
    answer.insert(answer.end(), config_.keyBytes.begin(), config_.keyBytes.end());
    if (fault_ == EcuFault::kWrongKeyByte) answer.back() ^= 0x01;
  } else if (service == kTesterPresent) {
    if (request.data.size() == 2 && request.data[1] == kNoResponseRequired) return true;
  } else if (service != kStopCommunication) {
    return false;
  }
  if (!busy_) {
    responses_ = {answer};
    SendNext();
    if (service == kStopCommunication) activeUntil_.reset();
  }
  return true;
}

void KLinePort::Respond(Bytes message) {
  const auto messages =
      IsLegacyObdResponse(message) ? LegacyObdMessages(message) : std::vector<Bytes>{message};
  responses_.assign(messages.begin(), messages.end());
  SendNext();
}

void KLinePort::SendNext() {
  busy_ = !responses_.empty();
  if (!busy_) {
    context_.host.Responded(*this);
    return;
  }
  Bytes message = KLineResponse(config_.header, tester_, config_.address, responses_.front());
  responses_.pop_front();
  if (fault_ == EcuFault::kWrongChecksum) message.back() ^= 0x01;
  const Micros due = line_.LastUsed() + config_.timing.p2;
  const Micros now = context_.scheduler.Now();
  AfterPause(due > now ? due - now : 0, [this, message = std::move(message)] {
    const auto sent = [this](FrameTimes) {
      if (activeUntil_) activeUntil_ = context_.scheduler.Now() + config_.timing.p3Max;
      SendNext();
    };
    if (fault_ == EcuFault::kNoAnswer) {
      sent({});
    } else {
      sender_.Start(message, format_,
                    fault_ == EcuFault::kLateBytes ? kLatePause : config_.timing.p1, sent);
    }
  });
}

}  // namespace virtual_vci
