/*
 * The SAE J2534 PassThru interface: J2534-1 (version 04.04) and the J2534-2 extensions that
 * Passbridge serves. For C11 and C++; an application includes this header and loads the library
 * at run time (PFN_... types), or links with it.
 *
 * The standard writes its fields and arguments as `unsigned long`: 32 bits on Windows, 64 bits on
 * 64-bit Linux. Clients that use 32-bit fields on Linux, too, define PASSBRIDGE_J2534_U32 before
 * the include and load libpassbridge_u32.so instead of libpassbridge.so. The two layouts have
 * different structure tags, so that one program can't mix them unnoticed.
 */
#ifndef PASSBRIDGE_J2534_H_
#define PASSBRIDGE_J2534_H_

#include <stddef.h>
#include <stdint.h>

/* Calling convention of every function. */
#ifndef J2534_CALL
#ifdef _WIN32
#define J2534_CALL __stdcall
#else
#define J2534_CALL
#endif
#endif

/* Decoration of the prototypes; empty for applications. */
#ifndef J2534_API
#define J2534_API
#endif

#ifdef PASSBRIDGE_J2534_U32
typedef uint32_t j2534_ulong;
#define J2534_TAG(name) name##_U32
#else
typedef unsigned long j2534_ulong;
#define J2534_TAG(name) name
#endif

/* ---- Statuses (result of every function) ---- */

#define STATUS_NOERROR 0x00u
#define ERR_NOT_SUPPORTED 0x01u
#define ERR_INVALID_CHANNEL_ID 0x02u
#define ERR_INVALID_PROTOCOL_ID 0x03u
#define ERR_NULL_PARAMETER 0x04u
#define ERR_INVALID_IOCTL_VALUE 0x05u
#define ERR_INVALID_FLAGS 0x06u
#define ERR_FAILED 0x07u
#define ERR_DEVICE_NOT_CONNECTED 0x08u
#define ERR_TIMEOUT 0x09u
#define ERR_INVALID_MSG 0x0Au
#define ERR_INVALID_TIME_INTERVAL 0x0Bu
#define ERR_EXCEEDED_LIMIT 0x0Cu
#define ERR_INVALID_MSG_ID 0x0Du
#define ERR_DEVICE_IN_USE 0x0Eu
#define ERR_INVALID_IOCTL_ID 0x0Fu
#define ERR_BUFFER_EMPTY 0x10u
#define ERR_BUFFER_FULL 0x11u
#define ERR_BUFFER_OVERFLOW 0x12u
#define ERR_PIN_INVALID 0x13u
#define ERR_CHANNEL_IN_USE 0x14u
#define ERR_MSG_PROTOCOL_ID 0x15u
#define ERR_INVALID_FILTER_ID 0x16u
#define ERR_NO_FLOW_CONTROL 0x17u
#define ERR_NOT_UNIQUE 0x18u
#define ERR_INVALID_BAUDRATE 0x19u
#define ERR_INVALID_DEVICE_ID 0x1Au

/* ---- Protocol identifiers ---- */

/* J2534-1 */
#define J1850VPW 0x01u
#define J1850PWM 0x02u
#define ISO9141 0x03u
#define ISO14230 0x04u
#define CAN 0x05u
#define ISO15765 0x06u
#define SCI_A_ENGINE 0x07u
#define SCI_A_TRANS 0x08u
#define SCI_B_ENGINE 0x09u
#define SCI_B_TRANS 0x0Au

/* J2534-2, pin-switched: the channel connects once J1962_PINS is set */
#define J1850VPW_PS 0x8000u
#define J1850PWM_PS 0x8001u
#define ISO9141_PS 0x8002u
#define ISO14230_PS 0x8003u
#define CAN_PS 0x8004u
#define ISO15765_PS 0x8005u
#define J2610_PS 0x8006u
#define SW_ISO15765_PS 0x8007u
#define SW_CAN_PS 0x8008u
#define GM_UART_PS 0x8009u
#define UART_ECHO_BYTE_PS 0x800Au /* refused by Passbridge, as are the next four */
#define HONDA_DIAGH_PS 0x800Bu
#define J1939_PS 0x800Cu
#define J1708_PS 0x800Du
#define TP2_0_PS 0x800Eu
#define FT_CAN_PS 0x800Fu
#define FT_ISO15765_PS 0x8010u

