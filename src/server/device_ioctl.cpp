#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "channel/channel.h"
#include "pdu/io_control.h"
#include "pdu/item.h"
#include "pdu/result_map.h"
#include "platform/memory_probe.h"
#include "server/device.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr pdu::ResultMap kDefaultResults{ERR_FAILED,
                                         {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
                                          {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
                                          {PDU_ERR_INVALID_HANDLE, ERR_INVALID_DEVICE_ID},
                                          {PDU_ERR_ID_NOT_SUPPORTED, ERR_NOT_SUPPORTED}}};

constexpr pdu::ResultMap kVersionResults{ERR_FAILED,
                                         {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
                                          {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
                                          {PDU_ERR_INVALID_HANDLE, ERR_INVALID_DEVICE_ID}}};

constexpr pdu::ResultMap kProgVoltageResults{
    ERR_FAILED,
    {{PDU_ERR_FCT_FAILED, ERR_NOT_SUPPORTED},
     {PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_INVALID_DEVICE_ID},
     {PDU_ERR_INVALID_HANDLE, ERR_INVALID_DEVICE_ID},
     {PDU_ERR_ID_NOT_SUPPORTED, ERR_NOT_SUPPORTED},
     {PDU_ERR_VOLTAGE_NOT_SUPPORTED, ERR_NOT_SUPPORTED},
     {PDU_ERR_MUX_RSC_NOT_SUPPORTED, ERR_NOT_SUPPORTED}}};

constexpr std::uint32_t kMinVoltage = 5000;
constexpr std::uint32_t kMaxVoltage = 20000;
constexpr std::uint32_t kGroundPin = 15;
constexpr std::array<std::uint32_t, 7> kVoltagePins{0, 6, 9, 11, 12, 13, 14};

bool IsVoltagePin(std::uint32_t pin) {
  return std::find(kVoltagePins.begin(), kVoltagePins.end(), pin) != kVoltagePins.end();
}

std::uint32_t SameNumber(std::uint32_t value) { return value; }

/// Two cables have identifiers of their own outside the D-PDU API.
std::uint32_t CableId(std::uint32_t value) {
  return value == 100 ? 0x100 : value == 101 ? 0x200 : value;
}

/// Bits 31 to 8 of a version word, three numbers of a byte each.
void WriteFirmwareVersion(std::uint32_t version, char* text) {
  std::snprintf(text, J2534_TEXT_SIZE, "%3i.%3i.%3i", static_cast<int>(version >> 24U),
                static_cast<int>((version >> 16U) & 0xFFU),
                static_cast<int>((version >> 8U) & 0xFFU));
}

}  // namespace

/// An I/O control of the module that gives one number.
struct CJ2534Device::Reading {
  Method method;
  pdu::IoControl control;
  const char* failure;
  std::uint32_t (*translate)(std::uint32_t) = &SameNumber;
  bool zeroWithoutCable = false;  ///< no cable is no failure: the number is 0
};

/// An ioctl that the device carries out itself. The handler ends the device's PassThruIoctl, whose
/// exits it gets.
struct CJ2534Device::Ioctl {
  using Handler = Status (*)(CJ2534Device& device, const Exits& exit, const AppPointer& input,
                             const AppPointer& output);

  std::uint32_t id;
  IdKind comesWith;
  Handler run;

  /// Null for an ioctl of the channel.
  static const Ioctl* Find(std::uint32_t ioctlId);
  /// The end of an ioctl that has reported its failure.
  static Status End(const Exits& exit, Status status) {
    return status != STATUS_NOERROR ? exit.PassOn(5, status, "Error executing IOCTL in channel.")
                                    : exit.Normal();
  }

  template <const Reading& Number>
  static Status Read(CJ2534Device& device, const Exits& exit, const AppPointer& /*input*/,
                     const AppPointer& output) {
    return End(exit, device.ReadNumber(Number, output));
  }
  template <const Method& Name>
  static Status Refuse(CJ2534Device& /*device*/, const Exits& exit, const AppPointer& /*input*/,
                       const AppPointer& /*output*/) {
    return End(exit, Traced(Name, [](Exits& own) {
                 return own.Fail(1, ERR_NOT_SUPPORTED, "Not Supported.");
               }));
  }
  /// This one alone has no message of its own for a bad pointer.
  static Status GetSerialNumber(CJ2534Device& device, const Exits& exit,
                                const AppPointer& /*input*/, const AppPointer& output) {
    if (!platform::IsWritable(output.address, output.Value().Size())) return exit.Unhandled();
    output.Value().Store(device.serialNumber_);
    return exit.Normal();
  }

