/// \file
/// Types, values and function signatures of the ISO 22900-2 D-PDU API.
///
/// Usable from C99 and C++. A program that drives a D-PDU API library loads it at run time and
/// binds the functions by name, so this header declares types of functions (`FN_…`) and pointers to
/// them (`PFN_…`), not functions.
///
/// Layouts: natural alignment, no packing; enumerations travel as 32-bit values (`T_PDU_…`), so
/// that a value which this header doesn't know is still a value. Calling convention: `PDUAPI`, for
/// the functions and for the callback.
///
/// Times: timestamps are microseconds on the module's clock, 32 bits, wrapping;
/// `PDU_COP_CTRL_DATA::Time` is milliseconds; voltages are millivolts.

#ifndef PASSBRIDGE_D_PDU_API_H_
#define PASSBRIDGE_D_PDU_API_H_

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define PDUAPI __stdcall
#else
#define PDUAPI
#endif

#if defined(__cplusplus)
#define PDU_ENUM(name) enum name : uint32_t
#define PDU_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
#define PDU_ENUM(name) enum name
#define PDU_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef uint8_t UNUM8;
typedef int8_t SNUM8;
typedef uint16_t UNUM16;
typedef int16_t SNUM16;
typedef uint32_t UNUM32;
typedef int32_t SNUM32;
typedef char CHAR8;

/// No module, link or ComPrimitive is meant.
#define PDU_HANDLE_UNDEF 0xFFFFFFFFu
/// No identifier: an object or resource that doesn't exist, or a response that no table row claims.
#define PDU_ID_UNDEF 0xFFFFFFFEu
/// `NumSendCycles` / `NumReceiveCycles`: go on until cancelled.
#define PDU_CYCLES_INFINITE (-1)
/// `NumReceiveCycles`: receive until the response time-out elapses.
#define PDU_CYCLES_MULTIPLE (-2)

/// Result of every function.
typedef UNUM32 T_PDU_ERROR;
PDU_ENUM(E_PDU_ERROR){
    PDU_STATUS_NOERROR = 0x00,
    PDU_ERR_FCT_FAILED = 0x01,
    PDU_ERR_DEVICE_NOT_CONNECTED = 0x10,  ///< extension
    PDU_ERR_COMM_PC_TO_VCI_FAILED = 0x11,
    PDU_ERR_PDUAPI_NOT_CONSTRUCTED = 0x20,
    PDU_ERR_SHARING_VIOLATION = 0x21,
    PDU_ERR_RESOURCE_BUSY = 0x30,
    PDU_ERR_RESOURCE_TABLE_CHANGED = 0x31,
    PDU_ERR_RESOURCE_ERROR = 0x32,
    PDU_ERR_CLL_NOT_CONNECTED = 0x40,
    PDU_ERR_CLL_NOT_STARTED = 0x41,
    PDU_ERR_INVALID_PARAMETERS = 0x50,
    PDU_ERR_INVALID_HANDLE = 0x60,
    PDU_ERR_VALUE_NOT_SUPPORTED = 0x61,
    PDU_ERR_ID_NOT_SUPPORTED = 0x62,
    PDU_ERR_COMPARAM_NOT_SUPPORTED = 0x63,
    PDU_ERR_COMPARAM_LOCKED = 0x64,
    PDU_ERR_TX_QUEUE_FULL = 0x70,
    PDU_ERR_EVENT_QUEUE_EMPTY = 0x71,
    PDU_ERR_VOLTAGE_NOT_SUPPORTED = 0x80,
    PDU_ERR_MUX_RSC_NOT_SUPPORTED = 0x81,
    PDU_ERR_CABLE_UNKNOWN = 0x82,
    PDU_ERR_NO_CABLE_DETECTED = 0x83,
    PDU_ERR_CLL_CONNECTED = 0x84,
    PDU_ERR_TEMPPARAM_NOT_ALLOWED = 0x90,
    PDU_ERR_RSC_LOCKED = 0xA0,
    PDU_ERR_RSC_LOCKED_BY_OTHER_CLL = 0xA1,
    PDU_ERR_RSC_NOT_LOCKED = 0xA2,
    PDU_ERR_MODULE_NOT_CONNECTED = 0xA3,
    PDU_ERR_API_SW_OUT_OF_DATE = 0xA4,
    PDU_ERR_MODULE_FW_OUT_OF_DATE = 0xA5,
    PDU_ERR_PIN_NOT_CONNECTED = 0xA6,
    PDU_ERR_DEVICE_IN_USE = 0x900  ///< extension
};

