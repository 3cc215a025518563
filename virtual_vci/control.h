/// \file
/// The virtual VCI's control interface, for tests: exported beside the D-PDU API, found by name
/// like its functions.
///
/// Usable from C and C++. Any thread may call any of these at any time, also while nothing is
/// constructed and, unless it is said otherwise, from an event callback. Nothing here appears in
/// the call log. What is set here (start settings, faults) and what is counted (ledger, call log)
/// belongs to the loaded library, not to a PDUConstruct; VirtualVciReset sets all of it back.
#ifndef VIRTUAL_VCI_CONTROL_H_
#define VIRTUAL_VCI_CONTROL_H_

#include "passbridge/d_pdu_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Kinds of items in the ledger.
PDU_ENUM(E_VVCI_ITEM_KIND){
    VVCI_ITEM_RESULT = 0,    ///< PDU_IT_RESULT
    VVCI_ITEM_STATUS = 1,    ///< PDU_IT_STATUS
    VVCI_ITEM_ERROR = 2,     ///< PDU_IT_ERROR
    VVCI_ITEM_INFO = 3,      ///< PDU_IT_INFO
    VVCI_ITEM_COMPARAM = 4,  ///< PDU_IT_PARAM
    VVCI_ITEM_IOCTL = 5,     ///< PDU_IT_IO_…: outputs of I/O controls
    VVCI_ITEM_LIST = 6,      ///< module, resource, conflict and response-identifier lists
};
#define VVCI_ITEM_KINDS 7

/// Items handed to the application and taken back, by kind. When an application has destroyed all
/// that it got, both arrays are equal and the three counters below are 0.
typedef struct {
  uint64_t HandedOut[VVCI_ITEM_KINDS];
  uint64_t Destroyed[VVCI_ITEM_KINDS];
  uint64_t LeftAtDestruct;  ///< items that PDUDestruct had to take back
  uint64_t BadDestroys;     ///< PDUDestroyItem on something that was no item of the application
  uint64_t EventItemsLost;  ///< event items that a full queue dropped
} VVCI_LEDGER;

/// One call of a D-PDU function.
typedef struct {
  const CHAR8* Function;  ///< lives as long as the library
  UNUM32 hMod;            ///< first argument where it is a module handle, else PDU_HANDLE_UNDEF
  UNUM32 hCLL;            ///< likewise
  UNUM32 Detail;  ///< PDUStartComPrimitive: type; PDUIoCtl: command; …ComParam: identifier; else 0
  T_PDU_ERROR Result;
} VVCI_CALL;

/// Clocks.
PDU_ENUM(E_VVCI_CLOCK){
    VVCI_CLOCK_DEFAULT = 0,  ///< as option text, environment or scenario say
    VVCI_CLOCK_REALTIME = 1,
    VVCI_CLOCK_INSTANT = 2,
};

/// How the next PDUConstruct starts where its option text says nothing: `scenarioFile` (null: the
/// environment decides) and clock; both stand before the environment. PDU_ERR_INVALID_PARAMETERS
/// for an unknown clock or a path of more than 1023 bytes.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciConfigure(const CHAR8* scenarioFile, UNUM32 clock);

/// The next `count` calls of `function` ("PDUConnect") do nothing and return `result`; a count of 0
/// ends it. PDU_ERR_INVALID_PARAMETERS for an unknown function.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciInjectResult(const CHAR8* function, UNUM32 count,
                                                     T_PDU_ERROR result);

/// Copies the ledger.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciGetLedger(VVCI_LEDGER* ledger);

/// Switches the call log on (from then on at most the last 4096 calls are kept) or off. Off when
/// the library is loaded.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciLogCalls(UNUM32 on);

/// Copies up to `*count` calls, oldest first, and sets `*count` to the number copied; these are
/// then forgotten.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciGetCalls(VVCI_CALL* calls, UNUM32* count);

/// Pulls out the VCI with this serial number: calls on its modules give
/// PDU_ERR_COMM_PC_TO_VCI_FAILED, connected ones report PDU_ERR_EVT_LOST_COMM_TO_VCI, the module
/// list changes.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciUnplug(UNUM32 serialNumber);

/// Plugs it in again; modules that were connected have to be disconnected and connected anew.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciPlug(UNUM32 serialNumber);

/// Changes the module list: takes a VCI out of it or puts it back (present 0 or 1), without
/// touching connections.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciSetPresent(UNUM32 serialNumber, UNUM32 present);

/// Changes what a VCI reports: T_PDU_STATUS of a module that isn't connected (PDU_MODST_AVAIL,
/// …_NOT_READY, …) and the extra information that PDUGetStatus gives with it. The module list
/// changes.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciSetStatus(UNUM32 serialNumber, T_PDU_STATUS status,
                                                  UNUM32 extraInfo);

