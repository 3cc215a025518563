#include "virtual_vci/scenario/bus_types.h"

#include <array>

#include "virtual_vci/scenario/can_port_config.h"
#include "virtual_vci/scenario/gm_uart_port_config.h"
#include "virtual_vci/scenario/j1850_port_config.h"
#include "virtual_vci/scenario/kline_port_config.h"
#include "virtual_vci/scenario/sci_port_config.h"

namespace virtual_vci {

namespace {

constexpr auto kBusTypes = std::to_array<BusTypeInfo>({
    {BusType::kDualWireCan, 2, 2, 500000, kCanPortMembers, ReadCanPort},
    {BusType::kFaultTolerantCan, 2, 2, 500000, kCanPortMembers, ReadCanPort},
    {BusType::kSingleWireCan, 1, 2, 33333, kCanPortMembers, ReadCanPort},
    {BusType::kIso14230Uart, 1, 2, 10400, kKLinePortMembers, ReadKLinePort},
    {BusType::kIso9141Uart, 1, 2, 10400, kKLinePortMembers, ReadKLinePort, BusType::kIso14230Uart},
    {BusType::kJ1850Vpw, 1, 1, 10400, kJ1850PortMembers, ReadJ1850Port},
    {BusType::kJ1850Pwm, 2, 2, 41600, kJ1850PortMembers, ReadJ1850Port},
    {BusType::kJ2610Uart, 1, 2, 7812, kSciPortMembers, ReadSciPort},
    {BusType::kJ2740Uart, 1, 1, 8192, kGmUartPortMembers, ReadGmUartPort},
    {BusType::kUbpUart, 1, 2, 9600, kKLinePortMembers, ReadKLinePort},
});

}  // namespace

std::span<const BusTypeInfo> BusTypes() { return kBusTypes; }

}  // namespace virtual_vci