/// Item types: the first member of every item.
typedef UNUM32 T_PDU_IT;
PDU_ENUM(E_PDU_IT){
    PDU_IT_IO_UNUM32 = 0x1000,
    PDU_IT_IO_PROG_VOLTAGE = 0x1001,
    PDU_IT_IO_BYTEARRAY = 0x1002,
    PDU_IT_IO_FILTER = 0x1003,
    PDU_IT_IO_EVENT_QUEUE_PROPERTY = 0x1004,
    PDU_IT_RSC_STATUS = 0x1100,
    PDU_IT_PARAM = 0x1200,
    PDU_IT_RESULT = 0x1300,
    PDU_IT_STATUS = 0x1301,
    PDU_IT_ERROR = 0x1302,
    PDU_IT_INFO = 0x1303,
    PDU_IT_RSC_ID = 0x1400,
    PDU_IT_RSC_CONFLICT = 0x1500,
    PDU_IT_MODULE_ID = 0x1600,
    PDU_IT_UNIQUE_RESP_ID_TABLE = 0x1700,
};

/// ComPrimitive types.
typedef UNUM32 T_PDU_COPT;
PDU_ENUM(E_PDU_COPT){
    PDU_COPT_STARTCOMM = 0x8001, PDU_COPT_STOPCOMM = 0x8002, PDU_COPT_UPDATEPARAM = 0x8003,
    PDU_COPT_SENDRECV = 0x8004,  PDU_COPT_DELAY = 0x8005,    PDU_COPT_RESTORE_PARAM = 0x8006,
};

/// Object types of PDUGetObjectId.
typedef UNUM32 T_PDU_OBJT;
PDU_ENUM(E_PDU_OBJT){
    PDU_OBJT_PROTOCOL = 0x8021, PDU_OBJT_BUSTYPE = 0x8022, PDU_OBJT_IO_CTRL = 0x8023,
    PDU_OBJT_COMPARAM = 0x8024, PDU_OBJT_PINTYPE = 0x8025, PDU_OBJT_RESOURCE = 0x8026,
};

/// Status of a ComPrimitive, a link or a module.
typedef UNUM32 T_PDU_STATUS;
PDU_ENUM(E_PDU_STATUS){
    PDU_COPST_IDLE = 0x8010,      PDU_COPST_EXECUTING = 0x8011,    PDU_COPST_FINISHED = 0x8012,
    PDU_COPST_CANCELLED = 0x8013, PDU_COPST_WAITING = 0x8014,      PDU_CLLST_OFFLINE = 0x8050,
    PDU_CLLST_ONLINE = 0x8051,    PDU_CLLST_COMM_STARTED = 0x8052, PDU_MODST_READY = 0x8060,
    PDU_MODST_NOT_READY = 0x8061, PDU_MODST_NOT_AVAIL = 0x8062,    PDU_MODST_AVAIL = 0x8063,
};

/// Codes of information items.
typedef UNUM32 T_PDU_INFO;
PDU_ENUM(E_PDU_INFO){
    PDU_INFO_MODULE_LIST_CHG = 0x8070,
    PDU_INFO_RSC_LOCK_CHG = 0x8071,
    PDU_INFO_PHYS_COMPARAM_CHG = 0x8072,
};

/// First argument of the event callback.
typedef UNUM32 T_PDU_EVT_DATA;
PDU_ENUM(E_PDU_EVT_DATA){
    PDU_EVT_DATA_AVAILABLE = 0x0801,
    PDU_EVT_DATA_LOST = 0x0802,
};

/// Types of message filters; the `_UUDT` ones concern raw frames on a segmenting protocol.
typedef UNUM32 T_PDU_FILTER;
PDU_ENUM(E_PDU_FILTER){
    PDU_FLT_PASS = 0x01,
    PDU_FLT_BLOCK = 0x02,
    PDU_FLT_PASS_UUDT = 0x11,
    PDU_FLT_BLOCK_UUDT = 0x12,
};