/* J2534-2, additional channels: CH1 to CH128 of a kind are consecutive */
#define CAN_CH1 0x9000u
#define CAN_CH128 0x907Fu
#define J1850VPW_CH1 0x9080u
#define J1850VPW_CH128 0x90FFu
#define J1850PWM_CH1 0x9160u
#define J1850PWM_CH128 0x91DFu
#define ISO9141_CH1 0x9240u
#define ISO9141_CH128 0x92BFu
#define ISO14230_CH1 0x9320u
#define ISO14230_CH128 0x939Fu
#define ISO15765_CH1 0x9400u
#define ISO15765_CH128 0x947Fu
#define SW_CAN_CAN_CH1 0x9480u
#define SW_CAN_CAN_CH128 0x94FFu
#define SW_CAN_ISO15765_CH1 0x9560u
#define SW_CAN_ISO15765_CH128 0x95DFu
#define J2610_CH1 0x9640u
#define J2610_CH128 0x96BFu

/* Manufacturer protocols */
#define FGA7274 0x10000u    /* on high-speed CAN */
#define FT_FGA7274 0x10001u /* the same on fault-tolerant CAN */
#define UBP_PS 0x10002u

/* ---- Flags ---- */

/* PassThruConnect; CAN_29BIT_ID also in TxFlags and RxStatus */
#define CAN_29BIT_ID 0x100u
#define ISO9141_NO_CHECKSUM 0x200u
#define CAN_ID_BOTH 0x800u
#define ISO9141_K_LINE_ONLY 0x1000u

/* TxFlags of a message; ISO15765_ADDR_TYPE also in RxStatus */
#define ISO15765_FRAME_PAD 0x40u
#define ISO15765_ADDR_TYPE 0x80u
#define WAIT_P3_MIN_ONLY 0x200u
#define SW_CAN_HV_TX 0x400u
#define SCI_MODE 0x400000u
#define SCI_TX_VOLTAGE 0x800000u

/* RxStatus of a message */
#define TX_MSG_TYPE 0x01u      /* echo of a message that this side sent */
#define START_OF_MESSAGE 0x02u /* indication: first byte or first frame received */
#define RX_BREAK 0x04u         /* indication: break received */
#define TX_INDICATION 0x08u    /* indication: message sent */
#define TX_DONE TX_INDICATION
#define ISO15765_PADDING_ERROR 0x10u
#define SW_CAN_HV_RX 0x10000u            /* indication: high-voltage message received */
#define FT_ERROR 0x20000u                /* indication: fault-tolerant CAN runs on one wire */
#define RX_SPD_CHG_EVENT 0x40000u        /* indication: single-wire CAN changed its speed */
#define J1939_ADDRESS_LOST 0x800000u     /* indication */
#define J1939_ADDRESS_CLAIMED 0x1000000u /* indication */

/* ---- Filters ---- */

#define PASS_FILTER 1u
#define BLOCK_FILTER 2u
#define FLOW_CONTROL_FILTER 3u

/* ---- PassThruSetProgrammingVoltage: instead of millivolts ---- */

#define SHORT_TO_GROUND 0xFFFFFFFEu
#define VOLTAGE_OFF 0xFFFFFFFFu

/* ---- PassThruIoctl ---- */

