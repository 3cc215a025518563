/// \file
/// The vehicle that a connected module is plugged into: buses, ECUs, and the resources that give
/// access to them.
#ifndef VIRTUAL_VCI_VEHICLE_H_
#define VIRTUAL_VCI_VEHICLE_H_

#include <memory>
#include <vector>

#include "virtual_vci/ecu.h"
#include "virtual_vci/link.h"
#include "virtual_vci/scenario.h"

namespace virtual_vci {

/// A bus with what its links share. Owners are link handles, 0 if there is none.
struct BusSlot {
  BusType type;
  std::vector<UNUM32> pins;
  std::unique_ptr<CanBus> can;
  UNUM32 comParamsOwner = 0;
  UNUM32 transmitOwner = 0;
};

/// Guarded by the module's lock.
class Vehicle {
 public:
  Vehicle(const Scenario& scenario, Scheduler& scheduler, const FloodGate& mayFlood);

  /// The bus on these pins; made if there is none, so that links can talk to each other on pins
  /// with no ECU.
  BusSlot& BusAt(BusType type, const std::vector<UNUM32>& pins);
  /// Null if nothing is there.
  BusSlot* FindBus(const std::vector<UNUM32>& pins);

  const std::vector<Resource>& Resources() const { return resources_; }
  /// The resource with this identifier, or null.
  const Resource* FindResource(UNUM32 id) const;
  /// The resource that the data describes: a listed one, or a new one on other pins that the VCI
  /// can switch to. PDU_ERR_RESOURCE_ERROR for a bus type and protocol that don't go together,
  /// PDU_ERR_INVALID_PARAMETERS for pins that the bus type can't be on.
  T_PDU_ERROR ResourceFor(const PDU_RSC_DATA& data, const Resource*& found);

  void SetCyclic(bool on);
  void Resume();
  /// Another node on the bus that only sends; made when it is first needed.
  BusNode& Stranger(BusSlot& slot);

 private:
  class StrangerNode;
  Scheduler& scheduler_;
  std::vector<std::unique_ptr<BusSlot>> buses_;
  std::vector<Resource> resources_;
  std::vector<std::unique_ptr<Ecu>> ecus_;
  std::vector<std::pair<BusSlot*, std::unique_ptr<BusNode>>> strangers_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_H_