  static constexpr Reading kBattery{methods::device::kPassThruIoctlReadVbatt,
                                    pdu::IoControl::ReadVbatt,
                                    "Error performing PDU READ VBATT IOCTL."};
  static constexpr Reading kProgVoltage{methods::device::kPassThruIoctlReadProgVoltage,
                                        pdu::IoControl::ReadProgVoltage,
                                        "Error performing PDU IOCTL."};
  static constexpr Reading kCableId{methods::device::kPassThruIoctlReadCableId,
                                    pdu::IoControl::GetCableId, "Error performing PDU IOCTL.",
                                    &CableId, true};
};

const CJ2534Device::Ioctl* CJ2534Device::Ioctl::Find(std::uint32_t ioctlId) {
  using methods::device::kPassThruIoctlGetDeviceConfig;
  using methods::device::kPassThruIoctlSetDeviceConfig;
  static constexpr auto kIoctls = std::to_array<Ioctl>({
      {READ_VBATT, IdKind::Device, &Read<kBattery>},
      {READ_PROG_VOLTAGE, IdKind::Device, &Read<kProgVoltage>},
      {READ_CABLE_ID, IdKind::Device, &Read<kCableId>},
      {GET_VCI_SERIAL_NUMBER, IdKind::Device, &GetSerialNumber},
      {GET_DEVICE_CONFIG, IdKind::Channel, &Refuse<kPassThruIoctlGetDeviceConfig>},
      {SET_DEVICE_CONFIG, IdKind::Channel, &Refuse<kPassThruIoctlSetDeviceConfig>},
  });
  const auto* const row = std::find_if(kIoctls.begin(), kIoctls.end(),
                                       [ioctlId](const Ioctl& each) { return each.id == ioctlId; });
  return row != kIoctls.end() ? row : nullptr;
}

IdKind CJ2534Device::IdOfIoctl(std::uint32_t ioctlId) {
  const Ioctl* const own = Ioctl::Find(ioctlId);
  return own != nullptr ? own->comesWith : IdKind::Channel;
}

Status CJ2534Device::PassThruIoctl(std::uint32_t channelId, std::uint32_t ioctlId,
                                   const AppPointer& input, const AppPointer& output) {
  return Traced(methods::device::kPassThruIoctl, [&](Exits& exit) -> Status {
    if (const Status status = CheckUsable(exit, true)) return status;
    if (const Ioctl* const own = Ioctl::Find(ioctlId)) return own->run(*this, exit, input, output);
    ChannelPtr channel;
    if (const Status missing = GetChannelFromChannelID(channelId, &channel)) {
      return exit.Fail(4, missing, "Error locating channel.");
    }
    return Ioctl::End(exit, OutcomeOf(channelId, channel->PassThruIoctl(ioctlId, input, output)));
  });
}

Status CJ2534Device::ReadNumber(const Reading& reading, const AppPointer& output) {
  return Traced(reading.method, [&](Exits& exit) -> Status {
    if (ValidatePointer(output.Value())) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL Output pointer.");
    }
    return ReadItem(exit, reading, output.Value());
  });
}

Status CJ2534Device::ReadItem(const Exits& exit, const Reading& reading, const AppValue& output) {
  if (reading.zeroWithoutCable) output.Store(0);
  pdu::Item<PDU_DATA_ITEM> item;
  T_PDU_ERROR result = item.Checked(pdu::Api().PDUIoCtl(
      moduleHandle_, PDU_HANDLE_UNDEF, pdu::IoControlId(reading.control), nullptr, item.Out()));
  if (result != PDU_STATUS_NOERROR) {
    if (reading.zeroWithoutCable && result == PDU_ERR_NO_CABLE_DETECTED) return exit.Normal();
    return FailPdu(exit, 2, kDefaultResults(result), reading.failure, result);
  }
  if (!item || item->pData == nullptr) {
    return exit.Fail(3, ERR_FAILED, "Error performing PDU IOCTL.");
  }
  std::uint32_t value = 0;
  std::memcpy(&value, item->pData, sizeof value);
  output.Store(reading.translate(value));
  result = item.Destroy();
  if (const Status status = kDefaultResults(result)) {
    return FailPdu(exit, 4, status, "Error Destroying Item.", result);
  }
  return exit.Normal();
}