/// What an event queue does when it is full: LIMITED refuses the new item, CIRCULAR drops the
/// oldest.
typedef UNUM32 T_PDU_QUEUE_MODE;
PDU_ENUM(E_PDU_QUEUE_MODE){
    PDU_QUE_UNLIMITED = 0,
    PDU_QUE_LIMITED = 1,
    PDU_QUE_CIRCULAR = 2,
};

/// Data type of a ComParam.
typedef UNUM32 T_PDU_PT;
PDU_ENUM(E_PDU_PT){
    PDU_PT_UNUM8 = 0x101,     PDU_PT_SNUM8 = 0x102,       PDU_PT_UNUM16 = 0x103,
    PDU_PT_SNUM16 = 0x104,    PDU_PT_UNUM32 = 0x105,      PDU_PT_SNUM32 = 0x106,
    PDU_PT_BYTEFIELD = 0x107, PDU_PT_STRUCTFIELD = 0x108, PDU_PT_LONGFIELD = 0x109,
};

/// Class of a ComParam.
typedef UNUM32 T_PDU_PC;
PDU_ENUM(E_PDU_PC){
    PDU_PC_TIMING = 1,         PDU_PC_INIT = 2,    PDU_PC_COM = 3,
    PDU_PC_ERRHDL = 4,         PDU_PC_BUSTYPE = 5, PDU_PC_UNIQUE_ID = 6,
    PDU_PC_TESTER_PRESENT = 7,
};

/// Codes of error items and of PDUGetLastError.
typedef UNUM32 T_PDU_ERR_EVT;
PDU_ENUM(E_PDU_ERR_EVT){
    PDU_ERR_EVT_NOERROR = 0x000,
    PDU_ERR_EVT_FRAME_STRUCT = 0x100,
    PDU_ERR_EVT_TX_ERROR = 0x101,
    PDU_ERR_EVT_TESTER_PRESENT_ERROR = 0x102,
    PDU_ERR_EVT_RX_TIMEOUT = 0x103,
    PDU_ERR_EVT_RX_ERROR = 0x104,
    PDU_ERR_EVT_PROT_ERR = 0x105,
    PDU_ERR_EVT_LOST_COMM_TO_VCI = 0x106,
    PDU_ERR_EVT_VCI_HARDWARE_FAULT = 0x107,
    PDU_ERR_EVT_INIT_ERROR = 0x108,
    PDU_ERR_EVT_RSC_LOCKED = 0x109,
};

/// Head of every item.
typedef struct {
  T_PDU_IT ItemType;
} PDU_ITEM;

typedef struct {
  UNUM32 NumFlagBytes;
  UNUM8* pFlagData;
} PDU_FLAG_DATA;

typedef struct {
  UNUM32 DLCPinNumber;
  UNUM32 DLCPinTypeId;
} PDU_PIN_DATA;

typedef struct {
  UNUM32 BusTypeId;
  UNUM32 ProtocolId;
  UNUM32 NumPinData;
  PDU_PIN_DATA* pDLCPinData;
} PDU_RSC_DATA;

typedef struct {
  UNUM32 ModuleTypeId;
  UNUM32 hMod;
  CHAR8* pVendorModuleName;
  CHAR8* pVendorAdditionalInfo;
  T_PDU_STATUS ModuleStatus;
} PDU_MODULE_DATA;

typedef struct {
  T_PDU_IT ItemType;  ///< PDU_IT_MODULE_ID
  UNUM32 NumEntries;
  PDU_MODULE_DATA* pModuleData;
} PDU_MODULE_ITEM;

typedef struct {
  UNUM32 hMod;
  UNUM32 NumIds;
  UNUM32* pResourceIdArray;
} PDU_RSC_ID_ITEM_DATA;

typedef struct {
  T_PDU_IT ItemType;  ///< PDU_IT_RSC_ID
  UNUM32 NumModules;
  PDU_RSC_ID_ITEM_DATA* pResourceIdDataArray;
} PDU_RSC_ID_ITEM;

