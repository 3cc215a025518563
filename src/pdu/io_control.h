#ifndef PASSBRIDGE_PDU_IO_CONTROL_H_
#define PASSBRIDGE_PDU_IO_CONTROL_H_

#include <cstdint>

#include "passbridge/d_pdu_api.h"
#include "pdu/object_ids.h"

// clang-format off
/// The I/O controls of a D-PDU library and their short names, in the order in which their
/// identifiers are looked up.
#define PASSBRIDGE_IO_CONTROLS(CONTROL)                                    \
  CONTROL(Reset, "PDU_IOCTL_RESET")                                        \
  CONTROL(ClearTxQueue, "PDU_IOCTL_CLEAR_TX_QUEUE")                        \
  CONTROL(ClearTxPending, "PDU_IOCTL_CLEAR_TX_PENDING")                    \
  CONTROL(SuspendTxQueue, "PDU_IOCTL_SUSPEND_TX_QUEUE")                    \
  CONTROL(ResumeTxQueue, "PDU_IOCTL_RESUME_TX_QUEUE")                      \
  CONTROL(ClearRxQueue, "PDU_IOCTL_CLEAR_RX_QUEUE")                        \
  CONTROL(ReadVbatt, "PDU_IOCTL_READ_VBATT")                               \
  CONTROL(SetProgVoltage, "PDU_IOCTL_SET_PROG_VOLTAGE")                    \
  CONTROL(ReadProgVoltage, "PDU_IOCTL_READ_PROG_VOLTAGE")                  \
  CONTROL(Generic, "PDU_IOCTL_GENERIC")                                    \
  CONTROL(SetBufferSize, "PDU_IOCTL_SET_BUFFER_SIZE")                      \
  CONTROL(GetCableId, "PDU_IOCTL_GET_CABLE_ID")                            \
  CONTROL(StartMsgFilter, "PDU_IOCTL_START_MSG_FILTER")                    \
  CONTROL(StopMsgFilter, "PDU_IOCTL_STOP_MSG_FILTER")                      \
  CONTROL(ClearMsgFilter, "PDU_IOCTL_CLEAR_MSG_FILTER")                    \
  CONTROL(SetEventQueueProperties, "PDU_IOCTL_SET_EVENT_QUEUE_PROPERTIES") \
  CONTROL(SendBreak, "PDU_IOCTL_SEND_BREAK")
// clang-format on

namespace passbridge::pdu {

enum class IoControl : std::uint8_t {
#define PASSBRIDGE_IO_CONTROL_ENUMERATOR(control, name) control,
  PASSBRIDGE_IO_CONTROLS(PASSBRIDGE_IO_CONTROL_ENUMERATOR)
#undef PASSBRIDGE_IO_CONTROL_ENUMERATOR
};

/// Short name of an I/O control.
const char* IoControlName(IoControl control);

/// Identifier of an I/O control. PDU_ID_UNDEF where the D-PDU library does not know it: calls that
/// use it then fail with that library's own result.
UNUM32 IoControlId(IoControl control);

/// All of them, in the order of IoControl.
ObjectIds& IoControlIds();

}  // namespace passbridge::pdu

#endif  // PASSBRIDGE_PDU_IO_CONTROL_H_
