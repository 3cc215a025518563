#ifndef PASSBRIDGE_TESTS_INTEGRATION_WINDOWS_EXPLORER_EXPLORER_FIXTURE_H_
#define PASSBRIDGE_TESTS_INTEGRATION_WINDOWS_EXPLORER_EXPLORER_FIXTURE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "explorer_driver.h"
#include "library_fixture.h"
#include "own_settings.h"

namespace passbridge::test {

/// Settings come before the library that reads them.
struct WithOwnSettings {
  OwnSettings ownSettings;
};

/// The library with the VCIs of vcis.json, all interfaces enabled, USB first, and the strategies
/// that a test wants. Each test loads the library anew; VCI 5001 stays unused by the dialog's opens
/// unless they choose it.
class ExplorerFixture : private WithOwnSettings, public LibraryFixture {
 protected:
  static constexpr const char* kAskUser = "J2534-2:VQXLIST";
  static constexpr UINT kModuleList = WM_USER + 2;
  static constexpr std::uint32_t kStrategyAsk = 3;
  static constexpr std::uint32_t kStrategyAskAlways = 4;

  ExplorerFixture();
  /// Expects that the D-PDU library can be given back, which only an open that ends well shows.
  ~ExplorerFixture() override;

  static void WriteUser(const std::string& key, const char* value, std::uint32_t number);
  static std::uint32_t ReadUser(const std::string& key, const char* value);
  static void WriteOrder(const std::string& stem, const std::vector<std::uint32_t>& numbers);
  static void WriteStrategies(const std::vector<std::uint32_t>& numbers);
  /// Serial number of the VCI that this process used last, and over which interface.
  static std::vector<std::uint32_t> LastUsed();
  /// Whether pictures can be made: Wine's 32-bit half has windows, but no screen.
  static bool HasScreen();
  /// A module list of the caller's, who must see to its end.
  PDU_MODULE_ITEM* AskForList();
  /// Opens without a name go by the strategies again.
  void Forget() { library.PassThruIoctl(0, FORGET_LAST_USED_VCI, nullptr, nullptr); }

  /// Expects that the dialog's open gave a device, over that interface, and closes it.
  void ExpectOpened(ExplorerDriver& dialog, std::uint32_t serialNumber,
                    std::uint32_t interfaceType);
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_INTEGRATION_WINDOWS_EXPLORER_EXPLORER_FIXTURE_H_
