#include "virtual_vci/base/objects.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace virtual_vci {

namespace {

struct Object {
  T_PDU_OBJT type;
  UNUM32 id;
  const char* name;
};

constexpr Object BusRow(BusType id, const char* name) {
  return {PDU_OBJT_BUSTYPE, static_cast<UNUM32>(id), name};
}
constexpr Object ProtocolRow(ProtocolId id, const char* name) {
  return {PDU_OBJT_PROTOCOL, static_cast<UNUM32>(id), name};
}
constexpr Object ControlRow(IoCtl id, const char* name) {
  return {PDU_OBJT_IO_CTRL, static_cast<UNUM32>(id), name};
}
constexpr Object PinRow(UNUM32 id, const char* name) { return {PDU_OBJT_PINTYPE, id, name}; }

constexpr auto kObjects = std::to_array<Object>({
    BusRow(BusType::kDualWireCan, "ISO_11898_2_DWCAN"),
    BusRow(BusType::kFaultTolerantCan, "ISO_11898_3_DWFTCAN"),
    BusRow(BusType::kSingleWireCan, "SAE_J2411_SWCAN"),
    BusRow(BusType::kIso9141Uart, "ISO_9141_2_UART"),
    BusRow(BusType::kIso14230Uart, "ISO_14230_1_UART"),
    BusRow(BusType::kJ1850Vpw, "SAE_J1850_VPW"),
    BusRow(BusType::kJ1850Pwm, "SAE_J1850_PWM"),
    BusRow(BusType::kJ2610Uart, "SAE_J2610_UART"),
    BusRow(BusType::kJ2740Uart, "SAE_J2740_UART"),
    BusRow(BusType::kUbpUart, "UBP_UART"),
    ProtocolRow(ProtocolId::kRawCan, "ISO_11898_RAW"),
    ProtocolRow(ProtocolId::kIso15765, "SAE_J2190_on_ISO_15765_2"),
    ProtocolRow(ProtocolId::kIso9141, "SAE_J2190_on_ISO_9141"),
    ProtocolRow(ProtocolId::kIso14230, "SAE_J2190_on_ISO_14230_2"),
    ProtocolRow(ProtocolId::kJ1850Vpw, "SAE_J2190_on_SAE_J1850_VPW"),
    ProtocolRow(ProtocolId::kJ1850Pwm, "SAE_J2190_on_SAE_J1850_PWM"),
    ProtocolRow(ProtocolId::kJ2610, "SAE_J2610_on_SAE_J2610_SCI"),
    ProtocolRow(ProtocolId::kGmUart, "XDE_5024_on_XDE_5024_UART"),
    ProtocolRow(ProtocolId::kUbp, "UBP_on_UBP_UART"),
    ControlRow(IoCtl::kReset, "PDU_IOCTL_RESET"),
    ControlRow(IoCtl::kClearTxQueue, "PDU_IOCTL_CLEAR_TX_QUEUE"),
    ControlRow(IoCtl::kClearTxPending, "PDU_IOCTL_CLEAR_TX_PENDING"),
    ControlRow(IoCtl::kSuspendTxQueue, "PDU_IOCTL_SUSPEND_TX_QUEUE"),
    ControlRow(IoCtl::kResumeTxQueue, "PDU_IOCTL_RESUME_TX_QUEUE"),
    ControlRow(IoCtl::kClearRxQueue, "PDU_IOCTL_CLEAR_RX_QUEUE"),
    ControlRow(IoCtl::kReadVbatt, "PDU_IOCTL_READ_VBATT"),
    ControlRow(IoCtl::kSetProgVoltage, "PDU_IOCTL_SET_PROG_VOLTAGE"),
    ControlRow(IoCtl::kReadProgVoltage, "PDU_IOCTL_READ_PROG_VOLTAGE"),
    ControlRow(IoCtl::kGeneric, "PDU_IOCTL_GENERIC"),
    ControlRow(IoCtl::kSetBufferSize, "PDU_IOCTL_SET_BUFFER_SIZE"),
    ControlRow(IoCtl::kGetCableId, "PDU_IOCTL_GET_CABLE_ID"),
    ControlRow(IoCtl::kStartMsgFilter, "PDU_IOCTL_START_MSG_FILTER"),
    ControlRow(IoCtl::kStopMsgFilter, "PDU_IOCTL_STOP_MSG_FILTER"),
    ControlRow(IoCtl::kClearMsgFilter, "PDU_IOCTL_CLEAR_MSG_FILTER"),
    ControlRow(IoCtl::kSetEventQueueProperties, "PDU_IOCTL_SET_EVENT_QUEUE_PROPERTIES"),
    ControlRow(IoCtl::kSendBreak, "PDU_IOCTL_SEND_BREAK"),
    PinRow(0x501, "HI"),
    PinRow(0x502, "LOW"),
    PinRow(0x503, "K"),
    PinRow(0x504, "L"),
    PinRow(0x505, "TX"),
    PinRow(0x506, "RX"),
    PinRow(0x507, "PLUS"),
    PinRow(0x508, "MINUS"),
    PinRow(0x509, "SINGLE"),
    PinRow(0x50A, "PROGV"),
    PinRow(0x50B, "IGNITION_CLAMP"),
});

}  // namespace

std::optional<UNUM32> ObjectIdOf(T_PDU_OBJT type, std::string_view name) {
  const auto found = std::find_if(kObjects.begin(), kObjects.end(), [&](const Object& object) {
    return object.type == type && name == object.name;
  });
  return found == kObjects.end() ? std::nullopt : std::optional(found->id);
}

const char* ObjectNameOf(T_PDU_OBJT type, UNUM32 id) {
  const auto found = std::find_if(kObjects.begin(), kObjects.end(), [&](const Object& object) {
    return object.type == type && object.id == id;
  });
  return found == kObjects.end() ? nullptr : found->name;
}

T_PDU_ERROR UnknownObjectResult(T_PDU_OBJT type) {
  return type == PDU_OBJT_IO_CTRL ? PDU_ERR_ID_NOT_SUPPORTED : PDU_ERR_INVALID_PARAMETERS;
}

}  // namespace virtual_vci
