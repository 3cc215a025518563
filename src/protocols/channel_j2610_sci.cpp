#include "protocols/channel_j2610_sci.h"

#include "pdu/flag_bytes.h"
#include "protocols/message_sizes.h"
#include "protocols/resource_names.h"
#include "trace/methods.h"

namespace passbridge {

Status CJ2534Channel_J2610SCI::GetPduResourceBusTypeId(PDU_RSC_DATA* resource) {
  return LookUpBusType(methods::channel_j2610_sci::kGetPduResourceBusTypeId, ProtocolId(),
                       resource);
}

Status CJ2534Channel_J2610SCI::GetPduResourceProtocolId(PDU_RSC_DATA* resource) {
  return LookUpProtocol(methods::channel_j2610_sci::kGetPduResourceProtocolId, ProtocolId(),
                        resource);
}

Status CJ2534Channel_J2610SCI::SetProtocolConnectionComParameters() {
  return Traced(methods::channel_j2610_sci::kSetProtocolConnectionComParameters,
                [](Exits& exit) -> Status { return exit.Normal(); });
}

Status CJ2534Channel_J2610SCI::AdjustCop(const AppMessage& msg, CopData& /*data*/,
                                         CopControl& control) {
  return Traced(methods::channel_j2610_sci::kAdjustCop, [&](Exits& exit) -> Status {
    pdu::SetFlags(control.txFlags, msg.TxFlags() & (SCI_TX_VOLTAGE | SCI_MODE));
    return exit.Normal();
  });
}

Status CJ2534Channel_J2610SCI::ValidateMessage(std::uint32_t dataSize, const std::uint8_t* /*data*/,
                                               std::uint32_t rxStatus) {
  return Traced(methods::channel_j2610_sci::kValidateMessage, [&](Exits& exit) -> Status {
    return CheckSize(*this, exit, {1, kMaxMessageData, RX_BREAK}, dataSize, rxStatus);
  });
}

}  // namespace passbridge