/* J2534-1 */
#define GET_CONFIG 0x01u
#define SET_CONFIG 0x02u
#define READ_VBATT 0x03u
#define FIVE_BAUD_INIT 0x04u
#define FAST_INIT 0x05u
#define CLEAR_TX_BUFFER 0x07u
#define CLEAR_RX_BUFFER 0x08u
#define CLEAR_PERIODIC_MSGS 0x09u
#define CLEAR_MSG_FILTERS 0x0Au
#define CLEAR_FUNCT_MSG_LOOKUP_TABLE 0x0Bu
#define ADD_TO_FUNCT_MSG_LOOKUP_TABLE 0x0Cu
#define DELETE_FROM_FUNCT_MSG_LOOKUP_TABLE 0x0Du
#define READ_PROG_VOLTAGE 0x0Eu

/* J2534-2 */
#define SW_CAN_HS 0x8000u
#define SW_CAN_NS 0x8001u
#define SET_POLL_RESPONSE 0x8002u
#define BECOME_MASTER 0x8003u
#define START_REPEAT_MESSAGE 0x8004u
#define QUERY_REPEAT_MESSAGE 0x8005u
#define STOP_REPEAT_MESSAGE 0x8006u
#define GET_DEVICE_CONFIG 0x8007u
#define SET_DEVICE_CONFIG 0x8008u
#define PROTECT_J1939_ADDR 0x8009u

/* Manufacturer. Their pointers lead to one j2534_ulong. */
#define FORGET_LAST_USED_VCI 0x10001u  /* no argument */
#define GET_VCI_SERIAL_NUMBER 0x10002u /* output; the handle is a DeviceID */
#define READ_CABLE_ID 0x10003u         /* output, 0 without a cable; the handle is a DeviceID */
#define J1850PWM_TERMINATION 0x10004u  /* input */
#define SUPPRESS_VCI_DIALOG 0x10005u   /* input: 1 suppresses, any other but 0 allows */

/* ---- Configuration parameters (GET_CONFIG, SET_CONFIG) ---- */

#define DATA_RATE 0x01u /* bit/s */
#define LOOPBACK 0x03u
#define NODE_ADDRESS 0x04u
#define NETWORK_LINE 0x05u
#define P1_MIN 0x06u /* P times: steps of 0.5 ms */
#define P1_MAX 0x07u
#define P2_MIN 0x08u
#define P2_MAX 0x09u
#define P3_MIN 0x0Au
#define P3_MAX 0x0Bu
#define P4_MIN 0x0Cu
#define P4_MAX 0x0Du
#define W1 0x0Eu /* W and T times: ms */
#define W2 0x0Fu
#define W3 0x10u
#define W4 0x11u
#define W5 0x12u
#define TIDLE 0x13u
#define TINIL 0x14u
#define TWUP 0x15u
#define PARITY 0x16u
#define BIT_SAMPLE_POINT 0x17u /* percent, as is SYNC_JUMP_WIDTH */
#define SYNC_JUMP_WIDTH 0x18u
#define W0 0x19u
#define T1_MAX 0x1Au
#define T2_MAX 0x1Bu
#define T4_MAX 0x1Cu
#define T5_MAX 0x1Du
#define ISO15765_BS 0x1Eu
#define ISO15765_STMIN 0x1Fu
#define DATA_BITS 0x20u
#define FIVE_BAUD_MOD 0x21u
#define ISO15765_BS_TX 0x22u
#define ISO15765_STMIN_TX 0x23u
#define T3_MAX 0x24u
#define ISO15765_WFT_MAX 0x25u
#define W4_MAX 0x29u    /* Passbridge's own, ms */
#define BR_TX_MIN 0x2Au /* Passbridge's own, ms */

/* J2534-2 */
#define CAN_MIXED_FORMAT 0x8000u
#define J1962_PINS 0x8001u /* 0xPPSS: first and second pin */
#define SW_CAN_HS_DATA_RATE 0x8010u
#define SW_CAN_SPEEDCHANGE_ENABLE 0x8011u
#define SW_CAN_RES_SWITCH 0x8012u