/// Bits of `ResourceStatus`: in use by at least one link; locked for ComParams; locked for
/// transmission.
#define PDU_RSC_STATUS_IN_USE 0x01u
#define PDU_RSC_STATUS_COMPARAMS_LOCKED 0x02u
#define PDU_RSC_STATUS_TRANSMIT_LOCKED 0x04u

/// Bits of `LockMask`: physical ComParams; the transmit queue.
#define PDU_LOCK_COMPARAMS 0x01u
#define PDU_LOCK_TRANSMIT 0x02u

typedef struct {
  UNUM32 hMod;
  UNUM32 ResourceId;
  UNUM32 ResourceStatus;
} PDU_RSC_STATUS_DATA;

typedef struct {
  T_PDU_IT ItemType;  ///< PDU_IT_RSC_STATUS
  UNUM32 NumEntries;
  PDU_RSC_STATUS_DATA* pResourceStatusData;
} PDU_RSC_STATUS_ITEM;

typedef struct {
  UNUM32 hMod;
  UNUM32 ResourceId;
} PDU_RSC_CONFLICT_DATA;

typedef struct {
  T_PDU_IT ItemType;  ///< PDU_IT_RSC_CONFLICT
  UNUM32 NumEntries;
  PDU_RSC_CONFLICT_DATA* pRscConflictData;
} PDU_RSC_CONFLICT_ITEM;

/// `pComParamData` points to one value of the data type, or to a PDU_PARAM_…FIELD_DATA.
typedef struct {
  T_PDU_IT ItemType;  ///< PDU_IT_PARAM
  UNUM32 ComParamId;
  T_PDU_PT ComParamDataType;
  T_PDU_PC ComParamClass;
  void* pComParamData;
} PDU_PARAM_ITEM;

typedef struct {
  UNUM32 ParamMaxLen;
  UNUM32 ParamActLen;
  UNUM8* pDataArray;
} PDU_PARAM_BYTEFIELD_DATA;

typedef struct {
  UNUM32 ParamMaxLen;
  UNUM32 ParamActLen;
  UNUM32* pDataArray;
} PDU_PARAM_LONGFIELD_DATA;

typedef struct {
  UNUM32 UniqueRespIdentifier;
  UNUM32 NumParamItems;
  PDU_PARAM_ITEM* pParams;
} PDU_ECU_UNIQUE_RESP_DATA;

typedef struct {
  T_PDU_IT ItemType;  ///< PDU_IT_UNIQUE_RESP_ID_TABLE
  UNUM32 NumEntries;
  PDU_ECU_UNIQUE_RESP_DATA* pUniqueData;
} PDU_UNIQUE_RESP_ID_TABLE_ITEM;

/// Input or output of an I/O control; `pData` points to what the item type says.
typedef struct {
  T_PDU_IT ItemType;
  void* pData;
} PDU_DATA_ITEM;

typedef struct {
  UNUM32 ProgVoltage_mv;
  UNUM32 PinOnDLC;
} PDU_IO_PROG_VOLTAGE_DATA;

typedef struct {
  UNUM32 DataSize;
  UNUM8* pData;
} PDU_IO_BYTEARRAY_DATA;

#define PDU_FILTER_BYTES 12

typedef struct {
  T_PDU_FILTER FilterType;
  UNUM32 FilterNumber;
  UNUM32 FilterCompareSize;
  UNUM8 FilterMaskMessage[PDU_FILTER_BYTES];
  UNUM8 FilterPatternMessage[PDU_FILTER_BYTES];
} PDU_IO_FILTER_DATA;

typedef struct {
  UNUM32 NumFilterEntries;
  PDU_IO_FILTER_DATA* pFilterData;
} PDU_IO_FILTER_LIST;

typedef struct {
  UNUM32 QueueSize;
  T_PDU_QUEUE_MODE QueueMode;
} PDU_IO_EVENT_QUEUE_PROPERTY_DATA;

typedef struct {
  UNUM32 NumHeaderBytes;
  UNUM32 NumFooterBytes;
  UNUM8* pHeaderBytes;
  UNUM8* pFooterBytes;
} PDU_EXTRA_INFO;

