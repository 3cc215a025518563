#include "protocols/channel_j1850pwm.h"

#include <array>
#include <optional>
#include <span>

#include "platform/memory_probe.h"
#include "protocols/message_sizes.h"
#include "protocols/resource_names.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr MessageSizes kPwmSizes{3, 11};

// Where addresses lie in a message.
constexpr std::size_t kTarget = 1;
constexpr std::size_t kSource = 2;

// CP_J1850IFRCtrl: how the link answers within frames.
constexpr UNUM32 kNoFunctionalAddress = 1;
constexpr UNUM32 kOneFunctionalAddress = 2;

constexpr const char* kResponseControlFailure = "Error setting CP_J1850_IFR_CTRL.";
constexpr const char* kTerminationFailure = "Error setting CP_TERMINATION_TYPE.";
constexpr const char* kCommitFailure = "Error committing Parameter Value.";
constexpr const char* kNoPinsForTable = "Error getting J1962 Pins value to use.";
constexpr const char* kForeignAddress = "Invalide NODE_ADDRESS value.";
constexpr const char* kNoBytes = "NULL IOCTL Data Pointer.";

/// The addresses of an array; nothing if they cannot be read.
std::optional<std::span<const std::uint8_t>> AddressesOf(const AppByteArray& array) {
  const std::uint32_t count = array.Count();
  if (count == 0) return std::span<const std::uint8_t>();
  const std::uint8_t* const bytes = array.Bytes();
  if (!platform::IsReadable(bytes, count)) return std::nullopt;
  return std::span(bytes, count);
}

}  // namespace

Status CJ2534Channel_J1850PWM::GetPduResourceBusTypeId(PDU_RSC_DATA* resource) {
  return LookUpBusType(methods::channel_j1850pwm::kGetPduResourceBusTypeId, ProtocolId(), resource);
}

Status CJ2534Channel_J1850PWM::GetPduResourceProtocolId(PDU_RSC_DATA* resource) {
  return LookUpProtocol(methods::channel_j1850pwm::kGetPduResourceProtocolId, ProtocolId(),
                        resource);
}

Status CJ2534Channel_J1850PWM::SetProtocolConnectionComParameters() {
  return Traced(
      methods::channel_j1850pwm::kSetProtocolConnectionComParameters, [&](Exits& exit) -> Status {
        using pdu::ComParam;
        return exit.Ended(SetComParams(
            exit, std::array<ComParamSetting, 2>{
                      {{ComParam::CP_J1850IFRCtrl, kNoFunctionalAddress, kResponseControlFailure},
                       {ComParam::CP_TerminationType, 0, kTerminationFailure}}}));
      });
}

Status CJ2534Channel_J1850PWM::ValidateMessage(std::uint32_t dataSize, const std::uint8_t* /*data*/,
                                               std::uint32_t rxStatus) {
  return Traced(methods::channel_j1850pwm::kValidateMessage, [&](Exits& exit) -> Status {
    return CheckSize(*this, exit, kPwmSizes, dataSize, rxStatus);
  });
}

Status CJ2534Channel_J1850PWM::GetNodeAddress(const Exits& exit, const std::uint8_t* data,
                                              std::uint32_t& address) const {
  const auto parameters = Parameters();
  const Status status = parameters != nullptr
                            ? parameters->GetJ2534ParameterValue(NODE_ADDRESS, &address)
                            : Status{ERR_FAILED};
  if (status != STATUS_NOERROR) {
    return exit.PassOn(1, status, "Error getting NODE_ADDRESS Parameter value.");
  }
  if (data == nullptr) return exit.Fail(2, ERR_NULL_PARAMETER, "NULL pData pointer.");
  return STATUS_NOERROR;
}

bool CJ2534Channel_J1850PWM::IsForThisTester(std::uint32_t nodeAddress, std::uint32_t dataSize,
                                             const std::uint8_t* data, std::uint32_t rxStatus) {
  const bool hasTarget = dataSize > kTarget;
  return (hasTarget && data[kTarget] == nodeAddress) || (rxStatus & TX_MSG_TYPE) != 0 ||
         (hasTarget && LookupTable().Contains(data[kTarget]));
}

Status CJ2534Channel_J1850PWM::ValidateMessageRead(std::uint32_t dataSize, const std::uint8_t* data,
                                                   std::uint32_t rxStatus) {
  return Traced(methods::channel_j1850pwm::kValidateMessageRead, [&](Exits& exit) -> Status {
    std::uint32_t nodeAddress = 0;
    if (const Status status = GetNodeAddress(exit, data, nodeAddress)) return status;
    if (!IsForThisTester(nodeAddress, dataSize, data, rxStatus)) {
      return exit.PassOn(3, ERR_INVALID_MSG, kForeignAddress);
    }
    return ValidateMessage(dataSize, data, rxStatus);
  });
}

Status CJ2534Channel_J1850PWM::ValidateMessageWrite(std::uint32_t dataSize,
                                                    const std::uint8_t* data,
                                                    std::uint32_t rxStatus) {
  return Traced(methods::channel_j1850pwm::kValidateMessageWrite, [&](Exits& exit) -> Status {
    std::uint32_t nodeAddress = 0;
    if (const Status status = GetNodeAddress(exit, data, nodeAddress)) return status;
    if (dataSize > kSource && data[kSource] != nodeAddress) {
      return exit.PassOn(3, ERR_INVALID_MSG, kForeignAddress);
    }
    return ValidateMessage(dataSize, data, rxStatus);
  });
}

