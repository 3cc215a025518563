#include "protocols/channel_j1850vpw.h"

#include <array>

#include "protocols/message_sizes.h"
#include "protocols/resource_names.h"
#include "protocols/single_wire.h"
#include "trace/methods.h"

namespace passbridge {

Status CJ2534Channel_J1850VPW::GetPduResourceBusTypeId(PDU_RSC_DATA* resource) {
  return LookUpBusType(methods::channel_j1850vpw::kGetPduResourceBusTypeId, ProtocolId(), resource);
}

Status CJ2534Channel_J1850VPW::GetPduResourceProtocolId(PDU_RSC_DATA* resource) {
  return LookUpProtocol(methods::channel_j1850vpw::kGetPduResourceProtocolId, ProtocolId(),
                        resource);
}

Status CJ2534Channel_J1850VPW::SetProtocolConnectionComParameters() {
  return Traced(
      methods::channel_j1850vpw::kSetProtocolConnectionComParameters, [&](Exits& exit) -> Status {
        return exit.Ended(SetComParams(
            exit, std::array<ComParamSetting, 1>{
                      {{pdu::ComParam::CP_J1850IFRCtrl, 0, "Error setting CP_J1850_IFR_CTRL."}}}));
      });
}

Status CJ2534Channel_J1850VPW::GetPduPinData(std::vector<PDU_PIN_DATA>& pins) {
  return Traced(methods::channel_j1850vpw::kGetPduPinData, [&](Exits& exit) -> Status {
    pins.assign(1, SingleWirePin(J1962Pins()));
    return exit.Normal();
  });
}

Status CJ2534Channel_J1850VPW::ValidateMessage(std::uint32_t dataSize, const std::uint8_t* /*data*/,
                                               std::uint32_t rxStatus) {
  return Traced(methods::channel_j1850vpw::kValidateMessage, [&](Exits& exit) -> Status {
    return CheckSize(*this, exit, {1, kMaxMessageData, RX_BREAK}, dataSize, rxStatus);
  });
}

}  // namespace passbridge
