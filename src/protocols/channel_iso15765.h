#ifndef PASSBRIDGE_PROTOCOLS_CHANNEL_ISO15765_H_
#define PASSBRIDGE_PROTOCOLS_CHANNEL_ISO15765_H_

#include <array>

#include "channel/channel.h"
#include "protocols/message_sizes.h"

namespace passbridge {

/// ISO 15765-2: messages of up to 4095 bytes behind their identifier (and address byte), which the
/// D-PDU library carries in CAN frames.
class CJ2534Channel_ISO15765 : public CJ2534Channel {
 public:
  /// Periodic messages run on a second link, so that they do not delay the application's traffic.
  Status PassThruStartPeriodicMsg(const AppMessage& msg, const AppValue& msgId,
                                  std::uint32_t interval) override;
  Status AdjustCop(const AppMessage& msg, CopData& data, CopControl& control) override;
  /// Indications carry an address only; messages have one byte to 4095 behind it.
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                         std::uint32_t rxStatus) override;
  /// A message of more than one frame needs a flow-control filter.
  Status ValidateMessageWrite(std::uint32_t dataSize, const std::uint8_t* data,
                              std::uint32_t rxStatus) override;
  Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) override;
  Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) override;
  Status SetProtocolConnectionComParameters() override;

 protected:
  std::array<ComParamSetting, 9> ConnectionComParams() const;
  MessageSizes Sizes() const;
};

/// The maker's variant, with time-outs of its own and consecutive frames that begin with number 0.
class CJ2534Channel_07274 : public CJ2534Channel_ISO15765 {
 public:
  Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) override;
  Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) override;
  Status SetProtocolConnectionComParameters() override;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_CHANNEL_ISO15765_H_
