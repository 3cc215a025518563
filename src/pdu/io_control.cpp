#include "pdu/io_control.h"

#include "pdu/pdu_api.h"

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

std::array<UNUM32, kIoControlCount>& IoControlIds() {
  static std::array<UNUM32, kIoControlCount> identifiers = [] {
    std::array<UNUM32, kIoControlCount> undefined{};
    undefined.fill(PDU_ID_UNDEF);
    return undefined;
  }();
  return identifiers;
}

}  // namespace

const char* IoControlName(IoControl control) {
  return kIoControlNames[static_cast<std::size_t>(control)];
}

UNUM32 IoControlId(IoControl control) { return IoControlIds()[static_cast<std::size_t>(control)]; }

void ResolveIoControls() {
  for (std::size_t i = 0; i < kIoControlCount; ++i) {
    IoControlIds()[i] = PDU_ID_UNDEF;
    // The API's names are not const; it does not write to them.
    Api().PDUGetObjectId(PDU_OBJT_IO_CTRL, const_cast<char*>(kIoControlNames[i]),
                         &IoControlIds()[i]);
  }
}

}  // namespace passbridge::pdu