/* Values of NETWORK_LINE, PARITY, DATA_BITS, CAN_MIXED_FORMAT */
#define BUS_NORMAL 0u
#define BUS_PLUS 1u
#define BUS_MINUS 2u
#define NO_PARITY 0u
#define ODD_PARITY 1u
#define EVEN_PARITY 2u
#define DATA_BITS_8 0u
#define DATA_BITS_7 1u
#define CAN_MIXED_FORMAT_OFF 0u
#define CAN_MIXED_FORMAT_ON 1u
#define CAN_MIXED_FORMAT_ALL_FRAMES 2u

/* ---- Structures ---- */

#define J2534_MAX_DATA_SIZE 4128
#define J2534_TEXT_SIZE 80 /* characters of every text buffer that the caller supplies */

typedef struct J2534_TAG(PASSTHRU_MSG) {
  j2534_ulong ProtocolID;
  j2534_ulong RxStatus;
  j2534_ulong TxFlags;
  j2534_ulong Timestamp;      /* microseconds, wraps after 32 bits */
  j2534_ulong DataSize;       /* bytes of Data in use */
  j2534_ulong ExtraDataIndex; /* start of check sum or in-frame response; else DataSize */
  unsigned char Data[J2534_MAX_DATA_SIZE];
} PASSTHRU_MSG;

typedef struct J2534_TAG(SCONFIG) {
  j2534_ulong Parameter;
  j2534_ulong Value;
} SCONFIG;

typedef struct J2534_TAG(SCONFIG_LIST) {
  j2534_ulong NumOfParams;
  SCONFIG* ConfigPtr;
} SCONFIG_LIST;

typedef struct J2534_TAG(SBYTE_ARRAY) {
  j2534_ulong NumOfBytes;
  unsigned char* BytePtr;
} SBYTE_ARRAY;

/* ---- Functions. Time-outs and intervals in milliseconds; voltages in millivolts. ---- */

#ifdef __cplusplus
extern "C" {
#endif

J2534_API long J2534_CALL PassThruOpen(void* pName, j2534_ulong* pDeviceID);
J2534_API long J2534_CALL PassThruClose(j2534_ulong DeviceID);
J2534_API long J2534_CALL PassThruConnect(j2534_ulong DeviceID, j2534_ulong ProtocolID,
                                          j2534_ulong Flags, j2534_ulong BaudRate,
                                          j2534_ulong* pChannelID);
J2534_API long J2534_CALL PassThruDisconnect(j2534_ulong ChannelID);
J2534_API long J2534_CALL PassThruReadMsgs(j2534_ulong ChannelID, PASSTHRU_MSG* pMsg,
                                           j2534_ulong* pNumMsgs, j2534_ulong Timeout);
J2534_API long J2534_CALL PassThruWriteMsgs(j2534_ulong ChannelID, PASSTHRU_MSG* pMsg,
                                            j2534_ulong* pNumMsgs, j2534_ulong Timeout);
J2534_API long J2534_CALL PassThruStartPeriodicMsg(j2534_ulong ChannelID, PASSTHRU_MSG* pMsg,
                                                   j2534_ulong* pMsgID, j2534_ulong TimeInterval);
J2534_API long J2534_CALL PassThruStopPeriodicMsg(j2534_ulong ChannelID, j2534_ulong MsgID);
J2534_API long J2534_CALL PassThruStartMsgFilter(j2534_ulong ChannelID, j2534_ulong FilterType,
                                                 PASSTHRU_MSG* pMaskMsg, PASSTHRU_MSG* pPatternMsg,
                                                 PASSTHRU_MSG* pFlowControlMsg,
                                                 j2534_ulong* pFilterID);
J2534_API long J2534_CALL PassThruStopMsgFilter(j2534_ulong ChannelID, j2534_ulong FilterID);
J2534_API long J2534_CALL PassThruSetProgrammingVoltage(j2534_ulong DeviceID, j2534_ulong PinNumber,
                                                        j2534_ulong Voltage);
J2534_API long J2534_CALL PassThruReadVersion(j2534_ulong DeviceID, char* pFirmwareVersion,
                                              char* pDllVersion, char* pApiVersion);
J2534_API long J2534_CALL PassThruGetLastError(char* pErrorDescription);
J2534_API long J2534_CALL PassThruIoctl(j2534_ulong ChannelID, j2534_ulong IoctlID, void* pInput,
                                        void* pOutput);

#ifdef __cplusplus
} /* extern "C" */
#endif

