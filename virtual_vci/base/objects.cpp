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

constexpr Object Bus(BusType id, const char* name) {
  return {PDU_OBJT_BUSTYPE, static_cast<UNUM32>(id), name};
}
constexpr Object Prot(ProtocolId id, const char* name) {
  return {PDU_OBJT_PROTOCOL, static_cast<UNUM32>(id), name};
}
constexpr Object Ctl(IoCtl id, const char* name) {
  return {PDU_OBJT_IO_CTRL, static_cast<UNUM32>(id), name};
}
constexpr Object Pin(UNUM32 id, const char* name) { return {PDU_OBJT_PINTYPE, id, name}; }

constexpr auto kObjects = std::to_array<Object>({
    Bus(BusType::kDualWireCan, "ISO_11898_2_DWCAN"),
    Bus(BusType::kFaultTolerantCan, "ISO_11898_3_DWFTCAN"),
    Bus(BusType::kSingleWireCan, "SAE_J2411_SWCAN"),
    Bus(BusType::kIso9141Uart, "ISO_9141_2_UART"),
    Bus(BusType::kIso14230Uart, "ISO_14230_1_UART"),
    Bus(BusType::kJ1850Vpw, "SAE_J1850_VPW"),
    Bus(BusType::kJ1850Pwm, "SAE_J1850_PWM"),
    Bus(BusType::kJ2610Uart, "SAE_J2610_UART"),
    Bus(BusType::kJ2740Uart, "SAE_J2740_UART"),
    Bus(BusType::kUbpUart, "UBP_UART"),
    Prot(ProtocolId::kRawCan, "ISO_11898_RAW"),
    Prot(ProtocolId::kIso15765, "SAE_J2190_on_ISO_15765_2"),
    Prot(ProtocolId::kIso9141, "SAE_J2190_on_ISO_9141"),
    Prot(ProtocolId::kIso14230, "SAE_J2190_on_ISO_14230_2"),
    Prot(ProtocolId::kJ1850Vpw, "SAE_J2190_on_SAE_J1850_VPW"),
    Prot(ProtocolId::kJ1850Pwm, "SAE_J2190_on_SAE_J1850_PWM"),
    Prot(ProtocolId::kJ2610, "SAE_J2610_on_SAE_J2610_SCI"),
    Prot(ProtocolId::kGmUart, "XDE_5024_on_XDE_5024_UART"),
    Prot(ProtocolId::kUbp, "UBP_on_UBP_UART"),
    Ctl(IoCtl::kReset, "PDU_IOCTL_RESET"),
    Ctl(IoCtl::kClearTxQueue, "PDU_IOCTL_CLEAR_TX_QUEUE"),
    Ctl(IoCtl::kClearTxPending, "PDU_IOCTL_CLEAR_TX_PENDING"),
    Ctl(IoCtl::kSuspendTxQueue, "PDU_IOCTL_SUSPEND_TX_QUEUE"),
    Ctl(IoCtl::kResumeTxQueue, "PDU_IOCTL_RESUME_TX_QUEUE"),
    Ctl(IoCtl::kClearRxQueue, "PDU_IOCTL_CLEAR_RX_QUEUE"),
    Ctl(IoCtl::kReadVbatt, "PDU_IOCTL_READ_VBATT"),
    Ctl(IoCtl::kSetProgVoltage, "PDU_IOCTL_SET_PROG_VOLTAGE"),
    Ctl(IoCtl::kReadProgVoltage, "PDU_IOCTL_READ_PROG_VOLTAGE"),
    Ctl(IoCtl::kGeneric, "PDU_IOCTL_GENERIC"),
    Ctl(IoCtl::kSetBufferSize, "PDU_IOCTL_SET_BUFFER_SIZE"),
    Ctl(IoCtl::kGetCableId, "PDU_IOCTL_GET_CABLE_ID"),
    Ctl(IoCtl::kStartMsgFilter, "PDU_IOCTL_START_MSG_FILTER"),
    Ctl(IoCtl::kStopMsgFilter, "PDU_IOCTL_STOP_MSG_FILTER"),
    Ctl(IoCtl::kClearMsgFilter, "PDU_IOCTL_CLEAR_MSG_FILTER"),
    Ctl(IoCtl::kSetEventQueueProperties, "PDU_IOCTL_SET_EVENT_QUEUE_PROPERTIES"),
    Ctl(IoCtl::kSendBreak, "PDU_IOCTL_SEND_BREAK"),
    Pin(0x501, "HI"),
    Pin(0x502, "LOW"),
    Pin(0x503, "K"),
    Pin(0x504, "L"),
    Pin(0x505, "TX"),
    Pin(0x506, "RX"),
    Pin(0x507, "PLUS"),
    Pin(0x508, "MINUS"),
    Pin(0x509, "SINGLE"),
    Pin(0x50A, "PROGV"),
    Pin(0x50B, "IGNITION_CLAMP"),
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
