#include "virtual_vci/protocols/protocol_table.h"

#include <array>

#include "virtual_vci/protocols/iso15765.h"
#include "virtual_vci/protocols/raw_can.h"

namespace virtual_vci {

namespace {

template <typename T>
std::unique_ptr<Protocol> Make(const LinkContext& link) {
  return std::make_unique<T>(link);
}

constexpr auto kSingleWire = std::to_array<ComParamDefault>({{ComParam::CP_Baudrate, 33333}});

// Protocol, bus, fewest and most pins, shared or exclusive, how it is made, its own defaults.
constexpr auto kTable = std::to_array<ProtocolOnBus>({
    {ProtocolId::kRawCan, BusType::kDualWireCan, 2, 2, true, Make<RawCan>, {}},
    {ProtocolId::kRawCan, BusType::kFaultTolerantCan, 2, 2, true, Make<RawCan>, {}},
    {ProtocolId::kRawCan, BusType::kSingleWireCan, 1, 1, true, Make<RawCan>, kSingleWire},
    {ProtocolId::kIso15765, BusType::kDualWireCan, 2, 2, true, Make<Iso15765>, {}},
    {ProtocolId::kIso15765, BusType::kFaultTolerantCan, 2, 2, true, Make<Iso15765>, {}},
    {ProtocolId::kIso15765, BusType::kSingleWireCan, 1, 1, true, Make<Iso15765>, kSingleWire},
});

}  // namespace

std::span<const ProtocolOnBus> ProtocolTable() { return kTable; }

}  // namespace virtual_vci