Status CJ2534Channel_J1850PWM::CommitResponseControl(const Exits& exit, std::uint16_t point,
                                                     UNUM32 control) {
  return SetAndCommit(exit, point,
                      {pdu::ComParam::CP_J1850IFRCtrl, control, kResponseControlFailure},
                      kCommitFailure);
}

Status CJ2534Channel_J1850PWM::DownloadTable(const Exits& exit, std::uint16_t point,
                                             const char* failure) const {
  const auto filters = Filters();
  const Status status =
      filters != nullptr ? filters->DownloadJ2534Filters(true, false, true) : Status{ERR_FAILED};
  return status == STATUS_NOERROR ? exit.Normal() : exit.PassOn(point, status, failure);
}

Status CJ2534Channel_J1850PWM::PassThruIoctl_CLEAR_FUNCT_MSG_LOOKUP_TABLE() {
  return Traced(methods::channel_j1850pwm::kPassThruIoctlClearTable, [&](Exits& exit) -> Status {
    if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, kNoPinsForTable);
    if (LookupTable().Get().empty()) {
      return Exits::NormalAs(
          "CJ2534Channel_J1850PWM::PassThruIoctl_CLEAR_FUNCT_MSG_LOOKUP_TABLE() - Empty Table");
    }
    LookupTable().Clear();
    if (const Status status = CommitResponseControl(exit, 3, kNoFunctionalAddress)) return status;
    return DownloadTable(exit, 5, "Error clearing Functional Message Look-up Table.");
  });
}

Status CJ2534Channel_J1850PWM::PassThruIoctl_ADD_TO_FUNCT_MSG_LOOKUP_TABLE(
    const AppPointer& input) {
  return Traced(methods::channel_j1850pwm::kPassThruIoctlAddToTable, [&](Exits& exit) -> Status {
    if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, kNoPinsForTable);
    if (!platform::IsReadable(input.address, AppByteArray::kSize)) {
      return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Input pointer.");
    }
    const auto addresses = AddressesOf(AppByteArray(input));
    if (!addresses) return exit.Fail(4, ERR_FAILED, kNoBytes);
    if (addresses->empty()) {
      return Exits::NormalAs(
          "CJ2534Channel_J1850PWM::PassThruIoctl_ADD_TO_FUNCT_MSG_LOOKUP_TABLE() - Nothing to "
          "add.");
    }
    if (LookupTable().Add(*addresses).size() == 1) {
      if (const Status status = CommitResponseControl(exit, 6, kOneFunctionalAddress)) {
        return status;
      }
    }
    return DownloadTable(exit, 8, "Error adding to Functional Message Look-up Table.");
  });
}

Status CJ2534Channel_J1850PWM::PassThruIoctl_DELETE_FROM_FUNCT_MSG_LOOKUP_TABLE(
    const AppPointer& input) {
  return Traced(
      methods::channel_j1850pwm::kPassThruIoctlDeleteFromTable, [&](Exits& exit) -> Status {
        if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, kNoPinsForTable);
        if (!platform::IsReadable(input.address, AppByteArray::kSize)) {
          return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Input Pointer.");
        }
        const auto addresses = AddressesOf(AppByteArray(input));
        if (!addresses) return exit.Fail(4, ERR_FAILED, kNoBytes);
        if (LookupTable().Remove(*addresses).empty()) {
          if (const Status status = CommitResponseControl(exit, 5, kNoFunctionalAddress)) {
            return status;
          }
        }
        return DownloadTable(exit, 7, "Error deleting from Functional Message Look-up Table.");
      });
}

Status CJ2534Channel_J1850PWM::PassThruIoctl_J1850PWM_TERMINATION(const AppPointer& input) {
  return Traced(methods::channel_j1850pwm::kPassThruIoctlTermination, [&](Exits& exit) -> Status {
    const AppValue termination = input.Value();
    if (!platform::IsReadable(termination.Address(), termination.Size())) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL unsigned long pointer.");
    }
    return exit.Ended(SetAndCommit(
        exit, 2, {pdu::ComParam::CP_TerminationType, termination.Load(), kTerminationFailure},
        kCommitFailure));
  });
}

Status CJ2534Channel_J1850PWM::PassThruStartPeriodicMsg(const AppMessage& msg,
                                                        const AppValue& msgId,
                                                        std::uint32_t interval) {
  static constexpr std::array<TakenOver, 2> kTakenOverOnPwm{{
      {LOOPBACK, "Error connecting to Channel."},
      {NODE_ADDRESS, "Error connecting to Channel."},
  }};
  constexpr PeriodicChannelPlan kPlan{[] { return OwnedChannel(new CJ2534Channel_J1850PWM); },
                                      kTakenOverOnPwm};
  return Traced(methods::channel_j1850pwm::kPassThruStartPeriodicMsg, [&](Exits& exit) -> Status {
    return StartOnPeriodicChannel(exit, kPlan, msg, msgId, interval);
  });
}

}  // namespace passbridge
