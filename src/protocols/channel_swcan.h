#ifndef PASSBRIDGE_PROTOCOLS_CHANNEL_SWCAN_H_
#define PASSBRIDGE_PROTOCOLS_CHANNEL_SWCAN_H_

#include "protocols/channel_can.h"
#include "protocols/single_wire_can.h"

namespace passbridge {

/// Raw frames on a single wire.
class CJ2534Channel_SWCAN : public SingleWireCan<CJ2534Channel_CAN> {
 public:
  CJ2534Channel_SWCAN();

  /// Periodic messages run on a second link, so that they do not delay the application's traffic.
  Status PassThruStartPeriodicMsg(const AppMessage& msg, const AppValue& msgId,
                                  std::uint32_t interval) override;
  /// Indications have any size, frames that of CAN.
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                         std::uint32_t rxStatus) override;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_CHANNEL_SWCAN_H_
