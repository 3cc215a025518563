#ifndef PASSBRIDGE_PROTOCOLS_CHANNEL_J2610_SCI_H_
#define PASSBRIDGE_PROTOCOLS_CHANNEL_J2610_SCI_H_

#include "channel/channel.h"

namespace passbridge {

/// SAE J2610, a serial interface in four configurations of pins. A message says in its transmit
/// flags how it is sent: full duplex or half, with a programming voltage or without.
class CJ2534Channel_J2610SCI : public CJ2534Channel {
 public:
  Status AdjustCop(const AppMessage& msg, CopData& data, CopControl& control) override;
  /// A break is always valid; other messages have a byte or more.
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                         std::uint32_t rxStatus) override;
  Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) override;
  Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) override;
  /// There are none but those of every protocol.
  Status SetProtocolConnectionComParameters() override;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_CHANNEL_J2610_SCI_H_