/* Pointers to the functions, for applications that load the library at run time. */
typedef long(J2534_CALL* PFN_PassThruOpen)(void*, j2534_ulong*);
typedef long(J2534_CALL* PFN_PassThruClose)(j2534_ulong);
typedef long(J2534_CALL* PFN_PassThruConnect)(j2534_ulong, j2534_ulong, j2534_ulong, j2534_ulong,
                                              j2534_ulong*);
typedef long(J2534_CALL* PFN_PassThruDisconnect)(j2534_ulong);
typedef long(J2534_CALL* PFN_PassThruReadMsgs)(j2534_ulong, PASSTHRU_MSG*, j2534_ulong*,
                                               j2534_ulong);
typedef long(J2534_CALL* PFN_PassThruWriteMsgs)(j2534_ulong, PASSTHRU_MSG*, j2534_ulong*,
                                                j2534_ulong);
typedef long(J2534_CALL* PFN_PassThruStartPeriodicMsg)(j2534_ulong, PASSTHRU_MSG*, j2534_ulong*,
                                                       j2534_ulong);
typedef long(J2534_CALL* PFN_PassThruStopPeriodicMsg)(j2534_ulong, j2534_ulong);
typedef long(J2534_CALL* PFN_PassThruStartMsgFilter)(j2534_ulong, j2534_ulong, PASSTHRU_MSG*,
                                                     PASSTHRU_MSG*, PASSTHRU_MSG*, j2534_ulong*);
typedef long(J2534_CALL* PFN_PassThruStopMsgFilter)(j2534_ulong, j2534_ulong);
typedef long(J2534_CALL* PFN_PassThruSetProgrammingVoltage)(j2534_ulong, j2534_ulong, j2534_ulong);
typedef long(J2534_CALL* PFN_PassThruReadVersion)(j2534_ulong, char*, char*, char*);
typedef long(J2534_CALL* PFN_PassThruGetLastError)(char*);
typedef long(J2534_CALL* PFN_PassThruIoctl)(j2534_ulong, j2534_ulong, void*, void*);

/* ---- Layout ---- */

#ifdef __cplusplus
#define J2534_CHECK(condition) static_assert(condition, #condition)
#else
#define J2534_CHECK(condition) _Static_assert(condition, #condition)
#endif

#if defined(_WIN32) || defined(PASSBRIDGE_J2534_U32)
J2534_CHECK(sizeof(j2534_ulong) == 4);
#endif
J2534_CHECK(sizeof(PASSTHRU_MSG) == 6 * sizeof(j2534_ulong) + J2534_MAX_DATA_SIZE);
J2534_CHECK(sizeof(PASSTHRU_MSG) == (sizeof(j2534_ulong) == 4 ? 4152 : 4176));
J2534_CHECK(offsetof(PASSTHRU_MSG, RxStatus) == sizeof(j2534_ulong));
J2534_CHECK(offsetof(PASSTHRU_MSG, DataSize) == 4 * sizeof(j2534_ulong));
J2534_CHECK(offsetof(PASSTHRU_MSG, Data) == 6 * sizeof(j2534_ulong));
J2534_CHECK(sizeof(SCONFIG) == 2 * sizeof(j2534_ulong));
J2534_CHECK(sizeof(SCONFIG_LIST) == 2 * sizeof(void*));
J2534_CHECK(offsetof(SCONFIG_LIST, ConfigPtr) == sizeof(void*));
J2534_CHECK(sizeof(SBYTE_ARRAY) == 2 * sizeof(void*));
J2534_CHECK(offsetof(SBYTE_ARRAY, BytePtr) == sizeof(void*));

#undef J2534_CHECK

#endif /* PASSBRIDGE_J2534_H_ */
