/// \file
/// J1850 on a link: messages are header and data; the CRC is made and checked here.
#ifndef VIRTUAL_VCI_PROTOCOLS_J1850_PROTOCOL_H_
#define VIRTUAL_VCI_PROTOCOLS_J1850_PROTOCOL_H_

#include "virtual_vci/protocols/message_protocol.h"
#include "virtual_vci/vehicle/j1850_bus.h"

namespace virtual_vci {

/// Frames with a wrong CRC are dropped, as interfaces do. CP_J1850IFRCtrl says what the link
/// acknowledges on PWM: 0 nothing, 1 what is addressed to its node address
/// (CP_TesterSourceAddress), 2 also what else its filters let pass, such as functional messages.
class J1850Protocol : public MessageProtocol, private J1850Node {
 public:
  J1850Protocol(const LinkContext& link, J1850Bus& bus) : MessageProtocol(link), bus_(bus) {}
  ~J1850Protocol() override;
  J1850Protocol(const J1850Protocol&) = delete;
  J1850Protocol& operator=(const J1850Protocol&) = delete;

  void GoOnline(const ComParamSet& params) override;
  void GoOffline() override;
  void ParamsChanged(const ComParamSet& params) override;
  T_PDU_ERROR IoControl(IoCtl command, const PDU_DATA_ITEM* input, ItemPtr& output) override;

 private:
  // MessageProtocol
  bool IsMessage(std::span<const UNUM8> bytes) const override { return bus_.Carries(bytes.size()); }
  void BeginSending(const ComParamSet&) override {}
  void SendMessage(const Bytes& message) override;
  void AbortMessage() override;
  // J1850Node
  void Heard(const J1850Frame& frame, FrameTimes times) override;
  void Sent(std::uint64_t token, const J1850Frame& frame, bool acknowledged,
            FrameTimes times) override;
  std::uint32_t BitRate() const override { return bitRate_; }
  bool Acknowledges(const J1850Frame& frame) const override;
  bool Terminates() const override { return terminates_; }
  unsigned Wires() const override { return wires_; }

  J1850Bus& bus_;
  bool online_ = false;
  std::uint32_t bitRate_ = 0;
  UNUM32 nodeAddress_ = 0;
  UNUM32 inFrameResponse_ = 0;
  bool terminates_ = false;
  unsigned wires_ = kAllWires;
  std::uint64_t token_ = 0;  ///< of the last message sent
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_J1850_PROTOCOL_H_
