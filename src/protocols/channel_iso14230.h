#ifndef PASSBRIDGE_PROTOCOLS_CHANNEL_ISO14230_H_
#define PASSBRIDGE_PROTOCOLS_CHANNEL_ISO14230_H_

#include <span>
#include <vector>

#include "channel/channel.h"
#include "protocols/start_comm_result.h"

namespace passbridge {

/// ISO 14230 on the K line. An initialisation ioctl starts the communication and gives the ECU's
/// answer; checksums are made and checked here, unless the application wants to do that.
class CJ2534Channel_ISO14230 : public CJ2534Channel {
 public:
  Status AddResultData(pdu::SharedEventItem item) override;
  /// Five-baud initialisation, within 5 s: `input` is the ECU's address, one byte; `output` gets
  /// the number of bytes that came back, and as many of them as it has room for, two at least.
  Status PassThruIoctl_FIVE_BAUD_INIT(const AppPointer& input, const AppPointer& output) override;
  /// Fast initialisation, within 5 s: `input` is the request, `output` gets the response; without
  /// one none is waited for.
  Status PassThruIoctl_FAST_INIT(const AppPointer& input, const AppPointer& output) override;
  Status AdjustCop(const AppMessage& msg, CopData& data, CopControl& control) override;
  Status GetPduPinData(std::vector<PDU_PIN_DATA>& pins) override;
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                         std::uint32_t rxStatus) override;
  Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) override;
  Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) override;
  Status SetProtocolConnectionComParameters() override;

 protected:
  bool HasChecksums() const;
  /// Sets ComParams in order; afterwards the link must be able to tell CP_P2Max.
  Status SetComParamsOfKLine(const Exits& exit, std::span<const ComParamSetting> settings);

 private:
  /// Whether a result belongs to the start of communication, which keeps it then.
  bool TakeAnswer(const PDU_EVENT_ITEM& item, std::span<const std::uint8_t> data);

  StartCommResult answer_;
};

class CJ2534Channel_ISO9141 : public CJ2534Channel_ISO14230 {
 public:
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                         std::uint32_t rxStatus) override;
  Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) override;
  Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) override;
};

/// A maker's UART protocol, initialised like ISO 14230, without an L line.
class CJ2534Channel_UBP : public CJ2534Channel_ISO14230 {
 public:
  Status ValidateMessage(std::uint32_t dataSize, const std::uint8_t* data,
                         std::uint32_t rxStatus) override;
  Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) override;
  Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) override;
  Status SetProtocolConnectionComParameters() override;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_CHANNEL_ISO14230_H_
