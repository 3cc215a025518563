/// \file
/// Raw CAN: a message is a frame, four identifier bytes and the data.
#ifndef VIRTUAL_VCI_PROTOCOLS_RAW_CAN_H_
#define VIRTUAL_VCI_PROTOCOLS_RAW_CAN_H_

#include <optional>
#include <span>

#include "virtual_vci/protocols/can_protocol.h"

namespace virtual_vci {

class RawCan : public CanProtocol {
 public:
  RawCan(const LinkContext& link, CanBus& bus);

 private:
  bool IsMessage(const FlagBytes& flags, std::span<const UNUM8> bytes) const override;
  Form FormOf(const FlagBytes& flags) const override;
  void BeginSending(const FlagBytes& flags, const ComParamSet& params) override;
  void SendMessage(const FlagBytes& flags, std::span<const UNUM8> bytes) override;
  void FrameSent(bool acknowledged, FrameTimes times) override;
  void Heard(const CanFrame& frame, FrameTimes times) override;

  std::optional<std::uint8_t> filler_;  ///< of the ComPrimitive being sent
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_RAW_CAN_H_
