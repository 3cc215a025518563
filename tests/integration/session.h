#ifndef PASSBRIDGE_TESTS_INTEGRATION_SESSION_H_
#define PASSBRIDGE_TESTS_INTEGRATION_SESSION_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "passbridge/j2534.h"
#include "platform/dynamic_library.h"
#include "support.h"
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

/// The virtual VCI's control functions that the tests use.
struct VirtualVci {
  explicit VirtualVci(const std::string& path);

  platform::DynamicLibrary file;
  PFN_VirtualVciGetLedger GetLedger;
  PFN_VirtualVciInjectResult InjectResult;
  PFN_VirtualVciUnplug Unplug;
  PFN_VirtualVciPlug Plug;
  PFN_VirtualVciReset Reset;
};

std::string LibraryPath();
std::string VirtualVciPath();

/// Settings of the test's own, in which the virtual VCI is the D-PDU library. At the end every
/// D-PDU item must have been destroyed exactly once.
class Session : public testing::Test {
 protected:
  static constexpr const char* kUsbVci = "J2534-2:SN='4711' CXN='USB'";

  Session();
  ~Session() override;

  /// Opens the VCI and connects a CAN channel.
  void OpenAndConnect();
  void Close();

  j2534_ulong Open(const char* name = kUsbVci);
  std::string LastError();
  /// Lets every frame with this identifier pass, or all with a mask of 0.
  void StartPassFilter(std::uint32_t identifier, std::uint32_t mask = 0xFFFFFFFF);

  static PASSTHRU_MSG CanMessage(std::uint32_t identifier, std::vector<std::uint8_t> data,
                                 j2534_ulong txFlags = 0);
  static std::uint32_t IdentifierOf(const PASSTHRU_MSG& message);
  static std::vector<std::uint8_t> DataOf(const PASSTHRU_MSG& message);

  platform::testing::SettingsSandbox settings;
  Library library;
  VirtualVci vci;
  j2534_ulong device = 0;
  j2534_ulong channel = 0;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_INTEGRATION_SESSION_H_
