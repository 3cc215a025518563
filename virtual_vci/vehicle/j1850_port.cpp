#include "virtual_vci/vehicle/j1850_port.h"

#include <utility>

#include "virtual_vci/vehicle/ecu_services.h"
#include "virtual_vci/vehicle/legacy_obd.h"

namespace virtual_vci {

namespace {

constexpr std::uint8_t kRequestBit = 0x20;  // of the first byte of functional messages

// Services that change the speed (SAE J2190).
constexpr std::uint8_t kReturnToNormal = 0x20;
constexpr std::uint8_t kPrepareHighSpeed = 0xA0;
constexpr std::uint8_t kBeginHighSpeed = 0xA1;
constexpr std::uint8_t kReady = 0xAA;

}  // namespace

std::unique_ptr<EcuPort> J1850Bus::MakePort(const PortConfig& config, const PortContext& context) {
  return std::make_unique<J1850Port>(static_cast<const J1850PortConfig&>(config), context, *this);
}

J1850Port::J1850Port(const J1850PortConfig& config, const PortContext& context, J1850Bus& bus)
    : config_(config), context_(context), bus_(bus), fault_(config.fault) {
  bus_.Attach(*this);
}

J1850Port::~J1850Port() { bus_.Detach(*this); }

std::uint32_t J1850Port::NormalBitRate() const {
  return config_.bitRate != 0 ? config_.bitRate : bus_.BitRate();
}

std::uint32_t J1850Port::BitRate() const {
  if (config_.needsTermination && !bus_.IsTerminated()) return 0;
  return fast_ ? config_.highBitRate : NormalBitRate();
}

bool J1850Port::Acknowledges(const J1850Frame& frame) const {
  return fault_ != EcuFault::kNoAnswer && frame.IsIntact() && frame.bytes.size() > 1 &&
         IsFor(frame.bytes[1]);
}

void J1850Port::Heard(const J1850Frame& frame, FrameTimes times) {
  if (frame.isBreak) fast_ = false;
  const Bytes& bytes = frame.bytes;
  if (!frame.IsIntact() || bytes.size() <= header_.size() || !IsFor(bytes[1])) return;
  const bool functional = bytes[1] != config_.address;
  Bytes request(bytes.begin() + static_cast<std::ptrdiff_t>(header_.size()), bytes.end());
  if (!Busy()) {
    header_ = functional ? Header{static_cast<std::uint8_t>(bytes[0] & ~kRequestBit),
                                  static_cast<std::uint8_t>(bytes[1] | 1), config_.address}
                         : Header{bytes[0], bytes[2], config_.address};
  }
  if (!ChangesSpeed(request))
    context_.host.Requested(*this, std::move(request), functional, times.start);
}

bool J1850Port::ChangesSpeed(const Bytes& request) {
  if (config_.highBitRate == 0) return false;
  switch (request[0]) {
    case kPrepareHighSpeed:
      if (!Busy()) Respond({kPrepareHighSpeed | kPositive, kReady});
      return true;
    case kBeginHighSpeed:
      fast_ = true;
      return true;
    case kReturnToNormal:
      fast_ = false;
      return true;
    default:
      return false;
  }
}

void J1850Port::Respond(Bytes message) {
  const auto messages =
      IsLegacyObdResponse(message) ? LegacyObdMessages(message) : std::vector<Bytes>{message};
  for (const Bytes& each : messages) {
    Bytes bytes(header_.begin(), header_.end());
    bytes.insert(bytes.end(), each.begin(), each.end());
    // What the bus has no room for is not sent.
    if (bus_.Carries(bytes.size())) responses_.push_back(std::move(bytes));
  }
  SendNext();
}

void J1850Port::SendNext() {
  if (fault_ == EcuFault::kNoAnswer) responses_.clear();
  if (responses_.empty()) {
    context_.host.Responded(*this);
    return;
  }
  J1850Frame frame = J1850Frame::Make(responses_.front());
  if (fault_ == EcuFault::kWrongChecksum) frame.crc ^= 0x01;
  // Whoever asked hears it, whether or not somebody acknowledges.
  bus_.Send(*this, frame, 0, std::nullopt);
}

void J1850Port::Sent(std::uint64_t, const J1850Frame&, bool, FrameTimes) {
  responses_.pop_front();
  SendNext();
}

}  // namespace virtual_vci
