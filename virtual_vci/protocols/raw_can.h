/// \file
/// Raw CAN: a message is a frame, four identifier bytes and the data.
#ifndef VIRTUAL_VCI_PROTOCOLS_RAW_CAN_H_
#define VIRTUAL_VCI_PROTOCOLS_RAW_CAN_H_

#include <span>

#include "virtual_vci/protocols/can_protocol.h"

namespace virtual_vci {

class RawCan : public CanProtocol {
 public:
  RawCan(const LinkContext& link, CanBus& bus);

 private:
  bool IsMessage(const Cop& cop, std::span<const UNUM8> bytes) const override;
  Form FormOf(const Cop& cop) const override;
  void BeginSending(const Cop&) override {}
  void SendMessage(const Cop& cop, std::span<const UNUM8> bytes) override;
  void FrameSent(bool acknowledged, FrameTimes times) override;
  void Heard(const CanFrame& frame, FrameTimes times) override;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_RAW_CAN_H_
