#include "virtual_vci/scenario/bus_types.h"

#include <array>

#include "virtual_vci/scenario/can_port_config.h"
#include "virtual_vci/scenario/kline_port_config.h"

namespace virtual_vci {

namespace {

constexpr auto kBusTypes = std::to_array<BusTypeInfo>({
    {BusType::kDualWireCan, 2, 2, 500000, kCanPortMembers, ReadCanPort},
    {BusType::kFaultTolerantCan, 2, 2, 500000, kCanPortMembers, ReadCanPort},
    {BusType::kSingleWireCan, 1, 1, 500000, kCanPortMembers, ReadCanPort},
    {BusType::kIso14230Uart, 1, 2, 10400, kKLinePortMembers, ReadKLinePort},
    {BusType::kIso9141Uart, 1, 2, 10400, kKLinePortMembers, ReadKLinePort, BusType::kIso14230Uart},
    {BusType::kUbpUart, 1, 2, 9600, kKLinePortMembers, ReadKLinePort},
});

}  // namespace

std::span<const BusTypeInfo> BusTypes() { return kBusTypes; }

}  // namespace virtual_vci
