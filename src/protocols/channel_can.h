#ifndef PASSBRIDGE_PROTOCOLS_CHANNEL_CAN_H_
#define PASSBRIDGE_PROTOCOLS_CHANNEL_CAN_H_

#include <array>

#include "channel/channel.h"

namespace passbridge {

/// Raw CAN: messages are single frames, the identifier first.
class CJ2534Channel_CAN : public CJ2534Channel {
 public:
  /// Periodic messages run on a second link, so that they do not delay the application's traffic.
  Status PassThruStartPeriodicMsg(const AppMessage& msg, const AppValue& msgId,
                                  std::uint32_t interval) override;
  Status AdjustCop(const AppMessage& msg, CopData& data, CopControl& control) override;
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                         std::uint32_t rxStatus) override;
  Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) override;
  Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) override;
  Status SetProtocolConnectionComParameters() override;

 protected:
  std::array<ComParamSetting, 5> ConnectionComParams() const;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_CHANNEL_CAN_H_
