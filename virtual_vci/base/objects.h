/// \file
/// Short names and identifiers of bus types, protocols, I/O controls and pin types. Identifiers
/// never change.
#ifndef VIRTUAL_VCI_BASE_OBJECTS_H_
#define VIRTUAL_VCI_BASE_OBJECTS_H_

#include <optional>
#include <string_view>

#include "passbridge/d_pdu_api.h"

namespace virtual_vci {

enum class BusType : UNUM32 {
  kNone = 0,
  kDualWireCan = 0x301,
  kFaultTolerantCan,
  kSingleWireCan,
  kIso9141Uart,
  kIso14230Uart,
  kJ1850Vpw,
  kJ1850Pwm,
  kJ2610Uart,
  kJ2740Uart,
  kUbpUart,
};

enum class ProtocolId : UNUM32 {
  kNone = 0,
  kRawCan = 0x201,
  kIso15765,
  kIso9141,
  kIso14230,
  kJ1850Vpw,
  kJ1850Pwm,
  kJ2610,
  kGmUart,
  kUbp,
};

enum class IoCtl : UNUM32 {
  kReset = 0x401,
  kClearTxQueue,
  kClearTxPending,
  kSuspendTxQueue,
  kResumeTxQueue,
  kClearRxQueue,
  kReadVbatt,
  kSetProgVoltage,
  kReadProgVoltage,
  kGeneric,
  kSetBufferSize,
  kGetCableId,
  kStartMsgFilter,
  kStopMsgFilter,
  kClearMsgFilter,
  kSetEventQueueProperties,
  kSendBreak,
};

/// None for an unknown name, or a type that isn't among these.
std::optional<UNUM32> ObjectIdOf(T_PDU_OBJT type, std::string_view name);
/// Null for an identifier that isn't of this type.
const char* ObjectNameOf(T_PDU_OBJT type, UNUM32 id);
/// What PDUGetObjectId returns when it doesn't know a name.
T_PDU_ERROR UnknownObjectResult(T_PDU_OBJT type);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_BASE_OBJECTS_H_
