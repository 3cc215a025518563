#ifndef PASSBRIDGE_PROTOCOLS_CHANNEL_SWISO15765_H_
#define PASSBRIDGE_PROTOCOLS_CHANNEL_SWISO15765_H_

#include "protocols/channel_iso15765.h"
#include "protocols/single_wire_can.h"

namespace passbridge {

/// ISO 15765 on a single wire.
class CJ2534Channel_SWISO15765 : public SingleWireCan<CJ2534Channel_ISO15765> {
 public:
  CJ2534Channel_SWISO15765();

  /// Periodic messages run on a second link, so that they do not delay the application's traffic.
  Status PassThruStartPeriodicMsg(const AppMessage& msg, const AppValue& msgId,
                                  std::uint32_t interval) override;
  /// Indications have any size, messages that of ISO 15765.
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                         std::uint32_t rxStatus) override;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_CHANNEL_SWISO15765_H_
