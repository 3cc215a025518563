#include "pdu/io_control.h"

namespace passbridge::pdu {

namespace {

constexpr std::array<const char*, kIoControlCount> kIoControlNames{
    "PDU_IOCTL_RESET",
    "PDU_IOCTL_CLEAR_TX_QUEUE",
    "PDU_IOCTL_CLEAR_TX_PENDING",
    "PDU_IOCTL_SUSPEND_TX_QUEUE",
    "PDU_IOCTL_RESUME_TX_QUEUE",
    "PDU_IOCTL_CLEAR_RX_QUEUE",
    "PDU_IOCTL_READ_VBATT",
    "PDU_IOCTL_SET_PROG_VOLTAGE",
    "PDU_IOCTL_READ_PROG_VOLTAGE",
    "PDU_IOCTL_GENERIC",
    "PDU_IOCTL_SET_BUFFER_SIZE",
    "PDU_IOCTL_GET_CABLE_ID",
    "PDU_IOCTL_START_MSG_FILTER",
    "PDU_IOCTL_STOP_MSG_FILTER",
    "PDU_IOCTL_CLEAR_MSG_FILTER",
    "PDU_IOCTL_SET_EVENT_QUEUE_PROPERTIES",
    "PDU_IOCTL_SEND_BREAK",
};

}  // namespace

const char* IoControlName(IoControl control) {
  return kIoControlNames[static_cast<std::size_t>(control)];
}

ObjectIds& IoControlIds() {
  static std::array<ObjectIds::Cell, kIoControlCount> cells;
  static ObjectIds identifiers(PDU_OBJT_IO_CTRL, kIoControlNames, cells);
  return identifiers;
}

UNUM32 IoControlId(IoControl control) {
  return IoControlIds().At(static_cast<std::size_t>(control));
}

}  // namespace passbridge::pdu
