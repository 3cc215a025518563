#ifndef PASSBRIDGE_TESTS_INTEGRATION_LOADED_LIBRARIES_H_
#define PASSBRIDGE_TESTS_INTEGRATION_LOADED_LIBRARIES_H_

#include <string>

#include "passbridge/j2534.h"
#include "platform/dynamic_library.h"
#include "virtual_vci/control.h"

namespace passbridge::test {

/// The fourteen functions of the library under test, found by name.
struct Library {
  explicit Library(const std::string& path);

  platform::DynamicLibrary file;
  PFN_PassThruOpen PassThruOpen;
  PFN_PassThruClose PassThruClose;
  PFN_PassThruConnect PassThruConnect;
  PFN_PassThruDisconnect PassThruDisconnect;
  PFN_PassThruReadMsgs PassThruReadMsgs;
  PFN_PassThruWriteMsgs PassThruWriteMsgs;
  PFN_PassThruStartPeriodicMsg PassThruStartPeriodicMsg;
  PFN_PassThruStopPeriodicMsg PassThruStopPeriodicMsg;
  PFN_PassThruStartMsgFilter PassThruStartMsgFilter;
  PFN_PassThruStopMsgFilter PassThruStopMsgFilter;
  PFN_PassThruSetProgrammingVoltage PassThruSetProgrammingVoltage;
  PFN_PassThruReadVersion PassThruReadVersion;
  PFN_PassThruGetLastError PassThruGetLastError;
  PFN_PassThruIoctl PassThruIoctl;
};

/// The virtual VCI's control functions, found by name.
struct VirtualVci {
  explicit VirtualVci(const std::string& path);

  platform::DynamicLibrary file;
  PFN_VirtualVciConfigure Configure;
  PFN_VirtualVciInjectResult InjectResult;
  PFN_VirtualVciGetLedger GetLedger;
  PFN_VirtualVciLogCalls LogCalls;
  PFN_VirtualVciGetCalls GetCalls;
  PFN_VirtualVciUnplug Unplug;
  PFN_VirtualVciPlug Plug;
  PFN_VirtualVciSetPresent SetPresent;
  PFN_VirtualVciSetStatus SetStatus;
  PFN_VirtualVciSetVoltages SetVoltages;
  PFN_VirtualVciSendFrame SendFrame;
  PFN_VirtualVciSendBytes SendBytes;
  PFN_VirtualVciSetCyclic SetCyclic;
  PFN_VirtualVciSetEcuFault SetEcuFault;
  PFN_VirtualVciTakeHeard TakeHeard;
  PFN_VirtualVciAdvance Advance;
  PFN_VirtualVciReset Reset;
};

/// The files under test, which PASSBRIDGE_TEST_LIBRARY and PASSBRIDGE_TEST_VCI name.
std::string LibraryPath();
std::string VirtualVciPath();

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_INTEGRATION_LOADED_LIBRARIES_H_
