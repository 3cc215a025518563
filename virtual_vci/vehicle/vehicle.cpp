#include "virtual_vci/vehicle/vehicle.h"

#include <algorithm>

namespace virtual_vci {

class Vehicle::StrangerNode : public BusNode {
 public:
  explicit StrangerNode(CanBus& bus) : bus_(bus) { bus_.Attach(*this); }
  ~StrangerNode() override { bus_.Detach(*this); }
  void Heard(const CanFrame&, FrameTimes) override {}
  void Sent(std::uint64_t, const CanFrame&, bool, FrameTimes) override {}

 private:
  CanBus& bus_;
};

Vehicle::Vehicle(const Scenario& scenario, Scheduler& scheduler, const FloodGate& mayFlood)
    : scheduler_(scheduler) {
  for (const BusConfig& bus : scenario.buses) {
    buses_.push_back(std::make_unique<BusSlot>(
        BusSlot{bus.type, bus.pins, std::make_unique<CanBus>(scheduler, bus.bitRate)}));
  }
  for (const EcuConfig& ecu : scenario.ecus) {
    ecus_.push_back(std::make_unique<Ecu>(ecu, scheduler, *buses_[ecu.bus]->can, mayFlood));
  }
}

BusSlot* Vehicle::FindBus(const std::vector<UNUM32>& pins) {
  const auto found = std::find_if(buses_.begin(), buses_.end(),
                                  [&](const auto& slot) { return slot->pins == pins; });
  return found == buses_.end() ? nullptr : found->get();
}

BusSlot& Vehicle::BusAt(BusType type, const std::vector<UNUM32>& pins) {
  for (const auto& slot : buses_) {
    if (slot->type == type && slot->pins == pins) return *slot;
  }
  buses_.push_back(
      std::make_unique<BusSlot>(BusSlot{type, pins, std::make_unique<CanBus>(scheduler_, 0)}));
  return *buses_.back();
}

void Vehicle::SetCyclic(bool on) {
  for (const auto& ecu : ecus_) ecu->SetCyclic(on);
}

void Vehicle::Resume() {
  for (const auto& ecu : ecus_) ecu->Resume();
}

BusNode& Vehicle::Stranger(BusSlot& slot) {
  for (const auto& [bus, node] : strangers_) {
    if (bus == &slot) return *node;
  }
  strangers_.emplace_back(&slot, std::make_unique<StrangerNode>(*slot.can));
  return *strangers_.back().second;
}

}  // namespace virtual_vci
