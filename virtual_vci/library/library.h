/// \file
/// One construction of the D-PDU API: modules, system events, items that are out.
#ifndef VIRTUAL_VCI_LIBRARY_LIBRARY_H_
#define VIRTUAL_VCI_LIBRARY_LIBRARY_H_

#include <memory>
#include <thread>
#include <vector>

#include "virtual_vci/items/item_store.h"
#include "virtual_vci/library/module.h"
#include "virtual_vci/library/system_thread.h"
#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

/// Synchronised by itself; any thread. Calls don't block, but for Disconnect and Shutdown, which
/// wait for callbacks.
class Library {
 public:
  Library(Scenario scenario, ClockKind clock, void* apiTag);
  ~Library();

  /// Whether the caller is in a callback.
  bool OnOwnThread();
  /// Ends everything that is open; nothing can be opened any more. Not in a callback.
  void Shutdown();

  /// The items that the application holds.
  ItemStore& Items() { return items_; }

  T_PDU_ERROR ConnectModule(UNUM32 module);
  T_PDU_ERROR DisconnectModule(UNUM32 module);
  /// The connected module; else what to return: PDU_ERR_INVALID_HANDLE,
  /// PDU_ERR_MODULE_NOT_CONNECTED.
  T_PDU_ERROR FindModule(UNUM32 handle, std::shared_ptr<Module>& found);
  std::vector<std::shared_ptr<Module>> ConnectedModules();
  ItemPtr MakeModuleList();
  T_PDU_ERROR ModuleStatus(UNUM32 module, T_PDU_STATUS& status, UNUM32& timestamp,
                           UNUM32& extraInfo);
  T_PDU_ERROR Version(UNUM32 module, PDU_VERSION_DATA& version);
  /// The next event of the system (both PDU_HANDLE_UNDEF), a module or a link.
  T_PDU_ERROR NextEvent(UNUM32 module, UNUM32 link, ItemPtr& out);
  T_PDU_ERROR SetCallback(UNUM32 module, UNUM32 link, CALLBACKFNC callback);

  // For the control interface. PDU_ERR_INVALID_PARAMETERS for a serial number that the scenario
  // doesn't have.
  T_PDU_ERROR Plug(UNUM32 serial, bool plugged);
  T_PDU_ERROR SetPresent(UNUM32 serial, bool present);
  T_PDU_ERROR SetStatus(UNUM32 serial, T_PDU_STATUS status, UNUM32 extraInfo);
  T_PDU_ERROR SetVoltages(UNUM32 serial, UNUM32 battery, UNUM32 programming);

 private:
  /// What the interfaces of a VCI share.
  struct Vci {
    const VciConfig* config;
    bool present = true;
    bool plugged = true;
    T_PDU_STATUS status = PDU_MODST_AVAIL;
    UNUM32 extraInfo = 0;
    UNUM32 battery = 0;
    UNUM32 programming = 0;
  };
  struct Entry {
    UNUM32 handle;
    std::size_t vci;
    const InterfaceConfig* interface;
    std::shared_ptr<Module> connected;
  };
  Entry* Find(UNUM32 handle) VVCI_REQUIRES(lock_);
  T_PDU_ERROR CheckConnect(const Entry& entry) const VVCI_REQUIRES(lock_);
  T_PDU_STATUS StatusOf(const Entry& entry) const VVCI_REQUIRES(lock_);
  Vci* FindVci(UNUM32 serial) VVCI_REQUIRES(lock_);
  void ListChanged() VVCI_REQUIRES(lock_);
  /// Stops a module that is no longer in the list; called without the lock.
  void StopModule(const std::shared_ptr<Module>& module);
  void JoinRetired();

  const Scenario scenario_;
  const ClockKind clock_;
  void* const apiTag_;
  ItemStore items_;
  SystemThread system_;

  Mutex lock_;
  bool closed_ VVCI_GUARDED_BY(lock_) = false;
  std::vector<Vci> vcis_ VVCI_GUARDED_BY(lock_);
  std::vector<Entry> modules_ VVCI_GUARDED_BY(lock_);
  std::vector<std::thread> retired_ VVCI_GUARDED_BY(lock_);  ///< ended in a callback
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LIBRARY_LIBRARY_H_
