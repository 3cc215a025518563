#ifndef PASSBRIDGE_PROTOCOLS_CHANNEL_J1850VPW_H_
#define PASSBRIDGE_PROTOCOLS_CHANNEL_J1850VPW_H_

#include <vector>

#include "channel/channel.h"

namespace passbridge {

/// SAE J1850 with variable pulse width, on one wire. Nothing answers within a frame.
class CJ2534Channel_J1850VPW : public CJ2534Channel {
 public:
  Status GetPduPinData(std::vector<PDU_PIN_DATA>& pins) override;
  /// A break is always valid; other messages have a byte or more.
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                         std::uint32_t rxStatus) override;
  Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) override;
  Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) override;
  Status SetProtocolConnectionComParameters() override;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_CHANNEL_J1850VPW_H_
