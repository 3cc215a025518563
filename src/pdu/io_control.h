#ifndef PASSBRIDGE_PDU_IO_CONTROL_H_
#define PASSBRIDGE_PDU_IO_CONTROL_H_

#include <array>
#include <cstddef>
#include <cstdint>

#include "passbridge/d_pdu_api.h"
#include "pdu/object_ids.h"

namespace passbridge::pdu {

/// The I/O controls of a D-PDU library, in the order in which their identifiers are looked up.
enum class IoControl : std::uint8_t {
  Reset,
  ClearTxQueue,
  ClearTxPending,
  SuspendTxQueue,
  ResumeTxQueue,
  ClearRxQueue,
  ReadVbatt,
  SetProgVoltage,
  ReadProgVoltage,
  Generic,
  SetBufferSize,
  GetCableId,
  StartMsgFilter,
  StopMsgFilter,
  ClearMsgFilter,
  SetEventQueueProperties,
  SendBreak,
};
inline constexpr std::size_t kIoControlCount = 17;

/// Short name of an I/O control.
const char* IoControlName(IoControl control);

/// Identifier of an I/O control. PDU_ID_UNDEF where the D-PDU library does not know it: calls that
/// use it then fail with that library's own result.
UNUM32 IoControlId(IoControl control);

/// All of them, in the order of IoControl.
ObjectIds& IoControlIds();

}  // namespace passbridge::pdu

#endif  // PASSBRIDGE_PDU_IO_CONTROL_H_