/// Sets a VCI's voltages as it measures them, in millivolts.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciSetVoltages(UNUM32 serialNumber, UNUM32 battery,
                                                    UNUM32 programming);

/// Sends a CAN frame on the bus of these pins as if a further ECU did. `identifier` with bit 31 set
/// has 29 bits, else 11; `size` 0 to 8. The module must be connected. The frame takes its turn on
/// the bus.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciSendFrame(UNUM32 hMod, UNUM32 pin1, UNUM32 pin2,
                                                  UNUM32 identifier, const UNUM8* data,
                                                  UNUM32 size);

/// Sends a message on the bus of these pins as if a further ECU did, whatever kind of bus it is:
/// the bytes are those that a link of the bus takes and gives (CAN: four bytes of identifier, most
/// significant first, and up to eight of data; else the whole frame). `flags` are transmit flags,
/// of which 0x100 makes the identifier one of 29 bits and 0x400 sends with high voltage, or one of
/// the two below.
/// PDU_ERR_PIN_NOT_CONNECTED without a bus, PDU_ERR_INVALID_PARAMETERS for bytes that are no
/// message there, or a break on a bus that has none.
#define VVCI_SEND_WRONG_CHECKSUM 0x40000000u  ///< the bus's own checksum (J1850) is wrong
#define VVCI_SEND_BREAK 0x80000000u  ///< a break (J1850 VPW, lines of bytes); `size` may be 0
typedef T_PDU_ERROR PDUAPI FN_VirtualVciSendBytes(UNUM32 hMod, UNUM32 pin1, UNUM32 pin2,
                                                  UNUM32 flags, const UNUM8* data, UNUM32 size);

/// What an ECU does wrong from now on, as far as its bus knows such a thing.
#define VVCI_FAULT_NONE 0
#define VVCI_FAULT_NO_ANSWER 1
#define VVCI_FAULT_WRONG_KEY_BYTE 2
#define VVCI_FAULT_WRONG_CHECKSUM 3
#define VVCI_FAULT_LATE_BYTES 4
/// For the ECU of this name on a connected module. PDU_ERR_INVALID_PARAMETERS without such an ECU
/// or fault.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciSetEcuFault(UNUM32 hMod, const CHAR8* ecu, UNUM32 fault);

/// A byte on a serial line, with the times of its start bit and of its end, in microseconds of the
/// module's clock.
typedef struct {
  UNUM32 Byte;
  UNUM32 Start;
  UNUM32 End;
} VVCI_BYTE;
/// Gives the bytes that an ECU on a serial line has heard, the oldest first, at most `*count` of
/// them; `*count` is then how many it gave. All are forgotten. PDU_ERR_INVALID_PARAMETERS without
/// such an ECU.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciTakeHeard(UNUM32 hMod, const CHAR8* ecu, VVCI_BYTE* bytes,
                                                  UNUM32* count);

/// Stops (0) or starts (1) the cyclic messages of every ECU of a connected module.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciSetCyclic(UNUM32 hMod, UNUM32 on);

/// Instant clock: moves a connected module's time forward, so that cyclic messages and repeated
/// ComPrimitives that fall due go out at once.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciAdvance(UNUM32 hMod, UNUM32 microseconds);

/// Start settings, faults, ledger and call log back to how they were when the library was loaded.
typedef T_PDU_ERROR PDUAPI FN_VirtualVciReset(void);

/// All of these, in the order of their ordinals, which begin at 101.
#define VIRTUAL_VCI_CONTROL_FUNCTIONS(FUNCTION) \
  FUNCTION(VirtualVciConfigure)                 \
  FUNCTION(VirtualVciInjectResult)              \
  FUNCTION(VirtualVciGetLedger)                 \
  FUNCTION(VirtualVciLogCalls)                  \
  FUNCTION(VirtualVciGetCalls)                  \
  FUNCTION(VirtualVciUnplug)                    \
  FUNCTION(VirtualVciPlug)                      \
  FUNCTION(VirtualVciSetPresent)                \
  FUNCTION(VirtualVciSetStatus)                 \
  FUNCTION(VirtualVciSetVoltages)               \
  FUNCTION(VirtualVciSendFrame)                 \
  FUNCTION(VirtualVciSetCyclic)                 \
  FUNCTION(VirtualVciAdvance)                   \
  FUNCTION(VirtualVciReset)                     \
  FUNCTION(VirtualVciSendBytes)                 \
  FUNCTION(VirtualVciSetEcuFault)               \
  FUNCTION(VirtualVciTakeHeard)
#define VVCI_POINTER_TYPE(name) typedef FN_##name* PFN_##name;
VIRTUAL_VCI_CONTROL_FUNCTIONS(VVCI_POINTER_TYPE)
#undef VVCI_POINTER_TYPE

#ifdef __cplusplus
}
#endif

#endif  // VIRTUAL_VCI_CONTROL_H_