typedef struct {
  PDU_FLAG_DATA RxFlag;
  UNUM32 UniqueRespIdentifier;
  UNUM32 AcceptanceId;
  PDU_FLAG_DATA TimestampFlags;
  UNUM32 TxMsgDoneTimestamp;
  UNUM32 StartMsgTimestamp;
  PDU_EXTRA_INFO* pExtraInfo;
  UNUM32 NumDataBytes;
  UNUM8* pDataBytes;
} PDU_RESULT_DATA;

typedef struct {
  T_PDU_ERR_EVT ErrorCodeId;
  UNUM32 ExtraErrorInfoId;
} PDU_ERROR_DATA;

typedef struct {
  T_PDU_INFO InfoCode;
  UNUM32 ExtraInfoData;
} PDU_INFO_DATA;

/// `pData` points to a PDU_RESULT_DATA, a T_PDU_STATUS, a PDU_ERROR_DATA or a PDU_INFO_DATA, as the
/// item type says.
typedef struct {
  T_PDU_IT ItemType;
  UNUM32 hCop;
  void* pCoPTag;
  UNUM32 Timestamp;
  void* pData;
} PDU_EVENT_ITEM;

typedef struct {
  UNUM32 ResponseType;  ///< 0 positive, 1 negative
  UNUM32 AcceptanceId;
  UNUM32 NumMaskPatternBytes;
  UNUM8* pMaskData;
  UNUM8* pPatternData;
  UNUM32 NumUniqueRespIds;  ///< 0: any
  UNUM32* pUniqueRespIds;
} PDU_EXP_RESP_DATA;

typedef struct {
  UNUM32 Time;  ///< ms: cycle time of a SENDRECV, duration of a DELAY
  SNUM32 NumSendCycles;
  SNUM32 NumReceiveCycles;
  UNUM32 TempParamUpdate;
  PDU_FLAG_DATA TxFlag;
  UNUM32 NumPossibleExpectedResponses;
  PDU_EXP_RESP_DATA* pExpectedResponseArray;
} PDU_COP_CTRL_DATA;

typedef struct {
  UNUM32 MVCI_Part1StandardVersion;
  UNUM32 MVCI_Part2StandardVersion;
  UNUM32 HwSerialNumber;
  CHAR8 HwName[64];
  UNUM32 HwVersion;
  UNUM32 HwDate;
  UNUM32 HwInterface;
  CHAR8 FwName[64];
  UNUM32 FwVersion;
  UNUM32 FwDate;
  CHAR8 VendorName[64];
  CHAR8 PDUApiSwName[64];
  UNUM32 PDUApiSwVersion;
  UNUM32 PDUApiSwDate;
} PDU_VERSION_DATA;

/// Called on a thread of the D-PDU API library when the queue of a link (or, with `hCLL`
/// PDU_HANDLE_UNDEF, of a module or of the system) goes from empty to filled, or loses an item.
typedef void(PDUAPI* CALLBACKFNC)(T_PDU_EVT_DATA eventType, UNUM32 hMod, UNUM32 hCLL, void* pCllTag,
                                  void* pAPITag);

typedef T_PDU_ERROR PDUAPI FN_PDUConstruct(CHAR8* OptionStr, void* pAPITag);
typedef T_PDU_ERROR PDUAPI FN_PDUDestruct(void);
typedef T_PDU_ERROR PDUAPI FN_PDUModuleConnect(UNUM32 hMod);
typedef T_PDU_ERROR PDUAPI FN_PDUModuleDisconnect(UNUM32 hMod);
typedef T_PDU_ERROR PDUAPI FN_PDUGetModuleIds(PDU_MODULE_ITEM** pModuleIdList);
typedef T_PDU_ERROR PDUAPI FN_PDUGetObjectId(T_PDU_OBJT pduObjectType, CHAR8* pShortname,
                                             UNUM32* pPduObjectId);
/// Extension: resolves many names of one type; a name that isn't known leaves PDU_ID_UNDEF in its
/// cell.
typedef T_PDU_ERROR PDUAPI FN_PDUGetObjectIds(T_PDU_OBJT pduObjectType, UNUM32 NumNames,
                                              CHAR8** pShortnames, UNUM32** pPduObjectIds);
