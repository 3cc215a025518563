#include "protocols/channel_iso14230.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>

#include "platform/memory_probe.h"
#include "protocols/message_sizes.h"
#include "protocols/resource_names.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr std::uint32_t kMaxIso14230Message = 260;  // with its checksum
constexpr std::size_t kMinKeyBytes = 2;             // that an application has room for

// CP_InitializationSettings
constexpr UNUM32 kFiveBaudInit = 1;
constexpr UNUM32 kFastInit = 2;

constexpr const char* kNoCommit = "Error committing Parameter Values.";

constexpr MessageSizes SizesUpTo(std::uint32_t maximum) { return {1, maximum, START_OF_MESSAGE}; }

UNUM8 Checksum(std::span<const UNUM8> bytes) {
  return std::accumulate(bytes.begin(), bytes.end(), UNUM8{0},
                         [](UNUM8 sum, UNUM8 byte) { return static_cast<UNUM8>(sum + byte); });
}

/// Gives the application the number of key bytes, and as many of them as its array holds.
Status GiveKeyBytes(const Exits& exit, const AppByteArray& output,
                    std::span<const std::uint8_t> bytes) {
  const std::size_t room = std::max<std::size_t>(output.Count(), kMinKeyBytes);
  const std::size_t size = std::min(bytes.size(), room);
  if (!platform::IsWritable(output.Bytes(), size)) {
    return exit.Fail(3, ERR_NULL_PARAMETER, "NULL Output pointer.");
  }
  std::memcpy(output.Bytes(), bytes.data(), size);
  output.SetCount(static_cast<std::uint32_t>(bytes.size()));
  return exit.Normal();
}

void GiveMessage(const AppMessage& output, std::uint32_t protocolId,
                 const StartCommResult::Answer& answer) {
  const auto size = static_cast<std::uint32_t>(answer.size);
  output.SetProtocolId(protocolId);
  output.SetRxStatus(0);
  output.SetTxFlags(0);
  output.SetTimestamp(answer.timestamp);
  output.SetDataSize(size);
  output.SetExtraDataIndex(size);
  std::memcpy(output.Data(), answer.bytes.data(), size);
}

/// The message if it can be accessed; else it counts as not given.
template <typename Probe>
AppMessage Given(const AppPointer& pointer, Probe isAccessible) {
  const AppMessage message(pointer.address, pointer.width);
  return isAccessible(pointer.address, message.Size()) ? message : AppMessage();
}

}  // namespace

Status CJ2534Channel_ISO14230::GetPduResourceBusTypeId(PDU_RSC_DATA* resource) {
  return LookUpBusType(methods::channel_iso14230::kGetPduResourceBusTypeId, ProtocolId(), resource);
}

Status CJ2534Channel_ISO14230::GetPduResourceProtocolId(PDU_RSC_DATA* resource) {
  return LookUpProtocol(methods::channel_iso14230::kGetPduResourceProtocolId, ProtocolId(),
                        resource);
}

Status CJ2534Channel_ISO14230::SetProtocolConnectionComParameters() {
  return Traced(
      methods::channel_iso14230::kSetProtocolConnectionComParameters, [&](Exits& exit) -> Status {
        using pdu::ComParam;
        const UNUM32 withoutLLine = (ConnectFlags() & ISO9141_K_LINE_ONLY) != 0 ? 1 : 0;
        return SetComParamsOfKLine(
            exit, std::array<ComParamSetting, 4>{{
                      {ComParam::CP_K_L_LineInit, withoutLLine, "Error setting CP_K_L_LINE_INIT."},
                      {ComParam::CP_TesterPresentHandling, 0,
                       "Error setting CP_TESTER_PRESENT_HANDLING."},
                      {ComParam::CP_StartMsgIndEnable, 1, "Error setting CP_START_MSG_IND_ENABLE."},
                      {ComParam::CP_RequestAddrMode, 1, "Error setting CP_REQUEST_ADDR_MODE."},
                  }});
      });
}

Status CJ2534Channel_ISO14230::SetComParamsOfKLine(const Exits& exit,
                                                   std::span<const ComParamSetting> settings) {
  if (const Status status = SetComParams(exit, settings)) return status;
  const auto point = static_cast<std::uint16_t>(settings.size() + 1);
  return exit.Ended(ComParamCache::Require(exit, point, GetLink().Handles(),
                                           pdu::ComParamId(pdu::ComParam::CP_P2Max)));
}

