#include "virtual_vci/scenario/bus_types.h"

#include <algorithm>
#include <array>

#include "virtual_vci/scenario/can_port_config.h"

namespace virtual_vci {

namespace {

constexpr auto kBusTypes = std::to_array<BusTypeInfo>({
    {BusType::kDualWireCan, 2, 2, 500000, kCanPortMembers, ReadCanPort},
    {BusType::kFaultTolerantCan, 2, 2, 500000, kCanPortMembers, ReadCanPort},
    {BusType::kSingleWireCan, 1, 1, 500000, kCanPortMembers, ReadCanPort},
});

}  // namespace

std::span<const BusTypeInfo> BusTypes() { return kBusTypes; }

const BusTypeInfo& BusTypeOf(BusType type) {
  const auto types = BusTypes();
  return *std::find_if(types.begin(), types.end(),
                       [&](const BusTypeInfo& each) { return each.type == type; });
}

}  // namespace virtual_vci