typedef T_PDU_ERROR PDUAPI FN_PDUGetResourceIds(UNUM32 hMod, PDU_RSC_DATA* pResourceIdData,
                                                PDU_RSC_ID_ITEM** pResourceIdList);
typedef T_PDU_ERROR PDUAPI
FN_PDUGetConflictingResources(UNUM32 resourceId, PDU_MODULE_ITEM* pInputModuleList,
                              PDU_RSC_CONFLICT_ITEM** pOutputConflictList);
typedef T_PDU_ERROR PDUAPI FN_PDUGetResourceStatus(PDU_RSC_STATUS_ITEM* pResourceStatus);
typedef T_PDU_ERROR PDUAPI FN_PDUCreateComLogicalLink(UNUM32 hMod, PDU_RSC_DATA* pRscData,
                                                      UNUM32 resourceId, void* pCllTag,
                                                      UNUM32* phCLL, PDU_FLAG_DATA* pCllCreateFlag);
typedef T_PDU_ERROR PDUAPI FN_PDUDestroyComLogicalLink(UNUM32 hMod, UNUM32 hCLL);
typedef T_PDU_ERROR PDUAPI FN_PDUConnect(UNUM32 hMod, UNUM32 hCLL);
typedef T_PDU_ERROR PDUAPI FN_PDUDisconnect(UNUM32 hMod, UNUM32 hCLL);
typedef T_PDU_ERROR PDUAPI FN_PDULockResource(UNUM32 hMod, UNUM32 hCLL, UNUM32 LockMask);
typedef T_PDU_ERROR PDUAPI FN_PDUUnlockResource(UNUM32 hMod, UNUM32 hCLL, UNUM32 LockMask);
typedef T_PDU_ERROR PDUAPI FN_PDURegisterEventCallback(UNUM32 hMod, UNUM32 hCLL,
                                                       CALLBACKFNC EventCallbackFunction);
typedef T_PDU_ERROR PDUAPI FN_PDUGetComParam(UNUM32 hMod, UNUM32 hCLL, UNUM32 ParamId,
                                             PDU_PARAM_ITEM** pParamItem);
typedef T_PDU_ERROR PDUAPI FN_PDUSetComParam(UNUM32 hMod, UNUM32 hCLL, PDU_PARAM_ITEM* pParamItem);
typedef T_PDU_ERROR PDUAPI FN_PDUGetUniqueRespIdTable(
    UNUM32 hMod, UNUM32 hCLL, PDU_UNIQUE_RESP_ID_TABLE_ITEM** pUniqueRespIdTable);
typedef T_PDU_ERROR PDUAPI FN_PDUSetUniqueRespIdTable(
    UNUM32 hMod, UNUM32 hCLL, PDU_UNIQUE_RESP_ID_TABLE_ITEM* pUniqueRespIdTable);
typedef T_PDU_ERROR PDUAPI FN_PDUStartComPrimitive(UNUM32 hMod, UNUM32 hCLL, T_PDU_COPT CoPType,
                                                   UNUM32 CoPDataSize, UNUM8* pCoPData,
                                                   PDU_COP_CTRL_DATA* pCopCtrlData, void* pCoPTag,
                                                   UNUM32* phCoP);
typedef T_PDU_ERROR PDUAPI FN_PDUCancelComPrimitive(UNUM32 hMod, UNUM32 hCLL, UNUM32 hCoP);
typedef T_PDU_ERROR PDUAPI FN_PDUGetEventItem(UNUM32 hMod, UNUM32 hCLL,
                                              PDU_EVENT_ITEM** pEventItem);
/// Extension: up to `NumItems` event items into an array of that many pointers; the count fetched
/// comes back.
typedef T_PDU_ERROR PDUAPI FN_PDUGetEventItems(UNUM32 hMod, UNUM32 hCLL, UNUM32* pNumItems,
                                               PDU_EVENT_ITEM** pItems);
typedef T_PDU_ERROR PDUAPI FN_PDUDestroyItem(PDU_ITEM* pItem);
/// Extension: destroys the `NumItems` items of an array.
typedef T_PDU_ERROR PDUAPI FN_PDUDestroyItems(UNUM32 NumItems, PDU_ITEM** pItems);
typedef T_PDU_ERROR PDUAPI FN_PDUIoCtl(UNUM32 hMod, UNUM32 hCLL, UNUM32 IoCtlCommandId,
                                       PDU_DATA_ITEM* pInputData, PDU_DATA_ITEM** pOutputData);
