#include "virtual_vci/protocols/protocol_table.h"

#include <array>

#include "virtual_vci/protocols/gm_uart_protocol.h"
#include "virtual_vci/protocols/iso15765.h"
#include "virtual_vci/protocols/j1850_protocol.h"
#include "virtual_vci/protocols/kline_protocol.h"
#include "virtual_vci/protocols/raw_can.h"
#include "virtual_vci/protocols/sci_protocol.h"

namespace virtual_vci {

namespace {

template <typename T>
std::unique_ptr<Bus> NewBus(Scheduler& scheduler, std::uint32_t bitRate) {
  return std::make_unique<T>(scheduler, bitRate);
}

template <typename T, typename OnBus>
std::unique_ptr<Protocol> NewProtocol(const LinkContext& link, Bus& bus) {
  return std::make_unique<T>(link, static_cast<OnBus&>(bus));
}

constexpr auto kNewCan = NewBus<CanBus>;
constexpr auto kNewRaw = NewProtocol<RawCan, CanBus>;
constexpr auto kNewIso = NewProtocol<Iso15765, CanBus>;

constexpr ComParamDefault kAsTheyAre{ComParam::CP_CanFillerByteHandling, 0};
constexpr ComParamDefault kSlow{ComParam::CP_Baudrate, 33333};
constexpr ComParamDefault kFaster{ComParam::CP_ChangeSpeedRate, 83333};

constexpr auto kNewKLine = NewBus<KLine>;
constexpr auto kNewKLineProtocol = NewProtocol<KLineProtocol, KLine>;

constexpr auto kKLineTimes =
    std::to_array<ComParamDefault>({{ComParam::CP_Baudrate, 10400}, {ComParam::CP_P2Max, 50000}});
constexpr auto kUbpTimes =
    std::to_array<ComParamDefault>({{ComParam::CP_Baudrate, 9600}, {ComParam::CP_P2Max, 50000}});

constexpr auto kNewJ1850 = NewProtocol<J1850Protocol, J1850Bus>;

constexpr auto kVpwRate = std::to_array<ComParamDefault>({{ComParam::CP_Baudrate, 10400}});
constexpr auto kPwmRate = std::to_array<ComParamDefault>({{ComParam::CP_Baudrate, 41600}});
constexpr auto kSciRate = std::to_array<ComParamDefault>({{ComParam::CP_Baudrate, 7812}});
constexpr auto kGmUartRate = std::to_array<ComParamDefault>({{ComParam::CP_Baudrate, 8192}});

constexpr auto kRaw = std::to_array({kAsTheyAre});
constexpr auto kRawSingleWire = std::to_array({kAsTheyAre, kSlow, kFaster});
constexpr auto kIsoSingleWire = std::to_array({kSlow, kFaster});

// Protocol, bus, shared or exclusive, how bus and protocol are made, ComParams that begin
// differently. How many pins a bus is on, its type says (bus_types.h).
constexpr auto kTable = std::to_array<ProtocolOnBus>({
    {ProtocolId::kRawCan, BusType::kDualWireCan, true, kNewCan, kNewRaw, kRaw},
    {ProtocolId::kRawCan, BusType::kFaultTolerantCan, true, kNewCan, kNewRaw, kRaw},
    {ProtocolId::kRawCan, BusType::kSingleWireCan, true, kNewCan, kNewRaw, kRawSingleWire},
    {ProtocolId::kIso15765, BusType::kDualWireCan, true, kNewCan, kNewIso, {}},
    {ProtocolId::kIso15765, BusType::kFaultTolerantCan, true, kNewCan, kNewIso, {}},
    {ProtocolId::kIso15765, BusType::kSingleWireCan, true, kNewCan, kNewIso, kIsoSingleWire},
    {ProtocolId::kIso9141, BusType::kIso9141Uart, false, kNewKLine, kNewKLineProtocol, kKLineTimes},
    {ProtocolId::kIso14230, BusType::kIso14230Uart, false, kNewKLine, kNewKLineProtocol,
     kKLineTimes},
    {ProtocolId::kJ1850Vpw, BusType::kJ1850Vpw, true, NewBus<J1850VpwBus>, kNewJ1850, kVpwRate},
    {ProtocolId::kJ1850Pwm, BusType::kJ1850Pwm, true, NewBus<J1850PwmBus>, kNewJ1850, kPwmRate},
    {ProtocolId::kJ2610, BusType::kJ2610Uart, false, NewBus<SciLine>,
     NewProtocol<SciProtocol, SciLine>, kSciRate},
    {ProtocolId::kGmUart, BusType::kJ2740Uart, false, NewBus<GmUartLine>,
     NewProtocol<GmUartProtocol, GmUartLine>, kGmUartRate},
    {ProtocolId::kUbp, BusType::kUbpUart, false, kNewKLine, kNewKLineProtocol, kUbpTimes},
});

}  // namespace

std::span<const ProtocolOnBus> ProtocolTable() { return kTable; }

}  // namespace virtual_vci
