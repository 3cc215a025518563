#include "virtual_vci/protocols/gm_uart_protocol.h"

#include <utility>

#include "virtual_vci/vehicle/gm_uart_frame.h"

namespace virtual_vci {

namespace {

constexpr Micros kPollPatience = 2000000;

}  // namespace

GmUartProtocol::Settings GmUartProtocol::Read(const ComParamSet& params) {
  return {SerialFormatOf(params),
          params.Number(ComParam::CP_BecomeMaster),
          params.Value(static_cast<UNUM32>(ComParam::CP_SetPollResponse)).bytes,
          params.Number(ComParam::CP_J2740IgnoreMsgContent) != 0,
          params.Number(ComParam::CP_P1Max),
          params.Number(ComParam::CP_P3Min_J2740)};
}

void GmUartProtocol::ParamsChanged(const ComParamSet& params) {
  settings_ = Read(params);
  if (settings_.becomeMaster == 0) isMaster_ = false;
}

void GmUartProtocol::GoOffline() {
  SerialProtocol::GoOffline();
  isMaster_ = false;
}

bool GmUartProtocol::IsMessage(std::span<const UNUM8> bytes) const {
  return bytes.size() >= kGmUartOverhead && bytes.size() <= kGmUartOverhead + kLongestGmUartData;
}

void GmUartProtocol::SendMessage(const Bytes& message) {
  if (!isMaster_) {
    MessageFailed(static_cast<UNUM32>(GmUartError::kIsSlave));
    return;
  }
  WhenIdle(sendSettings_.p3Min, [this, message] {
    sender_.Start(message, sendSettings_.format, 0,
                  [this](FrameTimes times) { MessageSent(times); });
  });
}

void GmUartProtocol::StartCommunication(const Cop& cop) {
  if (settings_.becomeMaster == 0 || isMaster_) {
    link_.cops.CommunicationDone(cop.handle);
  } else {
    Begin(cop);
    AwaitPoll();
  }
}

void GmUartProtocol::AwaitPoll() {
  awaitsPoll_ = true;
  heardOthers_ = false;
  AfterPause(kPollPatience, [this] { NotPolled(); });
}

void GmUartProtocol::NotPolled() {
  if (!heardOthers_) {
    BecomeMaster();
    return;
  }
  awaitsPoll_ = false;
  link_.cops.SendFailed(Release(), PDU_ERR_EVT_INIT_ERROR,
                        static_cast<UNUM32>(GmUartError::kNotPolled));
}

void GmUartProtocol::BecomeMaster() {
  awaitsPoll_ = false;
  isMaster_ = true;
  CancelPause();
  link_.cops.CommunicationDone(Release());
}

void GmUartProtocol::StopSending() {
  SerialProtocol::StopSending();
  awaitsPoll_ = false;
}

bool GmUartProtocol::IsComplete(const Bytes& bytes) const {
  return GmUartLength(bytes) == bytes.size();
}

void GmUartProtocol::MessageHeard(const Bytes& bytes, FrameTimes times) {
  heardOthers_ = true;
  const bool isFrame = IsGmUartFrame(bytes);
  if (isFrame || settings_.ignoreContent) Deliver(bytes, times);
  if (isFrame && IsGmUartPoll(bytes) && !isMaster_) Polled(bytes[0]);
}

void GmUartProtocol::Polled(std::uint8_t device) {
  const Bytes& response = settings_.pollResponse;
  const bool hasResponse = !response.empty() && response[0] == device;
  const bool becomesMaster = awaitsPoll_ && device == settings_.becomeMaster;
  if (!hasResponse && !becomesMaster) return;
  sender_.Start(hasResponse ? WithGmUartChecksum(response) : GmUartFrame(device, {}),
                settings_.format, 0, [this, becomesMaster](FrameTimes) {
                  if (becomesMaster) BecomeMaster();
                });
}

}  // namespace virtual_vci
