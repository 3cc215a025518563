#include "virtual_vci/vehicle.h"

#include <algorithm>
#include <array>
#include <span>

namespace virtual_vci {

namespace {

constexpr UNUM32 kFirstResourceId = 0x601;
constexpr UNUM32 kHighestPin = 15;
constexpr auto kFixedPins = std::to_array<UNUM32>({4, 5});  // grounds

struct ProtocolOnBus {
  ProtocolId protocol;
  BusType bus;
  std::size_t minPins;
  std::size_t maxPins;
};

constexpr auto kSupported = std::to_array<ProtocolOnBus>({
    {ProtocolId::kRawCan, BusType::kDualWireCan, 2, 2},
    {ProtocolId::kRawCan, BusType::kFaultTolerantCan, 2, 2},
    {ProtocolId::kRawCan, BusType::kSingleWireCan, 1, 1},
    {ProtocolId::kIso15765, BusType::kDualWireCan, 2, 2},
    {ProtocolId::kIso15765, BusType::kFaultTolerantCan, 2, 2},
    {ProtocolId::kIso15765, BusType::kSingleWireCan, 1, 1},
});

bool CanSwitchTo(UNUM32 pin) {
  return pin >= 1 && pin <= kHighestPin &&
         std::find(kFixedPins.begin(), kFixedPins.end(), pin) == kFixedPins.end();
}

bool GoodPins(const std::vector<UNUM32>& pins, const ProtocolOnBus& entry) {
  if (pins.size() < entry.minPins || pins.size() > entry.maxPins) return false;
  if (pins.size() == 2 && pins[0] == pins[1]) return false;
  return std::all_of(pins.begin(), pins.end(), CanSwitchTo);
}

}  // namespace

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
    for (const ProtocolOnBus& entry : kSupported) {
      if (entry.bus != bus.type) continue;
      const UNUM32 id = kFirstResourceId + static_cast<UNUM32>(resources_.size());
      resources_.push_back({id, bus.type, entry.protocol, bus.pins});
    }
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

const Resource* Vehicle::FindResource(UNUM32 id) const {
  const auto found = std::find_if(resources_.begin(), resources_.end(),
                                  [&](const auto& each) { return each.id == id; });
  return found == resources_.end() ? nullptr : &*found;
}

T_PDU_ERROR Vehicle::ResourceFor(const PDU_RSC_DATA& data, const Resource*& found) {
  if (data.NumPinData != 0 && data.pDLCPinData == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  if (data.NumPinData > kHighestPin) return PDU_ERR_INVALID_PARAMETERS;
  const auto type = static_cast<BusType>(data.BusTypeId);
  const auto protocol = static_cast<ProtocolId>(data.ProtocolId);
  const auto entry = std::find_if(
      kSupported.begin(), kSupported.end(),
      [&](const ProtocolOnBus& each) { return each.bus == type && each.protocol == protocol; });
  if (entry == kSupported.end()) return PDU_ERR_RESOURCE_ERROR;
  std::vector<UNUM32> pins;
  for (UNUM32 i = 0; i < data.NumPinData; ++i) pins.push_back(data.pDLCPinData[i].DLCPinNumber);
  if (!GoodPins(pins, *entry)) return PDU_ERR_INVALID_PARAMETERS;
  const auto same = std::find_if(resources_.begin(), resources_.end(), [&](const Resource& each) {
    return each.busType == type && each.protocol == protocol && each.pins == pins;
  });
  if (same != resources_.end()) {
    found = &*same;
  } else {
    const UNUM32 id = kFirstResourceId + static_cast<UNUM32>(resources_.size());
    found = &resources_.emplace_back(Resource{id, type, protocol, std::move(pins)});
  }
  return PDU_STATUS_NOERROR;
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