Status CJ2534Device::PassThruSetProgrammingVoltage(std::uint32_t pin, std::uint32_t voltage) {
  return Traced(methods::device::kPassThruSetProgrammingVoltage, [&](Exits& exit) -> Status {
    if (const Status status = CheckUsable(exit, true)) return status;
    if (const Status status = ClaimPin(exit, pin, voltage)) return status;
    PDU_IO_PROG_VOLTAGE_DATA data{voltage, pin};
    PDU_DATA_ITEM input{PDU_IT_IO_PROG_VOLTAGE, &data};
    const T_PDU_ERROR result =
        pdu::Api().PDUIoCtl(moduleHandle_, PDU_HANDLE_UNDEF,
                            pdu::IoControlId(pdu::IoControl::SetProgVoltage), &input, nullptr);
    if (const Status status = kProgVoltageResults(result)) {
      return FailPdu(exit, 10, status, "Error setting Programming Voltage.", result);
    }
    return exit.Normal();
  });
}

Status CJ2534Device::ClaimPin(const Exits& exit, std::uint32_t pin, std::uint32_t voltage) {
  const bool isCode = voltage == SHORT_TO_GROUND || voltage == VOLTAGE_OFF;
  if (voltage == SHORT_TO_GROUND && pin != kGroundPin) {
    return exit.Fail(4, ERR_NOT_SUPPORTED, "SHORT_TO_GROUND must be Pin 15.");
  }
  if (!isCode && voltage < kMinVoltage) return exit.Fail(5, ERR_FAILED, "Voltage Too Low");
  if (!isCode && voltage > kMaxVoltage) return exit.Fail(6, ERR_FAILED, "Voltage Too High");
  if (pin == kGroundPin) {
    return isCode ? STATUS_NOERROR
                  : exit.Fail(8, ERR_NOT_SUPPORTED, "Pin 15 not SHORT_TO_GROUND or VOLTAGE_OFF.");
  }
  if (!IsVoltagePin(pin)) return exit.Fail(9, ERR_PIN_INVALID, "Invalid Pin Number.");
  const auto claimed = static_cast<std::int32_t>(pin);
  if (programmingPin_ != -1 && programmingPin_ != claimed) {
    return exit.Fail(7, ERR_NOT_SUPPORTED, "Pins are mutually exclusive.");
  }
  programmingPin_ = voltage == VOLTAGE_OFF ? -1 : claimed;
  return STATUS_NOERROR;
}

Status CJ2534Device::PassThruReadVersion(char* firmwareVersion, char* dllVersion,
                                         char* apiVersion) {
  return Traced(methods::device::kPassThruReadVersion, [&](Exits& exit) -> Status {
    if (const Status status = CheckUsable(exit, true)) return status;
    if (ValidatePointer(TextCell(firmwareVersion), kTextCells)) {
      return exit.Fail(4, ERR_NULL_PARAMETER, "NULL FirmwareVersion pointer.");
    }
    if (ValidatePointer(TextCell(dllVersion), kTextCells)) {
      return exit.Fail(5, ERR_NULL_PARAMETER, "NULL DllVersion pointer.");
    }
    if (ValidatePointer(TextCell(apiVersion), kTextCells)) {
      return exit.Fail(6, ERR_NULL_PARAMETER, "NULL ApiVersion pointer.");
    }
    PDU_VERSION_DATA version{};
    const T_PDU_ERROR result = pdu::Api().PDUGetVersion(moduleHandle_, &version);
    if (const Status status = kVersionResults(result)) {
      return FailPdu(exit, 7, status, "Error getting PDU Version Information.", result);
    }
    WriteFirmwareVersion(version.FwVersion, firmwareVersion);
    std::strcpy(dllVersion, "00.00");
    std::strcpy(apiVersion, "04.04");
    return exit.Normal();
  });
}

}  // namespace passbridge
