#include "protocols/channel_can.h"

#include "protocols/can_common.h"
#include "protocols/message_sizes.h"
#include "protocols/resource_names.h"
#include "trace/methods.h"

namespace passbridge {

Status CJ2534Channel_CAN::GetPduResourceBusTypeId(PDU_RSC_DATA* resource) {
  return LookUpBusType(methods::channel_can::kGetPduResourceBusTypeId, ProtocolId(), resource);
}

Status CJ2534Channel_CAN::GetPduResourceProtocolId(PDU_RSC_DATA* resource) {
  return LookUpProtocol(methods::channel_can::kGetPduResourceProtocolId, ProtocolId(), resource);
}

std::array<ComParamSetting, 5> CJ2534Channel_CAN::ConnectionComParams() const {
  using pdu::ComParam;
  return {{
      {ComParam::CP_CanFillerByteHandling, 0, "Error setting CP_CAN_FILLER_BYTE_HANDLING."},
      {ComParam::CP_CanFillerByte, 0, "Error setting CP_CAN_FILLER_BYTE."},
      {ComParam::CP_CanFuncReqFormat, CanFuncReqFormat(ConnectFlags()),
       "Error setting CP_CAN_FUNC_REQ_FORMAT."},
      {ComParam::CP_P3Func, 0, "Error setting CP_P3_FUNC."},
      {ComParam::CP_P3Phys, 0, "Error setting CP_P3_PHYS."},
  }};
}

Status CJ2534Channel_CAN::SetProtocolConnectionComParameters() {
  return Traced(
      methods::channel_can::kSetProtocolConnectionComParameters,
      [&](Exits& exit) -> Status { return exit.Ended(SetComParams(exit, ConnectionComParams())); });
}

Status CJ2534Channel_CAN::AdjustCop(const AppMessage& msg, CopData& /*data*/, CopControl& control) {
  return Traced(methods::channel_can::kAdjustCop, [&](Exits& exit) -> Status {
    AddCanFlags(control.txFlags, msg.TxFlags());
    return exit.Normal();
  });
}

Status CJ2534Channel_CAN::ValidateMessage(std::uint32_t dataSize, const std::uint8_t* /*data*/,
                                          std::uint32_t rxStatus) {
  return Traced(methods::channel_can::kValidateMessage, [&](Exits& exit) -> Status {
    return CheckSize(*this, exit, {kCanIdSize, kMaxCanMessage}, dataSize, rxStatus);
  });
}

Status CJ2534Channel_CAN::PassThruStartPeriodicMsg(const AppMessage& msg, const AppValue& msgId,
                                                   std::uint32_t interval) {
  constexpr PeriodicChannelPlan kPlan{[] { return OwnedChannel(new CJ2534Channel_CAN); },
                                      kTakenOverOnCan};
  return Traced(methods::channel_can::kPassThruStartPeriodicMsg, [&](Exits& exit) -> Status {
    return StartOnPeriodicChannel(exit, kPlan, msg, msgId, interval);
  });
}

}  // namespace passbridge
