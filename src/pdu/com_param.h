#ifndef PASSBRIDGE_PDU_COM_PARAM_H_
#define PASSBRIDGE_PDU_COM_PARAM_H_

#include <cstdint>

#include "passbridge/d_pdu_api.h"

// clang-format off
/// The ComParams that the library uses, by short name.
#define PASSBRIDGE_COM_PARAMS(PARAM)                                                             \
  PARAM(CP_5BaudAddressFunc) PARAM(CP_5BaudMode) PARAM(CP_Baudrate) PARAM(CP_BecomeMaster)       \
  PARAM(CP_BitSamplePoint) PARAM(CP_BlockSize) PARAM(CP_BlockSizeOverride)                       \
  PARAM(CP_CanFillerByte) PARAM(CP_CanFillerByteHandling) PARAM(CP_CanFuncReqExtAddr)            \
  PARAM(CP_CanFuncReqFormat) PARAM(CP_CanMaxNumWaitFrames) PARAM(CP_CanMixedFormat)              \
  PARAM(CP_CanPhysReqFormat) PARAM(CP_CanPhysReqId) PARAM(CP_CanRespUSDTExtAddr)                 \
  PARAM(CP_CanRespUSDTFormat) PARAM(CP_CanRespUSDTId) PARAM(CP_ChangeSpeedCtrl)                  \
  PARAM(CP_ChangeSpeedMessage) PARAM(CP_ChangeSpeedRate) PARAM(CP_ChangeSpeedResCtrl)            \
  PARAM(CP_ChangeSpeedTxDelay) PARAM(CP_InitializationSettings) PARAM(CP_K_L_LineInit)           \
  PARAM(CP_Loopback) PARAM(CP_NetworkLine) PARAM(CP_P1Max) PARAM(CP_P1Min) PARAM(CP_P2Max)       \
  PARAM(CP_P2Min) PARAM(CP_P3Max) PARAM(CP_P3Min) PARAM(CP_P4Max) PARAM(CP_P4Min)                \
  PARAM(CP_RepeatReqCountApp) PARAM(CP_SetPollResponse) PARAM(CP_StMin) PARAM(CP_StMinOverride)  \
  PARAM(CP_StartMsgIndEnable) PARAM(CP_SwCan_HighVoltage) PARAM(CP_SyncJumpWidth)                \
  PARAM(CP_T1Max) PARAM(CP_T2Max) PARAM(CP_T3Max) PARAM(CP_T4Max) PARAM(CP_T5Max)                \
  PARAM(CP_TIdle) PARAM(CP_TInil) PARAM(CP_TWup) PARAM(CP_TerminationType)                       \
  PARAM(CP_TesterPresentHandling) PARAM(CP_TesterSourceAddress) PARAM(CP_TransmitIndEnable)      \
  PARAM(CP_UartConfig) PARAM(CP_W1Max) PARAM(CP_W2Max) PARAM(CP_W3Max) PARAM(CP_W4Max)           \
  PARAM(CP_5BaudAddressPhys) PARAM(CP_AccessTimingOverride) PARAM(CP_Ar) PARAM(CP_As)            \
  PARAM(CP_BecomeSlave) PARAM(CP_Br) PARAM(CP_Bs) PARAM(CP_ByteCountOffset)                      \
  PARAM(CP_CanBaudrateRecord) PARAM(CP_CanDataSizeOffset)                                        \
  PARAM(CP_CanFirstConsecutiveFrameValue) PARAM(CP_CanFuncReqId) PARAM(CP_CanPhysReqExtAddr)     \
  PARAM(CP_CanRespUUDTExtAddr) PARAM(CP_CanRespUUDTFormat) PARAM(CP_CanRespUUDTId)               \
  PARAM(CP_CanTransmissionTime) PARAM(CP_Cr) PARAM(CP_Cs) PARAM(CP_CyclicRespTimeout)            \
  PARAM(CP_EcuRespSourceAddress) PARAM(CP_EnableConcatenation) PARAM(CP_EnableMultiBlockTx)      \
  PARAM(CP_EnablePerformanceTest) PARAM(CP_FillerByte) PARAM(CP_FillerByteHandling)              \
  PARAM(CP_FillerByteLength) PARAM(CP_FuncReqFormatPriorityType) PARAM(CP_FuncReqTargetAddr)     \
  PARAM(CP_FuncRespFormatPriorityType) PARAM(CP_FuncRespTargetAddr) PARAM(CP_HeaderFormatJ1850)  \
  PARAM(CP_HeaderFormatKW) PARAM(CP_J1939DataPage) PARAM(CP_J1939PDUFormat)                      \
  PARAM(CP_J1939PDUSpecific) PARAM(CP_J1939AddrClaimTimeout) PARAM(CP_J1939MaxPacketTx)          \
  PARAM(CP_J1939Name) PARAM(CP_J1939PreferredAddress) PARAM(CP_J1939TransportType)               \
  PARAM(CP_K_LinePullup) PARAM(CP_ListenOnly) PARAM(CP_MessageIndicationRate)                    \
  PARAM(CP_MessagePriority) PARAM(CP_MessageScheduler) PARAM(CP_MidReqId) PARAM(CP_MidRespId)    \
  PARAM(CP_ModifyTiming) PARAM(CP_P2Star) PARAM(CP_P3Func) PARAM(CP_P3Min_J2740)                 \
  PARAM(CP_P3Phys) PARAM(CP_PhysReqFormatPriorityType) PARAM(CP_PhysReqTargetAddr)               \
  PARAM(CP_PhysRespFormatPriorityType) PARAM(CP_PreCorpPollOrder)                                \
  PARAM(CP_RC21CompletionTimeout) PARAM(CP_RC21Handling) PARAM(CP_RC21RequestTime)               \
  PARAM(CP_RC23CompletionTimeout) PARAM(CP_RC23Handling) PARAM(CP_RC23RequestTime)               \
  PARAM(CP_RC78CompletionTimeout) PARAM(CP_RC78Handling) PARAM(CP_RCByteOffset)                  \
  PARAM(CP_RepeatReqCountTrans) PARAM(CP_RequestAddrMode) PARAM(CP_ResynchronizationType)        \
  PARAM(CP_SamplesPerBit) PARAM(CP_SCITransmitMode) PARAM(CP_SendRemoteFrame)                    \
  PARAM(CP_SessionTimingOverride) PARAM(CP_SetRelinquishMastership)                              \
  PARAM(CP_SuspendQueueOnError) PARAM(CP_TesterPresentAddrMode)                                  \
  PARAM(CP_TesterPresentExpNegResp) PARAM(CP_TesterPresentExpPosResp)                            \
  PARAM(CP_TesterPresentMessage) PARAM(CP_TesterPresentReqRsp) PARAM(CP_TesterPresentSendType)   \
  PARAM(CP_TesterPresentTime) PARAM(CP_W1Min) PARAM(CP_W2Min) PARAM(CP_W3Min) PARAM(CP_W4Min)    \
  PARAM(CP_J1850IFRCtrl) PARAM(CP_TPConnectionMgmt) PARAM(CP_MaxCTSReq)                          \
  PARAM(CP_J1939SourceName) PARAM(CP_J1939AddressNegotiationRule) PARAM(CP_J1939SourceAddress)   \
  PARAM(CP_UbpPullup) PARAM(CP_J1939TargetName) PARAM(CP_J1939TargetAddress)                     \
  PARAM(CP_J2740IgnoreMsgContent) PARAM(CP_BrTxMin)
// clang-format on

namespace passbridge::pdu {

enum class ComParam : std::uint8_t {
#define PASSBRIDGE_COM_PARAM_ENUMERATOR(name) name,
  PASSBRIDGE_COM_PARAMS(PASSBRIDGE_COM_PARAM_ENUMERATOR)
#undef PASSBRIDGE_COM_PARAM_ENUMERATOR
};

/// Short name of a ComParam.
const char* ComParamName(ComParam param);

/// Object identifier of a ComParam; PDU_ID_UNDEF where the D-PDU library does not know it.
UNUM32 ComParamId(ComParam param);

/// Looks up every identifier that the library uses, of ComParams and of I/O controls, and that it
/// does not have yet: those of ComParams at once where the D-PDU library has PDUGetObjectIds and it
/// succeeds, the others one by one. Called after each successful PDUConstruct; an identifier that
/// was found stays for the life of the process.
void ResolvePduObjectIds();

/// Has no identifier any more; for another D-PDU library in the same process, which tests have.
void ForgetPduObjectIds();

}  // namespace passbridge::pdu

#endif  // PASSBRIDGE_PDU_COM_PARAM_H_