Status CJ2534Channel_ISO14230::GetPduPinData(std::vector<PDU_PIN_DATA>& pins) {
  constexpr std::uint32_t kLLinePin = 0xFF;
  if ((ConnectFlags() & ISO9141_K_LINE_ONLY) != 0) SetJ1962Pins(J1962Pins() & ~kLLinePin);
  return CJ2534Channel::GetPduPinData(pins);
}

bool CJ2534Channel_ISO14230::HasChecksums() const {
  return (ConnectFlags() & ISO9141_NO_CHECKSUM) == 0;
}

Status CJ2534Channel_ISO14230::AdjustCop(const AppMessage& msg, CopData& data,
                                         CopControl& control) {
  return Traced(methods::channel_iso14230::kAdjustCop, [&](Exits& exit) -> Status {
    if (!msg) return exit.Fail(1, ERR_NULL_PARAMETER, "NULL Resource Data Pointer.");
    control.txFlags[2] = 0;
    pdu::SetFlags(control.txFlags, msg.TxFlags() & WAIT_P3_MIN_ONLY);
    if (HasChecksums() && !data.empty()) data.push_back(Checksum(data));
    return exit.Normal();
  });
}

bool CJ2534Channel_ISO14230::TakeAnswer(const PDU_EVENT_ITEM& item,
                                        std::span<const std::uint8_t> data) {
  {
    platform::MutexLock lock(GetLink().StartCommLock());
    if (item.hCop != GetLink().StartCommCop()) return false;
  }
  answer_.Set(data, item.Timestamp);
  return true;
}

Status CJ2534Channel_ISO14230::AddResultData(pdu::SharedEventItem item) {
  return Traced(methods::channel_iso14230::kAddResultData, [&](Exits& exit) -> Status {
    if (!item) return exit.PassOn(1, ERR_NULL_PARAMETER, "NULL Event Item pointer.");
    auto* const result = static_cast<PDU_RESULT_DATA*>(item->pData);
    if (result == nullptr) {
      return exit.PassOn(2, ERR_NULL_PARAMETER, "NULL Result Data Item pointer.");
    }
    if (result->NumDataBytes != 0 && result->pDataBytes == nullptr) {
      return exit.PassOn(3, ERR_NULL_PARAMETER,
                         "Non-zero num data bytes; and NULL Result Data Item data pointer.");
    }
    const std::span<const std::uint8_t> data(result->pDataBytes, result->NumDataBytes);
    if (TakeAnswer(*item.get(), data)) return exit.Normal();
    if (HasChecksums() && !data.empty()) {
      if (Checksum(data.first(data.size() - 1)) != data.back()) {
        return exit.PassOn(4, ERR_INVALID_MSG, "Invalid checksum.");
      }
      --result->NumDataBytes;
    }
    if (const Status status = CJ2534Channel::AddResultData(std::move(item))) {
      return exit.PassOn(5, status, "Error adding Result Item.");
    }
    return exit.Normal();
  });
}

Status CJ2534Channel_ISO14230::ValidateMessage(std::uint32_t dataSize, const std::uint8_t* /*data*/,
                                               std::uint32_t rxStatus) {
  return Traced(methods::channel_iso14230::kValidateMessage, [&](Exits& exit) -> Status {
    const std::uint32_t checksum = HasChecksums() ? 1 : 0;
    return CheckSize(*this, exit, SizesUpTo(kMaxIso14230Message - checksum), dataSize, rxStatus);
  });
}

Status CJ2534Channel_ISO14230::PassThruIoctl_FIVE_BAUD_INIT(const AppPointer& input,
                                                            const AppPointer& output) {
  return Traced(methods::channel_iso14230::kPassThruIoctlFiveBaudInit, [&](Exits& exit) -> Status {
    using pdu::ComParam;
    if (!HasPins()) {
      return exit.Fail(1, ERR_PIN_INVALID, "Error getting J1962 Pins value to use.");
    }
    if (!platform::IsReadable(input.address, AppByteArray::kSize)) {
      return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Input pointer.");
    }
    if (!platform::IsWritable(output.address, AppByteArray::kSize)) {
      return exit.Fail(3, ERR_NULL_PARAMETER, "NULL Output pointer.");
    }
    const AppByteArray address(input);
    if (const Status status = SetPduComParam(pdu::ComParamId(ComParam::CP_InitializationSettings),
                                             &kFiveBaudInit, sizeof kFiveBaudInit)) {
      return exit.PassOn(4, status, "Error setting CP_InitializationSettings for Five-BAUD Init.");
    }
    if (address.Count() != 1) {
      return exit.Fail(5, ERR_NOT_SUPPORTED, "Invalid Number of Bytes.");
    }
    if (!platform::IsReadable(address.Bytes(), 1)) {
      return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Input pointer.");
    }
    const ComParamSetting toAddress{ComParam::CP_5BaudAddressPhys, *address.Bytes(),
                                    "Error setting CP_5_BAUD_ADDR_PHYS for Five-BAUD Init."};
    if (const Status status = SetAndCommit(exit, 6, toAddress, kNoCommit)) return status;
    answer_.Clear();
    if (const Status status = SendStartComComPrimitive(AppMessage(), true)) {
      return exit.PassOn(8, status, "Error sending STARTCOM Message.");
    }
    const auto answer = answer_.Get();
    if (!answer) return exit.Fail(9, ERR_FAILED, "Error receiving STARTCOM Message.");
    return GiveKeyBytes(exit, AppByteArray(output), answer->Bytes());
  });
}

