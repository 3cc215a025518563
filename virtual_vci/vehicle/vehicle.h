/// \file
/// The vehicle that a connected module is plugged into: buses and ECUs.
#ifndef VIRTUAL_VCI_VEHICLE_VEHICLE_H_
#define VIRTUAL_VCI_VEHICLE_VEHICLE_H_

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "passbridge/d_pdu_api.h"
#include "virtual_vci/vehicle/ecu.h"

namespace virtual_vci {

/// Pins, and the bus that is on them. A K line is one with and without its L line.
struct BusSlot {
  BusType type;
  std::vector<UNUM32> pins;
  std::unique_ptr<Bus> bus;
};

/// Guarded by the module's lock.
class Vehicle {
 public:
  /// `bitRate`: of the ECUs that have none of their own; 0 if there are none.
  using MakeBus = std::unique_ptr<Bus> (*)(BusType type, Scheduler& scheduler,
                                           std::uint32_t bitRate);

  Vehicle(const Scenario& scenario, Scheduler& scheduler, FloodGate& flood, MakeBus makeBus);

  /// The bus on these pins; made if there is none, so that links can talk to each other on pins
  /// with no ECU.
  BusSlot& BusAt(BusType type, const std::vector<UNUM32>& pins);
  /// Null if nothing is on exactly these pins.
  BusSlot* FindBus(const std::vector<UNUM32>& pins);
  void SetCyclic(bool on);
  /// Null if no ECU has this name.
  Ecu* FindEcu(std::string_view name);

 private:
  BusSlot& Add(BusType type, const std::vector<UNUM32>& pins, std::uint32_t bitRate);

  Scheduler& scheduler_;
  const MakeBus makeBus_;
  std::vector<std::unique_ptr<BusSlot>> buses_;
  std::vector<std::unique_ptr<Ecu>> ecus_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_VEHICLE_H_
