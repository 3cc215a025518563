/// \file
/// SCI (SAE J2610) on a link: messages are the bytes on the line, without echoes.
#ifndef VIRTUAL_VCI_PROTOCOLS_SCI_PROTOCOL_H_
#define VIRTUAL_VCI_PROTOCOLS_SCI_PROTOCOL_H_

#include <cstddef>

#include "virtual_vci/protocols/serial_protocol.h"
#include "virtual_vci/vehicle/sci_port.h"

namespace virtual_vci {

/// Why a message could not be sent: the extra information of its error item (PDU_ERR_EVT_TX_ERROR).
enum class SciSendError : UNUM32 {
  kNoEcho = 1,
  kWrongEcho = 2,
};

/// In half duplex each byte waits for its echo. The ECU has CP_T1Max for each byte, CP_T3Max for
/// its first answer, CP_T4Max for further ones.
class SciProtocol : public SerialProtocol {
 public:
  SciProtocol(const LinkContext& link, SciLine& line) : SerialProtocol(link, line), line_(line) {}

  void ParamsChanged(const ComParamSet& params) override { settings_ = Read(params); }
  ComParam ResponseTime(bool first) const override {
    return first ? ComParam::CP_T3Max : ComParam::CP_T4Max;
  }

 private:
  struct Settings {
    SerialFormat format;
    Micros t1Max = 0, t2Max = 0, t3Max = 0, t5Max = 0;
  };
  static Settings Read(const ComParamSet& params);

  // MessageProtocol
  void BeginSending(const ComParamSet& params) override { sendSettings_ = Read(params); }
  void SendMessage(const Bytes& message) override;
  void AbortMessage() override;
  // SerialProtocol
  const SerialFormat& Format() const override { return Current().format; }
  Micros LongestPause() const override { return settings_.t1Max; }
  bool TakeByte(std::uint8_t byte) override;
  // SerialNode
  void HeardPulse(FrameTimes low) override { Indicate(kRxBreak, low); }

  const Settings& Current() const { return IsWorking() ? sendSettings_ : settings_; }
  void BeginMessage();
  void SendByte();
  void AwaitEcho(FrameTimes times);
  void Fail(SciSendError error);

  SciLine& line_;
  Settings settings_;
  Settings sendSettings_;  ///< those of the ComPrimitive at work
  Bytes message_;
  std::size_t next_ = 0;
  Micros begun_ = 0;
  bool awaitsEcho_ = false;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_SCI_PROTOCOL_H_
