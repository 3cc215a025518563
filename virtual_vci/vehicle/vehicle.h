/// \file
/// The vehicle that a connected module is plugged into: buses and ECUs.
#ifndef VIRTUAL_VCI_VEHICLE_VEHICLE_H_
#define VIRTUAL_VCI_VEHICLE_VEHICLE_H_

#include <memory>
#include <vector>

#include "virtual_vci/scenario/scenario.h"
#include "virtual_vci/vehicle/ecu.h"

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

  void SetCyclic(bool on);
  void Resume();
  /// Another node on the bus that only sends; made when it is first needed.
  BusNode& Stranger(BusSlot& slot);

 private:
  class StrangerNode;
  Scheduler& scheduler_;
  std::vector<std::unique_ptr<BusSlot>> buses_;
  std::vector<std::unique_ptr<Ecu>> ecus_;
  std::vector<std::pair<BusSlot*, std::unique_ptr<BusNode>>> strangers_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_VEHICLE_H_
