#include "virtual_vci/protocols/j1850_protocol.h"

#include <utility>

namespace virtual_vci {

namespace {

constexpr Micros kAcknowledgementPatience = 100000;
constexpr std::uint64_t kBreakToken = 0;  // no message has it

// CP_J1850IFRCtrl
constexpr UNUM32 kAcknowledgeNothing = 0;
constexpr UNUM32 kAcknowledgeFunctional = 2;

/// CP_NetworkLine: both wires, the positive one, the negative one.
unsigned WiresOf(UNUM32 networkLine) { return networkLine == 0 ? kAllWires : networkLine; }

}  // namespace

J1850Protocol::~J1850Protocol() {
  if (online_) bus_.Detach(*this);
}

void J1850Protocol::GoOnline(const ComParamSet& params) {
  ParamsChanged(params);
  bus_.Attach(*this);
  online_ = true;
}

void J1850Protocol::GoOffline() {
  StopSending();
  if (std::exchange(online_, false)) bus_.Detach(*this);
}

void J1850Protocol::ParamsChanged(const ComParamSet& params) {
  bitRate_ = params.Number(ComParam::CP_Baudrate);
  nodeAddress_ = params.Number(ComParam::CP_TesterSourceAddress);
  inFrameResponse_ = params.Number(ComParam::CP_J1850IFRCtrl);
  terminates_ = params.Number(ComParam::CP_TerminationType) != 0;
  wires_ = WiresOf(params.Number(ComParam::CP_NetworkLine));
}

void J1850Protocol::SendMessage(const Bytes& message) {
  bus_.Send(*this, J1850Frame::Make(message), ++token_, kAcknowledgementPatience);
}

void J1850Protocol::AbortMessage() {
  if (online_ && IsWorking()) bus_.Cancel(*this, token_);
}

void J1850Protocol::Sent(std::uint64_t token, const J1850Frame&, bool acknowledged,
                         FrameTimes times) {
  if (token != token_ || !IsWorking()) return;
  if (acknowledged) {
    MessageSent(times);
  } else {
    MessageFailed(0);
  }
}

bool J1850Protocol::Acknowledges(const J1850Frame& frame) const {
  if (inFrameResponse_ == kAcknowledgeNothing || !frame.IsIntact() || frame.bytes.size() < 2)
    return false;
  return frame.bytes[1] == nodeAddress_ ||
         (inFrameResponse_ == kAcknowledgeFunctional && link_.filters.Passes(frame.bytes, false));
}

void J1850Protocol::Heard(const J1850Frame& frame, FrameTimes times) {
  if (frame.isBreak) {
    Indicate(kRxBreak, times);
  } else if (frame.IsIntact()) {
    Deliver(frame.bytes, times);
  }
}

T_PDU_ERROR J1850Protocol::IoControl(IoCtl command, const PDU_DATA_ITEM*, ItemPtr&) {
  if (command != IoCtl::kSendBreak || !bus_.HasBreaks()) return PDU_ERR_ID_NOT_SUPPORTED;
  if (!online_) return PDU_ERR_CLL_NOT_CONNECTED;
  bus_.Send(*this, J1850Frame::Break(), kBreakToken, std::nullopt);
  return PDU_STATUS_NOERROR;
}

}  // namespace virtual_vci
