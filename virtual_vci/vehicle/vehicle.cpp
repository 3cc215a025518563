#include "virtual_vci/vehicle/vehicle.h"

#include <algorithm>

#include "virtual_vci/scenario/bus_types.h"

namespace virtual_vci {

Vehicle::Vehicle(const Scenario& scenario, Scheduler& scheduler, FloodGate& flood, MakeBus makeBus)
    : scheduler_(scheduler), makeBus_(makeBus) {
  for (const BusConfig& bus : scenario.buses) Add(bus.type, bus.pins, bus.bitRate);
  for (const EcuConfig& config : scenario.ecus) {
    Ecu& ecu = *ecus_.emplace_back(std::make_unique<Ecu>(config, scheduler, flood));
    for (const auto& port : config.ports) ecu.SitOn(*buses_[port->bus]->bus, *port);
    ecu.SetCyclic(true);
  }
}

BusSlot& Vehicle::Add(BusType type, const std::vector<UNUM32>& pins, std::uint32_t bitRate) {
  buses_.push_back(
      std::make_unique<BusSlot>(BusSlot{type, pins, makeBus_(type, scheduler_, bitRate)}));
  return *buses_.back();
}

BusSlot& Vehicle::BusAt(BusType type, const std::vector<UNUM32>& pins) {
  for (const auto& slot : buses_) {
    if (WireOf(slot->type) == WireOf(type) && PinsMeet(slot->pins, pins)) return *slot;
  }
  return Add(type, pins, 0);
}

BusSlot* Vehicle::FindBus(const std::vector<UNUM32>& pins) {
  const auto found = std::find_if(buses_.begin(), buses_.end(),
                                  [&](const auto& slot) { return slot->pins == pins; });
  return found == buses_.end() ? nullptr : found->get();
}

Ecu* Vehicle::FindEcu(std::string_view name) {
  const auto named = std::find_if(ecus_.begin(), ecus_.end(),
                                  [&](const auto& each) { return each->Name() == name; });
  return named == ecus_.end() ? nullptr : named->get();
}

void Vehicle::SetCyclic(bool on) {
  for (const auto& ecu : ecus_) ecu->SetCyclic(on);
}

}  // namespace virtual_vci
