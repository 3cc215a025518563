#include "protocols/channel_gm_uart.h"

#include <array>
#include <numeric>
#include <span>

#include "platform/memory_probe.h"
#include "protocols/message_sizes.h"
#include "protocols/resource_names.h"
#include "protocols/single_wire.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr MessageSizes kGmUartSizes{3, 170};

constexpr std::size_t kLengthByte = 1;
constexpr std::uint32_t kLengthOffset = 0x52;  // above the length of the frame, with its checksum

constexpr const char* kNoGmUartPins = "Error getting J1962 Pins value to use.";
constexpr const char* kBecomeMasterFailure = "Error setting CP_BECOME_MASTER.";
constexpr const char* kPollResponseFailure = "Error setting CP_SET_POLL_RESPONSE.";

/// What makes the sum of all bytes of a frame 0.
std::uint8_t GmUartChecksum(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint8_t>(0U - std::accumulate(bytes.begin(), bytes.end(), 0U));
}

}  // namespace

Status CJ2534Channel_GMUART::GetPduResourceBusTypeId(PDU_RSC_DATA* resource) {
  return LookUpBusType(methods::channel_gm_uart::kGetPduResourceBusTypeId, ProtocolId(), resource);
}

Status CJ2534Channel_GMUART::GetPduResourceProtocolId(PDU_RSC_DATA* resource) {
  return LookUpProtocol(methods::channel_gm_uart::kGetPduResourceProtocolId, ProtocolId(),
                        resource);
}

Status CJ2534Channel_GMUART::SetProtocolConnectionComParameters() {
  return Traced(
      methods::channel_gm_uart::kSetProtocolConnectionComParameters, [&](Exits& exit) -> Status {
        using pdu::ComParam;
        return exit.Ended(SetComParams(
            exit,
            std::array<ComParamSetting, 2>{
                {{ComParam::CP_BecomeMaster, 0, kBecomeMasterFailure},
                 {ComParam::CP_SetPollResponse, std::span<const UNUM8>(), kPollResponseFailure}}}));
      });
}

Status CJ2534Channel_GMUART::GetPduPinData(std::vector<PDU_PIN_DATA>& pins) {
  return Traced(methods::channel_gm_uart::kGetPduPinData, [&](Exits& exit) -> Status {
    pins.assign(1, SingleWirePin(J1962Pins()));
    return exit.Normal();
  });
}

Status CJ2534Channel_GMUART::ValidateMessage(std::uint32_t dataSize, const std::uint8_t* /*data*/,
                                             std::uint32_t rxStatus) {
  return Traced(methods::channel_gm_uart::kValidateMessage, [&](Exits& exit) -> Status {
    return CheckSize(*this, exit, kGmUartSizes, dataSize, rxStatus);
  });
}

Status CJ2534Channel_GMUART::PerformProtocolAdjustments(const AppMessage& msg) {
  return Traced(methods::channel_gm_uart::kAppendChecksum, [&](Exits& exit) -> Status {
    const std::span<const std::uint8_t> bytes = msg.Bytes();
    // A length byte that is too small tells of no length that could be complete.
    const std::uint32_t frameLength = msg.Data()[kLengthByte] - kLengthOffset;
    if (frameLength <= bytes.size() || bytes.size() == kMaxMessageData) return exit.Normal();
    if (!platform::IsWritable(msg.Address(), msg.Size())) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL Message Pointer.");
    }
    msg.Data()[bytes.size()] = GmUartChecksum(bytes);
    const auto size = static_cast<std::uint32_t>(bytes.size() + 1);
    msg.SetDataSize(size);
    msg.SetExtraDataIndex(size);
    return exit.Normal();
  });
}

Status CJ2534Channel_GMUART::PerformProtocolAdjustments(CJ2534PassThruMsg* msg) {
  return Traced(methods::channel_gm_uart::kDropChecksum, [&](Exits& exit) -> Status {
    if (msg == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL CJ2534PassThruMsg pointer.");
    }
    const std::uint32_t size = msg->GetDataSize();
    if (size == 0) return exit.Normal();
    msg->SetDataSize(size - 1);
    msg->SetExtraDataIndex(size - 1);
    return exit.Normal();
  });
}

Status CJ2534Channel_GMUART::PassThruIoctl_SET_POLL_RESPONSE(const AppPointer& input) {
  return Traced(
      methods::channel_gm_uart::kPassThruIoctlSetPollResponse, [&](Exits& exit) -> Status {
        if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, kNoGmUartPins);
        if (!platform::IsReadable(input.address, AppByteArray::kSize)) {
          return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Input pointer.");
        }
        const AppByteArray response(input);
        const std::uint32_t count = response.Count();
        const std::uint8_t* const bytes = response.Bytes();
        if (const Status status =
                SetPduComParam(pdu::ComParamId(pdu::ComParam::CP_SetPollResponse),
                               platform::IsReadable(bytes, count) ? bytes : nullptr, count)) {
          return exit.PassOn(3, status, kPollResponseFailure);
        }
        return exit.Normal();
      });
}

Status CJ2534Channel_GMUART::PassThruIoctl_BECOME_MASTER(const AppPointer& input) {
  return Traced(methods::channel_gm_uart::kPassThruIoctlBecomeMaster, [&](Exits& exit) -> Status {
    if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, kNoGmUartPins);
    if (!platform::IsReadable(input.address, 1)) {
      return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Input pointer.");
    }
    const UNUM32 master = *static_cast<const std::uint8_t*>(input.address);
    if (const Status status =
            SetAndCommit(exit, 3, {pdu::ComParam::CP_BecomeMaster, master, kBecomeMasterFailure},
                         "Error updating ComParameters.")) {
      return status;
    }
    if (const Status status = SendStartComComPrimitive(AppMessage(), false)) {
      return exit.PassOn(5, status, "Error starting communication.");
    }
    return exit.Normal();
  });
}

}  // namespace passbridge
