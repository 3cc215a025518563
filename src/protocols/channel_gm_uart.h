#ifndef PASSBRIDGE_PROTOCOLS_CHANNEL_GM_UART_H_
#define PASSBRIDGE_PROTOCOLS_CHANNEL_GM_UART_H_

#include <vector>

#include "channel/channel.h"

namespace passbridge {

/// SAE J2740, a bus of one wire whose master polls. The tester is a slave until the application
/// makes it the master. Frames end in a checksum, which is appended to what is sent unless it is
/// there, and taken off what is received.
class CJ2534Channel_GMUART : public CJ2534Channel {
 public:
  /// `input` is an SBYTE_ARRAY: what the tester answers to a poll, none if it is empty. In force
  /// from the next update of ComParams.
  Status PassThruIoctl_SET_POLL_RESPONSE(const AppPointer& input) override;
  /// `input` is a byte, whose meaning is the D-PDU library's. Starts communication; blocks for up
  /// to 7 s.
  Status PassThruIoctl_BECOME_MASTER(const AppPointer& input) override;
  Status GetPduPinData(std::vector<PDU_PIN_DATA>& pins) override;
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                         std::uint32_t rxStatus) override;
  Status PerformProtocolAdjustments(CJ2534PassThruMsg* msg) override;
  /// Appends to the application's own message.
  Status PerformProtocolAdjustments(const AppMessage& msg) override;
  Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) override;
  Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) override;
  Status SetProtocolConnectionComParameters() override;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_CHANNEL_GM_UART_H_
