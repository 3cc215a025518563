#ifndef PASSBRIDGE_TESTS_INTEGRATION_LIBRARY_FIXTURE_H_
#define PASSBRIDGE_TESTS_INTEGRATION_LIBRARY_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "loaded_libraries.h"
#include "passbridge/j2534.h"
#include "support.h"

namespace passbridge::test {

/// Settings of the test's own, in which the virtual VCI is the D-PDU library. At the end every
/// D-PDU item must have been destroyed exactly once.
class LibraryFixture : public testing::Test {
 protected:
  static constexpr const char* kUsbVci = "J2534-2:SN='4711' CXN='USB'";

  LibraryFixture();
  ~LibraryFixture() override;

  /// Opens the VCI and connects a CAN channel.
  void OpenAndConnect();
  void Close();

  j2534_ulong Open(const char* name = kUsbVci);
  std::string LastError();
  /// On `channel`: reads as many messages as there is room for; `messages` is what came.
  long Read(std::vector<PASSTHRU_MSG>& messages, j2534_ulong timeout);
  long Write(std::vector<PASSTHRU_MSG> messages, j2534_ulong timeout, j2534_ulong* sent);
  /// SET_CONFIG of one parameter.
  long SetConfig(j2534_ulong on, j2534_ulong parameter, j2534_ulong value);
  /// Lets every frame with this identifier pass, or all with a mask of 0.
  void StartPassFilter(std::uint32_t identifier, std::uint32_t mask = 0xFFFFFFFF);

  static PASSTHRU_MSG CanMessage(std::uint32_t identifier, std::vector<std::uint8_t> data,
                                 j2534_ulong txFlags = 0);
  /// Header and data of a message of any protocol.
  static PASSTHRU_MSG Message(j2534_ulong protocol, std::vector<std::uint8_t> bytes,
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

#endif  // PASSBRIDGE_TESTS_INTEGRATION_LIBRARY_FIXTURE_H_