typedef T_PDU_ERROR PDUAPI FN_PDUGetVersion(UNUM32 hMod, PDU_VERSION_DATA* pVersionData);
typedef T_PDU_ERROR PDUAPI FN_PDUGetStatus(UNUM32 hMod, UNUM32 hCLL, UNUM32 hCoP,
                                           T_PDU_STATUS* pStatusCode, UNUM32* pTimestamp,
                                           UNUM32* pExtraInfo);
typedef T_PDU_ERROR PDUAPI FN_PDUGetLastError(UNUM32 hMod, UNUM32 hCLL, T_PDU_ERR_EVT* pErrorCode,
                                              UNUM32* phCoP, UNUM32* pTimestamp,
                                              UNUM32* pExtraErrorInfo);
typedef T_PDU_ERROR PDUAPI FN_PDUGetTimestamp(UNUM32 hMod, UNUM32* pTimestamp);

typedef FN_PDUConstruct* PFN_PDUConstruct;
typedef FN_PDUDestruct* PFN_PDUDestruct;
typedef FN_PDUModuleConnect* PFN_PDUModuleConnect;
typedef FN_PDUModuleDisconnect* PFN_PDUModuleDisconnect;
typedef FN_PDUGetModuleIds* PFN_PDUGetModuleIds;
typedef FN_PDUGetObjectId* PFN_PDUGetObjectId;
typedef FN_PDUGetObjectIds* PFN_PDUGetObjectIds;
typedef FN_PDUGetResourceIds* PFN_PDUGetResourceIds;
typedef FN_PDUGetConflictingResources* PFN_PDUGetConflictingResources;
typedef FN_PDUGetResourceStatus* PFN_PDUGetResourceStatus;
typedef FN_PDUCreateComLogicalLink* PFN_PDUCreateComLogicalLink;
typedef FN_PDUDestroyComLogicalLink* PFN_PDUDestroyComLogicalLink;
typedef FN_PDUConnect* PFN_PDUConnect;
typedef FN_PDUDisconnect* PFN_PDUDisconnect;
typedef FN_PDULockResource* PFN_PDULockResource;
typedef FN_PDUUnlockResource* PFN_PDUUnlockResource;
typedef FN_PDURegisterEventCallback* PFN_PDURegisterEventCallback;
typedef FN_PDUGetComParam* PFN_PDUGetComParam;
typedef FN_PDUSetComParam* PFN_PDUSetComParam;
typedef FN_PDUGetUniqueRespIdTable* PFN_PDUGetUniqueRespIdTable;
typedef FN_PDUSetUniqueRespIdTable* PFN_PDUSetUniqueRespIdTable;
typedef FN_PDUStartComPrimitive* PFN_PDUStartComPrimitive;
typedef FN_PDUCancelComPrimitive* PFN_PDUCancelComPrimitive;
typedef FN_PDUGetEventItem* PFN_PDUGetEventItem;
typedef FN_PDUGetEventItems* PFN_PDUGetEventItems;
typedef FN_PDUDestroyItem* PFN_PDUDestroyItem;
typedef FN_PDUDestroyItems* PFN_PDUDestroyItems;
typedef FN_PDUIoCtl* PFN_PDUIoCtl;
typedef FN_PDUGetVersion* PFN_PDUGetVersion;
typedef FN_PDUGetStatus* PFN_PDUGetStatus;
typedef FN_PDUGetLastError* PFN_PDUGetLastError;
typedef FN_PDUGetTimestamp* PFN_PDUGetTimestamp;

#ifdef __cplusplus
}
#endif

