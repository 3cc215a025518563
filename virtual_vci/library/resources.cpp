#include "virtual_vci/library/resources.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "virtual_vci/protocols/protocol_table.h"
#include "virtual_vci/scenario/bus_types.h"
#include "virtual_vci/vehicle/vehicle.h"

namespace virtual_vci {

namespace {

constexpr UNUM32 kFirstResourceId = 0x601;
constexpr UNUM32 kHighestPin = 15;
constexpr auto kFixedPins = std::to_array<UNUM32>({4, 5});  // grounds

bool CanSwitchTo(UNUM32 pin) {
  return pin >= 1 && pin <= kHighestPin &&
         std::find(kFixedPins.begin(), kFixedPins.end(), pin) == kFixedPins.end();
}

bool GoodPins(const std::vector<UNUM32>& pins, BusType bus) {
  const BusTypeInfo& type = BusTypeOf(bus);
  if (pins.size() < type.minPins || pins.size() > type.maxPins) return false;
  if (pins.size() == 2 && pins[0] == pins[1]) return false;
  return std::all_of(pins.begin(), pins.end(), CanSwitchTo);
}

bool Overlap(const std::vector<UNUM32>& one, const std::vector<UNUM32>& other) {
  return std::any_of(one.begin(), one.end(), [&](UNUM32 pin) {
    return std::find(other.begin(), other.end(), pin) != other.end();
  });
}

bool Describes(const PDU_RSC_DATA& data, const Resource& resource) {
  const auto fits = [](UNUM32 wanted, UNUM32 id) { return wanted == PDU_ID_UNDEF || wanted == id; };
  if (!fits(data.BusTypeId, static_cast<UNUM32>(resource.kind->bus)) ||
      !fits(data.ProtocolId, static_cast<UNUM32>(resource.kind->protocol))) {
    return false;
  }
  const std::span<const PDU_PIN_DATA> pins(data.pDLCPinData, data.NumPinData);
  return std::all_of(pins.begin(), pins.end(), [&](const PDU_PIN_DATA& pin) {
    return Overlap(resource.pins, {pin.DLCPinNumber});
  });
}

}  // namespace

bool Conflict(const Resource& one, const Resource& other) {
  const bool together =
      one.kind->shared && one.kind->bus == other.kind->bus && PinsMeet(one.pins, other.pins);
  return !together && Overlap(one.pins, other.pins);
}

ResourceList::ResourceList(const std::vector<BusConfig>& buses) {
  for (const BusConfig& bus : buses) {
    for (const ProtocolOnBus& kind : ProtocolTable()) {
      if (WireOf(kind.bus) == WireOf(bus.type)) Add(kind, bus.pins);
    }
  }
}

const Resource& ResourceList::Add(const ProtocolOnBus& kind, std::vector<UNUM32> pins) {
  const UNUM32 id = kFirstResourceId + static_cast<UNUM32>(resources_.size());
  return resources_.emplace_back(Resource{id, &kind, std::move(pins)});
}

const Resource* ResourceList::Find(UNUM32 id) const {
  const auto found = std::find_if(resources_.begin(), resources_.end(),
                                  [&](const auto& each) { return each.id == id; });
  return found == resources_.end() ? nullptr : &*found;
}

T_PDU_ERROR ResourceList::For(const PDU_RSC_DATA& data, const Resource*& found) {
  if (data.NumPinData != 0 && data.pDLCPinData == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  if (data.NumPinData > kHighestPin) return PDU_ERR_INVALID_PARAMETERS;
  const auto table = ProtocolTable();
  const auto kind = std::find_if(table.begin(), table.end(), [&](const ProtocolOnBus& each) {
    return static_cast<UNUM32>(each.bus) == data.BusTypeId &&
           static_cast<UNUM32>(each.protocol) == data.ProtocolId;
  });
  if (kind == table.end()) return PDU_ERR_RESOURCE_ERROR;
  std::vector<UNUM32> pins;
  for (UNUM32 i = 0; i < data.NumPinData; ++i) pins.push_back(data.pDLCPinData[i].DLCPinNumber);
  if (!GoodPins(pins, kind->bus)) return PDU_ERR_INVALID_PARAMETERS;
  const auto same = std::find_if(resources_.begin(), resources_.end(), [&](const Resource& each) {
    return each.kind == &*kind && each.pins == pins;
  });
  found = same != resources_.end() ? &*same : &Add(*kind, std::move(pins));
  return PDU_STATUS_NOERROR;
}

std::vector<UNUM32> ResourceList::Matching(const PDU_RSC_DATA& data) const {
  std::vector<UNUM32> ids;
  for (const Resource& resource : resources_) {
    if (Describes(data, resource)) ids.push_back(resource.id);
  }
  return ids;
}

std::vector<UNUM32> ResourceList::ConflictsOf(const Resource& resource) const {
  std::vector<UNUM32> ids;
  for (const Resource& other : resources_) {
    if (other.id != resource.id && Conflict(resource, other)) ids.push_back(other.id);
  }
  return ids;
}

}  // namespace virtual_vci