Status CJ2534Channel_ISO14230::PassThruIoctl_FAST_INIT(const AppPointer& input,
                                                       const AppPointer& output) {
  return Traced(methods::channel_iso14230::kPassThruIoctlFastInit, [&](Exits& exit) -> Status {
    if (!HasPins()) {
      return exit.Fail(1, ERR_PIN_INVALID, "Error getting J1962 Pins value to use.");
    }
    const AppMessage request = Given(input, platform::IsReadable);
    const AppMessage response = Given(output, platform::IsWritable);
    const ComParamSetting toFast{pdu::ComParam::CP_InitializationSettings, kFastInit,
                                 "Error setting CP_InitializationSettings for Fast Init."};
    if (const Status status = SetAndCommit(exit, 2, toFast, kNoCommit)) return status;
    answer_.Clear();
    if (const Status status = SendStartComComPrimitive(request, bool{response})) {
      return exit.PassOn(4, status, "Error sending STARTCOM Message.");
    }
    const auto answer = answer_.Get();
    if (!answer) return exit.Fail(5, ERR_FAILED, "Error receiving STARTCOM Message.");
    if (response) GiveMessage(response, ProtocolId(), *answer);
    return exit.Normal();
  });
}

Status CJ2534Channel_ISO9141::GetPduResourceBusTypeId(PDU_RSC_DATA* resource) {
  return LookUpBusType(methods::channel_iso9141::kGetPduResourceBusTypeId, ProtocolId(), resource);
}

Status CJ2534Channel_ISO9141::GetPduResourceProtocolId(PDU_RSC_DATA* resource) {
  return LookUpProtocol(methods::channel_iso9141::kGetPduResourceProtocolId, ProtocolId(),
                        resource);
}

Status CJ2534Channel_ISO9141::ValidateMessage(std::uint32_t dataSize, const std::uint8_t* /*data*/,
                                              std::uint32_t rxStatus) {
  return Traced(methods::channel_iso9141::kValidateMessage, [&](Exits& exit) -> Status {
    return CheckSize(*this, exit, SizesUpTo(kMaxMessageData), dataSize, rxStatus);
  });
}

Status CJ2534Channel_UBP::GetPduResourceBusTypeId(PDU_RSC_DATA* resource) {
  return LookUpBusType(methods::channel_ubp::kGetPduResourceBusTypeId, ProtocolId(), resource);
}

Status CJ2534Channel_UBP::GetPduResourceProtocolId(PDU_RSC_DATA* resource) {
  return LookUpProtocol(methods::channel_ubp::kGetPduResourceProtocolId, ProtocolId(), resource);
}

Status CJ2534Channel_UBP::ValidateMessage(std::uint32_t dataSize, const std::uint8_t* /*data*/,
                                          std::uint32_t rxStatus) {
  return Traced(methods::channel_ubp::kValidateMessage, [&](Exits& exit) -> Status {
    return CheckSize(*this, exit, SizesUpTo(kMaxMessageData), dataSize, rxStatus);
  });
}

Status CJ2534Channel_UBP::SetProtocolConnectionComParameters() {
  return Traced(
      methods::channel_ubp::kSetProtocolConnectionComParameters, [&](Exits& exit) -> Status {
        using pdu::ComParam;
        return SetComParamsOfKLine(
            exit, std::array<ComParamSetting, 3>{{
                      {ComParam::CP_TesterPresentHandling, 0,
                       "Error setting CP_TESTER_PRESENT_HANDLING."},
                      {ComParam::CP_StartMsgIndEnable, 1, "Error setting CP_START_MSG_IND_ENABLE."},
                      {ComParam::CP_RequestAddrMode, 1, "Error setting CP_REQUEST_ADDR_MODE."},
                  }});
      });
}

}  // namespace passbridge