// The layouts, with pointers of 4 and of 8 bytes: size where pointers have 4 bytes, then where they
// have 8.
#define PDU_CHECK_SIZE(type, size32, size64)                                            \
  PDU_STATIC_ASSERT(sizeof(type) == (sizeof(void*) == 4 ? (size_t)(size32) : (size64)), \
                    #type " has another size than the standard says")
#define PDU_CHECK_OFFSET(type, member, offset32, offset64)                              \
  PDU_STATIC_ASSERT(                                                                    \
      offsetof(type, member) == (sizeof(void*) == 4 ? (size_t)(offset32) : (offset64)), \
      #type "::" #member " lies elsewhere than the standard says")

PDU_CHECK_SIZE(PDU_ITEM, 4, 4);
PDU_CHECK_SIZE(PDU_FLAG_DATA, 8, 16);
PDU_CHECK_SIZE(PDU_PIN_DATA, 8, 8);
PDU_CHECK_SIZE(PDU_RSC_DATA, 16, 24);
PDU_CHECK_SIZE(PDU_MODULE_DATA, 20, 32);
PDU_CHECK_SIZE(PDU_MODULE_ITEM, 12, 16);
PDU_CHECK_SIZE(PDU_RSC_ID_ITEM_DATA, 12, 16);
PDU_CHECK_SIZE(PDU_RSC_ID_ITEM, 12, 16);
PDU_CHECK_SIZE(PDU_RSC_STATUS_DATA, 12, 12);
PDU_CHECK_SIZE(PDU_RSC_STATUS_ITEM, 12, 16);
PDU_CHECK_SIZE(PDU_RSC_CONFLICT_DATA, 8, 8);
PDU_CHECK_SIZE(PDU_RSC_CONFLICT_ITEM, 12, 16);
PDU_CHECK_SIZE(PDU_PARAM_ITEM, 20, 24);
PDU_CHECK_OFFSET(PDU_PARAM_ITEM, pComParamData, 16, 16);
PDU_CHECK_SIZE(PDU_PARAM_BYTEFIELD_DATA, 12, 16);
PDU_CHECK_SIZE(PDU_PARAM_LONGFIELD_DATA, 12, 16);
PDU_CHECK_SIZE(PDU_ECU_UNIQUE_RESP_DATA, 12, 16);
PDU_CHECK_SIZE(PDU_UNIQUE_RESP_ID_TABLE_ITEM, 12, 16);
PDU_CHECK_SIZE(PDU_DATA_ITEM, 8, 16);
PDU_CHECK_SIZE(PDU_IO_PROG_VOLTAGE_DATA, 8, 8);
PDU_CHECK_SIZE(PDU_IO_BYTEARRAY_DATA, 8, 16);
PDU_CHECK_SIZE(PDU_IO_FILTER_DATA, 36, 36);
PDU_CHECK_SIZE(PDU_IO_FILTER_LIST, 8, 16);
PDU_CHECK_SIZE(PDU_IO_EVENT_QUEUE_PROPERTY_DATA, 8, 8);
PDU_CHECK_SIZE(PDU_EXTRA_INFO, 16, 24);
PDU_CHECK_SIZE(PDU_RESULT_DATA, 44, 72);
PDU_CHECK_OFFSET(PDU_RESULT_DATA, TimestampFlags, 16, 24);
PDU_CHECK_OFFSET(PDU_RESULT_DATA, pExtraInfo, 32, 48);
PDU_CHECK_OFFSET(PDU_RESULT_DATA, pDataBytes, 40, 64);
PDU_CHECK_SIZE(PDU_ERROR_DATA, 8, 8);
PDU_CHECK_SIZE(PDU_INFO_DATA, 8, 8);
PDU_CHECK_SIZE(PDU_EVENT_ITEM, 20, 32);
PDU_CHECK_OFFSET(PDU_EVENT_ITEM, Timestamp, 12, 16);
PDU_CHECK_SIZE(PDU_EXP_RESP_DATA, 28, 48);
PDU_CHECK_SIZE(PDU_COP_CTRL_DATA, 32, 48);
PDU_CHECK_OFFSET(PDU_COP_CTRL_DATA, TxFlag, 16, 16);
PDU_CHECK_SIZE(PDU_VERSION_DATA, 296, 296);
PDU_CHECK_OFFSET(PDU_VERSION_DATA, HwInterface, 84, 84);

#undef PDU_CHECK_SIZE
#undef PDU_CHECK_OFFSET

#endif  // PASSBRIDGE_D_PDU_API_H_
