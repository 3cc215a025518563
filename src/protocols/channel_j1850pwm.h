#ifndef PASSBRIDGE_PROTOCOLS_CHANNEL_J1850PWM_H_
#define PASSBRIDGE_PROTOCOLS_CHANNEL_J1850PWM_H_

#include "channel/channel.h"

namespace passbridge {

/// SAE J1850 with pulse width modulation. A message is for this tester if it goes to its node
/// address or to a functional address of the look-up table, which the ioctls change; the link
/// filters by the table, and answers within frames as it demands. Table ioctls wait for the link up
/// to 2 s, and what they changed stays so if a later step fails.
class CJ2534Channel_J1850PWM : public CJ2534Channel {
 public:
  /// Periodic messages run on a second link, so that they do not delay the application's traffic.
  Status PassThruStartPeriodicMsg(const AppMessage& msg, const AppValue& msgId,
                                  std::uint32_t interval) override;
  Status PassThruIoctl_CLEAR_FUNCT_MSG_LOOKUP_TABLE() override;
  /// `input` is an SBYTE_ARRAY of addresses, here and in the next one.
  Status PassThruIoctl_ADD_TO_FUNCT_MSG_LOOKUP_TABLE(const AppPointer& input) override;
  Status PassThruIoctl_DELETE_FROM_FUNCT_MSG_LOOKUP_TABLE(const AppPointer& input) override;
  /// `input` is an `unsigned long`, whose meaning is the D-PDU library's.
  Status PassThruIoctl_J1850PWM_TERMINATION(const AppPointer& input) override;
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                         std::uint32_t rxStatus) override;
  /// Refuses what is neither for this tester nor its own, on the event thread.
  Status ValidateMessageRead(std::uint32_t dataSize, const std::uint8_t* data,
                             std::uint32_t rxStatus) override;
  /// Refuses what does not name the node address as its source.
  Status ValidateMessageWrite(std::uint32_t dataSize, const std::uint8_t* data,
                              std::uint32_t rxStatus) override;
  Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) override;
  Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) override;
  Status SetProtocolConnectionComParameters() override;

 private:
  /// What a message is compared with; its data must be there.
  Status GetNodeAddress(const Exits& exit, const std::uint8_t* data, std::uint32_t& address) const;
  bool IsForThisTester(std::uint32_t nodeAddress, std::uint32_t dataSize, const std::uint8_t* data,
                       std::uint32_t rxStatus);
  /// Has the link answer within frames, from now on; reports at `point` and the next exit.
  Status CommitResponseControl(const Exits& exit, std::uint16_t point, UNUM32 control);
  /// Has the link filter by the table as it is now.
  Status DownloadTable(const Exits& exit, std::uint16_t point, const char* failure) const;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_CHANNEL_J1850PWM_H_
