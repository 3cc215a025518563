#ifndef PASSBRIDGE_SERVER_DEVICE_SELECTION_H_
#define PASSBRIDGE_SERVER_DEVICE_SELECTION_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "passbridge/d_pdu_api.h"
#include "platform/mutex.h"
#include "server/device_info_list.h"
#include "server/selection_settings.h"

namespace passbridge {

class CJ2534Server;

/// The outcome of a search.
struct VciChoice {
  UNUM32 moduleHandle = 0;  ///< 0: nothing chosen; kCancelled: the user cancelled
  std::uint32_t serialNumber = 0;
  InterfaceType interfaceType = InterfaceType::None;

  static constexpr UNUM32 kCancelled = 0xFFFFFFFF;

  bool IsCancelled() const { return moduleHandle == kCancelled; }
  bool IsMade() const { return moduleHandle != 0 && !IsCancelled(); }
};

/// Chooses the VCI that PassThruOpen opens: by name, as this process did last time, or by the
/// strategies that the settings put in an order. A search that finds nothing, for whatever reason,
/// chooses nothing; each builds its own list of VCIs. Any thread; a search may block for as long as
/// the D-PDU library or the user takes, with no lock held.
class DeviceSelection {
 public:
  /// Shows the VCIs to the user. The choice is cancelled, made, or empty.
  using Dialog = std::function<VciChoice()>;

  explicit DeviceSelection(CJ2534Server& server) : server_(server) {}

  /// Reads the settings.
  void Load() EXCLUDES(lock_);
  /// What asks the user; without a dialog nothing is chosen that way.
  void SetDialog(Dialog dialog) EXCLUDES(lock_);
  /// Whether the strategies that ask the user if they may are enabled; until the process ends.
  void AllowDialog(bool allowed) EXCLUDES(lock_);

  /// @param name  what follows "J2534-2:"; see ParseVciName
  VciChoice FindVciByName(std::string_view name);
  VciChoice FindLastUsedVci();
  /// Walks the enabled strategies in their order up to the first that chooses or is cancelled.
  VciChoice FindVciByStrategies();

  // The strategies.
  VciChoice FindOnlyUsbVci();
  VciChoice FindDefaultDeviceVci();
  VciChoice AskUserForVci();
  VciChoice AskUserForVciAlways();

  /// Records what this process opened, for FindLastUsedVci; if it can't, that search finds nothing.
  static void StoreLastUsedVci(std::uint32_t serialNumber, InterfaceType type);

 private:
  /// Empty if the list cannot be built.
  VqxInfoList ListVcis();
  VciChoice RunStrategy(std::uint32_t number);
  VciChoice ShowDialog();
  OrderList ConnectionOrder() const EXCLUDES(lock_);

  CJ2534Server& server_;

  mutable platform::Mutex lock_;  // held while settings are read or written, never longer
  Dialog dialog_ GUARDED_BY(lock_);
  DefaultDeviceSettings defaultDevice_ GUARDED_BY(lock_);
  OrderList connectionOrder_ GUARDED_BY(lock_) = OrderList::AutoConnectionOrder();
  OrderList interfaceOrder_ GUARDED_BY(lock_) = OrderList::InterfaceTypeOrder();
};

}  // namespace passbridge

#endif  // PASSBRIDGE_SERVER_DEVICE_SELECTION_H_
