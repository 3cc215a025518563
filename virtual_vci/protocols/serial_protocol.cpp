#include "virtual_vci/protocols/serial_protocol.h"

#include <array>

namespace virtual_vci {

namespace {

constexpr std::size_t kLongestMessage = 4129;

}  // namespace

SerialFormat SerialFormatOf(const ComParamSet& params) {
  constexpr std::array kParities{Parity::kNone, Parity::kOdd, Parity::kEven};
  const UNUM32 config = params.Number(ComParam::CP_UartConfig);
  return {params.Number(ComParam::CP_Baudrate), static_cast<std::uint8_t>(config < 6 ? 7 : 8),
          kParities[config % 3]};
}

SerialProtocol::SerialProtocol(const LinkContext& link, SerialLine& line)
    : MessageProtocol(link),
      line_(line),
      sender_(link.scheduler, line, *this),
      receiver_(link.scheduler, [this](const Bytes& bytes, FrameTimes times) {
        MessageHeard(bytes, times);
        link_.cops.ReleaseTimeout(std::exchange(held_, PDU_HANDLE_UNDEF));
      }) {}

SerialProtocol::~SerialProtocol() {
  link_.scheduler.Cancel(timer_);
  if (online_) line_.Detach(*this);
}

void SerialProtocol::GoOnline(const ComParamSet& params) {
  ParamsChanged(params);
  line_.Attach(*this);
  online_ = true;
}

void SerialProtocol::GoOffline() {
  StopSending();
  receiver_.Reset();
  link_.cops.ReleaseTimeout(std::exchange(held_, PDU_HANDLE_UNDEF));
  if (std::exchange(online_, false)) line_.Detach(*this);
}

T_PDU_ERROR SerialProtocol::IoControl(IoCtl command, const PDU_DATA_ITEM*, ItemPtr&) {
  if (command != IoCtl::kSendBreak) return PDU_ERR_ID_NOT_SUPPORTED;
  line_.Pulse(this, kBreakTime, nullptr);
  return PDU_STATUS_NOERROR;
}

bool SerialProtocol::IsMessage(std::span<const UNUM8> bytes) const {
  return bytes.size() <= kLongestMessage;
}

void SerialProtocol::AbortMessage() {
  link_.scheduler.Cancel(timer_);
  sender_.Cancel();
}

void SerialProtocol::Heard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) {
  if (format != Format() || TakeByte(byte)) return;
  if (receiver_.SoFar().empty()) {
    held_ = link_.cops.HoldTimeout({}, PDU_ID_UNDEF);
    MessageBegins(times);
  }
  receiver_.Take(byte, times, LongestPause());
  if (IsComplete(receiver_.SoFar())) receiver_.End();
}

}  // namespace virtual_vci
