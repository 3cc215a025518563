#include "protocols/channel_iso15765.h"

#include <algorithm>
#include <vector>

#include "protocols/can_common.h"
#include "protocols/message_sizes.h"
#include "protocols/resource_names.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr std::uint32_t kMaxIso15765Message = kCanIdSize + 4095;

}  // namespace

Status CJ2534Channel_ISO15765::GetPduResourceBusTypeId(PDU_RSC_DATA* resource) {
  return LookUpBusType(methods::channel_iso15765::kGetPduResourceBusTypeId, ProtocolId(), resource);
}

Status CJ2534Channel_ISO15765::GetPduResourceProtocolId(PDU_RSC_DATA* resource) {
  return LookUpProtocol(methods::channel_iso15765::kGetPduResourceProtocolId, ProtocolId(),
                        resource);
}

std::array<ComParamSetting, 9> CJ2534Channel_ISO15765::ConnectionComParams() const {
  using pdu::ComParam;
  return {{
      {ComParam::CP_TransmitIndEnable, 1, "Error setting CP_TRANSMIT_IND_ENABLE."},
      {ComParam::CP_CanFillerByteHandling, 0, "Error setting CP_CAN_FILLER_BYTE_HANDLING."},
      {ComParam::CP_CanFillerByte, 0, "Error setting CP_CAN_FILLER_BYTE."},
      {ComParam::CP_CanFuncReqFormat, CanFuncReqFormat(ConnectFlags()),
       "Error setting CP_CAN_FUNC_REQ_FORMAT."},
      {ComParam::CP_StartMsgIndEnable, 1, "Error setting CP_START_MSG_IND_ENABLE."},
      {ComParam::CP_P3Func, 0, "Error setting CP_P3_FUNC."},
      {ComParam::CP_P3Phys, 0, "Error setting CP_P3_PHYS."},
      {ComParam::CP_Br, 1, "Error setting CP_BR."},
      {ComParam::CP_Cs, 0, "Error setting CP_CS."},
  }};
}

Status CJ2534Channel_ISO15765::SetProtocolConnectionComParameters() {
  return Traced(
      methods::channel_iso15765::kSetProtocolConnectionComParameters,
      [&](Exits& exit) -> Status { return exit.Ended(SetComParams(exit, ConnectionComParams())); });
}

Status CJ2534Channel_ISO15765::AdjustCop(const AppMessage& msg, CopData& /*data*/,
                                         CopControl& control) {
  return Traced(methods::channel_iso15765::kAdjustCop, [&](Exits& exit) -> Status {
    control.txFlags[0] = kIso15765CopFlags;
    AddCanFlags(control.txFlags, msg.TxFlags());
    return exit.Normal();
  });
}

MessageSizes CJ2534Channel_ISO15765::Sizes() const {
  const std::uint32_t addressByte = (ConnectFlags() & CAN_ID_BOTH) != 0 ? 1 : 0;
  return {kCanIdSize + addressByte, kMaxIso15765Message + addressByte, START_OF_MESSAGE | TX_DONE};
}

Status CJ2534Channel_ISO15765::ValidateMessage(std::uint32_t dataSize, const std::uint8_t* /*data*/,
                                               std::uint32_t rxStatus) {
  return Traced(methods::channel_iso15765::kValidateMessage, [&](Exits& exit) -> Status {
    return CheckSize(*this, exit, Sizes(), dataSize, rxStatus);
  });
}

Status CJ2534Channel_ISO15765::ValidateMessageWrite(std::uint32_t dataSize,
                                                    const std::uint8_t* data,
                                                    std::uint32_t rxStatus) {
  return Traced(methods::channel_iso15765::kValidateMessageWrite, [&](Exits& exit) -> Status {
    if (dataSize > kMaxCanMessage) {
      const auto filters = Filters();
      if (filters == nullptr ||
          !filters->HasFlowControlFor({data, std::min(dataSize, kMaxMessageData)})) {
        return exit.PassOn(1, ERR_NO_FLOW_CONTROL, "No FlowControl Filter.");
      }
    }
    return ValidateMessage(dataSize, data, rxStatus);
  });
}

Status CJ2534Channel_ISO15765::PassThruStartPeriodicMsg(const AppMessage& msg,
                                                        const AppValue& msgId,
                                                        std::uint32_t interval) {
  constexpr PeriodicChannelPlan kPlan{[] { return OwnedChannel(new CJ2534Channel_ISO15765); },
                                      kTakenOverOnCan};
  return Traced(methods::channel_iso15765::kPassThruStartPeriodicMsg, [&](Exits& exit) -> Status {
    return StartOnPeriodicChannel(exit, kPlan, msg, msgId, interval);
  });
}

Status CJ2534Channel_07274::GetPduResourceBusTypeId(PDU_RSC_DATA* resource) {
  return LookUpBusType(methods::channel_07274::kGetPduResourceBusTypeId, ProtocolId(), resource);
}

Status CJ2534Channel_07274::GetPduResourceProtocolId(PDU_RSC_DATA* resource) {
  return LookUpProtocol(methods::channel_07274::kGetPduResourceProtocolId, ProtocolId(), resource);
}

Status CJ2534Channel_07274::SetProtocolConnectionComParameters() {
  return Traced(methods::channel_07274::kSetProtocolConnectionComParameters,
                [&](Exits& exit) -> Status {
                  using pdu::ComParam;
                  std::vector<ComParamSetting> settings{
                      {ComParam::CP_Bs, 250000, "Error setting CP_BS."},
                      {ComParam::CP_Cr, 30000, "Error setting CP_CR."},
                      {ComParam::CP_CanFirstConsecutiveFrameValue, 0,
                       "Error setting CP_CAN_FIRST_FRAME_VALUE."},
                  };
                  const auto common = ConnectionComParams();
                  settings.insert(settings.end(), common.begin(), common.end());
                  return exit.Ended(SetComParams(exit, settings));
                });
}

}  // namespace passbridge
