// The fourteen functions that applications call. Each converts its arguments, calls the library
// object and converts the result; nothing else belongs here. This file is built once for each width
// of the standard's `unsigned long` (j2534.h).

#include <cstdint>

#include "api/dll_app.h"
#include "passbridge/j2534.h"
#include "pdu/pdu_api.h"
#include "platform/cancellation.h"
#include "platform/memory_probe.h"

namespace passbridge {

namespace {

constexpr auto kWidth = static_cast<FieldWidth>(sizeof(j2534_ulong));

/// Handles, identifiers and numbers count with their lower 32 bits.
std::uint32_t Low(j2534_ulong value) { return static_cast<std::uint32_t>(value); }
AppValue Cell(j2534_ulong* value) { return {value, kWidth}; }
AppMessage Messages(PASSTHRU_MSG* messages) { return {messages, kWidth}; }
AppPointer Pointer(void* address) { return {address, kWidth}; }

/// Runs `call` (CJ2534DllApp& -> Status); no exception gets to the application. A thread can be
/// cancelled in here only while it waits.
template <typename Call>
long Guarded(const Call& call) {
  const platform::CancellationGuard cancellation;
  try {
    const pdu::Pin pin;
    const platform::MemoryAnswers answers;
    return static_cast<long>(call(CJ2534DllApp::Instance()));
  } catch (...) {
    if (platform::IsThreadEnding()) throw;
    return ERR_FAILED;
  }
}

}  // namespace

}  // namespace passbridge

using passbridge::Cell;
using passbridge::CJ2534DllApp;
using passbridge::Guarded;
using passbridge::Low;
using passbridge::Messages;
using passbridge::Pointer;

long J2534_CALL PassThruOpen(void* pName, j2534_ulong* pDeviceID) {
  return Guarded([&](CJ2534DllApp& app) { return app.PassThruOpen(pName, Cell(pDeviceID)); });
}

long J2534_CALL PassThruClose(j2534_ulong DeviceID) {
  return Guarded([&](CJ2534DllApp& app) { return app.PassThruClose(Low(DeviceID)); });
}

long J2534_CALL PassThruConnect(j2534_ulong DeviceID, j2534_ulong ProtocolID, j2534_ulong Flags,
                                j2534_ulong BaudRate, j2534_ulong* pChannelID) {
  return Guarded([&](CJ2534DllApp& app) {
    return app.PassThruConnect(Low(DeviceID), Low(ProtocolID), Low(Flags), Low(BaudRate),
                               Cell(pChannelID));
  });
}

long J2534_CALL PassThruDisconnect(j2534_ulong ChannelID) {
  return Guarded([&](CJ2534DllApp& app) { return app.PassThruDisconnect(Low(ChannelID)); });
}

long J2534_CALL PassThruReadMsgs(j2534_ulong ChannelID, PASSTHRU_MSG* pMsg, j2534_ulong* pNumMsgs,
                                 j2534_ulong Timeout) {
  return Guarded([&](CJ2534DllApp& app) {
    return app.PassThruReadMsgs(Low(ChannelID), Messages(pMsg), Cell(pNumMsgs), Low(Timeout));
  });
}

long J2534_CALL PassThruWriteMsgs(j2534_ulong ChannelID, PASSTHRU_MSG* pMsg, j2534_ulong* pNumMsgs,
                                  j2534_ulong Timeout) {
  return Guarded([&](CJ2534DllApp& app) {
    return app.PassThruWriteMsgs(Low(ChannelID), Messages(pMsg), Cell(pNumMsgs), Low(Timeout));
  });
}

long J2534_CALL PassThruStartPeriodicMsg(j2534_ulong ChannelID, PASSTHRU_MSG* pMsg,
                                         j2534_ulong* pMsgID, j2534_ulong TimeInterval) {
  return Guarded([&](CJ2534DllApp& app) {
    return app.PassThruStartPeriodicMsg(Low(ChannelID), Messages(pMsg), Cell(pMsgID),
                                        Low(TimeInterval));
  });
}

long J2534_CALL PassThruStopPeriodicMsg(j2534_ulong ChannelID, j2534_ulong MsgID) {
  return Guarded(
      [&](CJ2534DllApp& app) { return app.PassThruStopPeriodicMsg(Low(ChannelID), Low(MsgID)); });
}

long J2534_CALL PassThruStartMsgFilter(j2534_ulong ChannelID, j2534_ulong FilterType,
                                       PASSTHRU_MSG* pMaskMsg, PASSTHRU_MSG* pPatternMsg,
                                       PASSTHRU_MSG* pFlowControlMsg, j2534_ulong* pFilterID) {
  return Guarded([&](CJ2534DllApp& app) {
    return app.PassThruStartMsgFilter(Low(ChannelID), Low(FilterType), Messages(pMaskMsg),
                                      Messages(pPatternMsg), Messages(pFlowControlMsg),
                                      Cell(pFilterID));
  });
}

long J2534_CALL PassThruStopMsgFilter(j2534_ulong ChannelID, j2534_ulong FilterID) {
  return Guarded(
      [&](CJ2534DllApp& app) { return app.PassThruStopMsgFilter(Low(ChannelID), Low(FilterID)); });
}

long J2534_CALL PassThruSetProgrammingVoltage(j2534_ulong DeviceID, j2534_ulong PinNumber,
                                              j2534_ulong Voltage) {
  return Guarded([&](CJ2534DllApp& app) {
    return app.PassThruSetProgrammingVoltage(Low(DeviceID), Low(PinNumber), Low(Voltage));
  });
}

long J2534_CALL PassThruReadVersion(j2534_ulong DeviceID, char* pFirmwareVersion, char* pDllVersion,
                                    char* pApiVersion) {
  return Guarded([&](CJ2534DllApp& app) {
    return app.PassThruReadVersion(Low(DeviceID), pFirmwareVersion, pDllVersion, pApiVersion);
  });
}

long J2534_CALL PassThruGetLastError(char* pErrorDescription) {
  return Guarded(
      [&](CJ2534DllApp& /*app*/) { return CJ2534DllApp::PassThruGetLastError(pErrorDescription); });
}

long J2534_CALL PassThruIoctl(j2534_ulong ChannelID, j2534_ulong IoctlID, void* pInput,
                              void* pOutput) {
  return Guarded([&](CJ2534DllApp& app) {
    return app.PassThruIoctl(Low(ChannelID), Low(IoctlID), Pointer(pInput), Pointer(pOutput));
  });
}
