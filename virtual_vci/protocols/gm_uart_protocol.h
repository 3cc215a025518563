/// \file
/// GM UART (SAE J2740) on a link: messages are whole frames with their checksums.
#ifndef VIRTUAL_VCI_PROTOCOLS_GM_UART_PROTOCOL_H_
#define VIRTUAL_VCI_PROTOCOLS_GM_UART_PROTOCOL_H_

#include "virtual_vci/protocols/serial_protocol.h"
#include "virtual_vci/vehicle/gm_uart_port.h"

namespace virtual_vci {

/// Why a message could not be sent (PDU_ERR_EVT_TX_ERROR), or the link become master
/// (PDU_ERR_EVT_INIT_ERROR): the extra information of the error item.
enum class GmUartError : UNUM32 {
  kIsSlave = 1,    ///< only the master sends by itself
  kNotPolled = 2,  ///< another is master, and doesn't poll the device
};

/// A slave answers the poll of the device whose frame CP_SetPollResponse is. To become master a
/// start of communication waits for the poll of the device that CP_BecomeMaster names, and answers
/// it; or for silence, when nobody is master. Frames with a wrong checksum are dropped, unless
/// CP_J2740IgnoreMsgContent is set.
class GmUartProtocol : public SerialProtocol {
 public:
  GmUartProtocol(const LinkContext& link, GmUartLine& line) : SerialProtocol(link, line) {}

  void GoOffline() override;
  void ParamsChanged(const ComParamSet& params) override;
  void StopSending() override;
  void StartCommunication(const Cop& cop) override;

 private:
  struct Settings {
    SerialFormat format;
    UNUM32 becomeMaster = 0;
    Bytes pollResponse;
    bool ignoreContent = false;
    Micros p1Max = 0;
    Micros p3Min = 0;
  };
  static Settings Read(const ComParamSet& params);

  // MessageProtocol
  bool IsMessage(std::span<const UNUM8> bytes) const override;
  void BeginSending(const ComParamSet& params) override { sendSettings_ = Read(params); }
  void SendMessage(const Bytes& message) override;
  // SerialProtocol
  const SerialFormat& Format() const override { return settings_.format; }
  Micros LongestPause() const override { return settings_.p1Max; }
  bool IsComplete(const Bytes& bytes) const override;
  void MessageHeard(const Bytes& bytes, FrameTimes times) override;

  void Polled(std::uint8_t device);
  void AwaitPoll();
  void BecomeMaster();
  void NotPolled();

  Settings settings_;
  Settings sendSettings_;  ///< those of the ComPrimitive at work
  bool isMaster_ = false;
  bool awaitsPoll_ = false;
  bool heardOthers_ = false;  ///< while it waits
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_GM_UART_PROTOCOL_H_
