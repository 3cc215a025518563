#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "virtual_vci/scenario/can_port_config.h"
#include "virtual_vci/scenario/gm_uart_port_config.h"
#include "virtual_vci/scenario/j1850_port_config.h"
#include "virtual_vci/scenario/kline_port_config.h"
#include "virtual_vci/scenario/sci_port_config.h"

namespace virtual_vci {

namespace {

constexpr Micros kSecond = 1000000;

constexpr const char* kVin = "VVC1234567N000001";
constexpr const char* kVinBytes = "56 56 43 31 32 33 34 35 36 37 4E 30 30 30 30 30 31";

struct CyclicText {
  CanAddress address;
  const char* data;
  Micros period;
};

Template MustParse(const char* text, const std::vector<Signal>& signals) {
  const auto parsed = Template::Parse(text, signals);
  if (!parsed) throw std::logic_error(std::string("built-in scenario: ") + text);
  return *parsed;
}

struct PidText {
  std::uint8_t number;
  const char* data;
};

void AddPids(EcuConfig& ecu, std::initializer_list<PidText> pids) {
  for (const auto& [number, data] : pids)
    ecu.obd->pids.push_back({number, MustParse(data, ecu.signals)});
}

struct IdentifierText {
  std::uint16_t id;
  const char* data;
  bool writable;
};

void AddIdentifiers(EcuConfig& ecu, std::initializer_list<IdentifierText> identifiers) {
  for (const auto& [id, data, writable] : identifiers) {
    ecu.uds->identifiers.push_back({id, MustParse(data, ecu.signals), writable});
  }
}

/// The port of an ECU on the CAN bus.
void AddPort(EcuConfig& ecu, std::uint32_t request, std::uint32_t response,
             std::initializer_list<CyclicText> messages) {
  CanPortConfig port;
  port.request = {request, false, {}};
  port.functional = CanAddress{0x7DF, false, {}};
  port.response = {response, false, {}};
  port.padding = 0xAA;
  for (const auto& [address, data, period] : messages) {
    port.cyclic.push_back({address, MustParse(data, ecu.signals), period});
  }
  ecu.ports.push_back(std::make_shared<CanPortConfig>(port));
}

Signal Sweep(const char* name, std::uint8_t bytes, std::uint32_t min, std::uint32_t max,
             Micros period) {
  return {name, Signal::Kind::kSweep, bytes, min, max, period};
}

VciConfig Vci(UNUM32 serial, const char* name) {
  VciConfig vci;
  vci.serial = serial;
  vci.name = name;
  return vci;
}

std::vector<VciConfig> Vcis() {
  VciConfig bench = Vci(4711, "Virtual VCI");
  bench.interfaces = {{"USB", "", {}}, {"Ethernet", "192.168.0.11", {}}};
  bench.cable = 100;
  VciConfig wireless = Vci(4712, "Virtual VCI W");
  wireless.interfaces = {{"Wireless", "192.168.0.12", 3}};
  VciConfig outdated = Vci(4713, "Virtual VCI B");
  outdated.interfaces = {{"Bluetooth", "", {}}};
  outdated.status = PDU_MODST_NOT_READY;
  outdated.extraInfo = PDU_ERR_MODULE_FW_OUT_OF_DATE;
  outdated.firmware = 0x01090000;
  return {bench, wireless, outdated};
}

EcuConfig Engine() {
  EcuConfig ecu;
  ecu.name = "engine";
  ecu.signals = {
      Sweep("rpm", 2, 800 * 4, 4000 * 4, 20 * kSecond),
      Sweep("speed", 1, 0, 120, 30 * kSecond),
      Sweep("coolant", 1, 60 + 40, 95 + 40, 120 * kSecond),
      Sweep("load", 1, 40, 200, 20 * kSecond),
      Sweep("throttle", 1, 30, 220, 20 * kSecond),
      {"intake", Signal::Kind::kConstant, 1, 25 + 40, 0, 0},
      {"seconds", Signal::Kind::kCounter, 2, 0, 65535, kSecond},
      {"alive", Signal::Kind::kCounter, 1, 0, 255, 10 * kMillisecond},
  };
  ecu.obd.emplace();
  AddPids(ecu, {{0x01, "02 07 61 00"},
                {0x04, "{load}"},
                {0x05, "{coolant}"},
                {0x0C, "{rpm}"},
                {0x0D, "{speed}"},
                {0x0F, "{intake}"},
                {0x11, "{throttle}"},
                {0x1F, "{seconds}"},
                {0x42, "31 38"}});
  ecu.obd->faults = {0x0301, 0x0420};  // P0301, P0420
  ecu.obd->vin = kVin;
  ecu.obd->calibration = "VVCI-ENG-0001";
  ecu.obd->name = "ECM-EngineControl";
  ecu.uds.emplace();
  AddIdentifiers(ecu, {{0xF190, kVinBytes, true},
                       {0xF18C, "45 4E 47 30 30 30 31", false},
                       {0xF195, "02 03 04", false},
                       {0x0100, "{rpm}", false},
                       {0x0200, "00 00 00 00", true}});
  AddPort(ecu, 0x7E0, 0x7E8,
          {{{0x100, false, {}}, "{rpm} {throttle} {load} 00 00 00 {alive}", 10 * kMillisecond},
           {{0x110, false, {}}, "{speed} 00 {coolant} {intake}", 20 * kMillisecond},
           {{0x18FEF100, true, {}}, "FF {speed} 00 FF FF FF FF {alive}", 100 * kMillisecond}});
  return ecu;
}

EcuConfig Transmission() {
  EcuConfig ecu;
  ecu.name = "transmission";
  ecu.responseTime = 8000;
  ecu.signals = {Sweep("gear", 1, 1, 6, 30 * kSecond), Sweep("speed", 1, 0, 120, 30 * kSecond),
                 Sweep("oil", 1, 70 + 40, 90 + 40, 60 * kSecond)};
  ecu.obd.emplace();
  AddPids(ecu, {{0x0D, "{speed}"}});
  ecu.obd->faults = {0x0700};  // P0700
  ecu.obd->vin = kVin;
  ecu.obd->calibration = "VVCI-TCM-0001";
  ecu.obd->name = "TCM-Transmission";
  ecu.uds.emplace();
  AddIdentifiers(ecu, {{0xF190, kVinBytes, true},
                       {0xF18C, "54 43 4D 30 30 30 31", false},
                       {0x0100, "{gear}", false}});
  AddPort(ecu, 0x7E1, 0x7E9, {{{0x1A0, false, {}}, "{gear} {oil} 00 00", 50 * kMillisecond}});
  return ecu;
}

/// ECUs on single-wire CAN. One of them sleeps until a message with high voltage comes.
EcuConfig SingleWireEcu(std::size_t bus, const char* name, std::uint32_t request,
                        Micros awakeTime) {
  EcuConfig ecu;
  ecu.name = name;
  ecu.signals = {Sweep("speed", 1, 0, 120, 30 * kSecond)};
  ecu.uds.emplace();
  AddIdentifiers(ecu, {{0xF190, kVinBytes, true}, {0x0100, "{speed}", false}});
  CanPortConfig port;
  port.bus = bus;
  port.request = {request, false, {}};
  port.response = {request + 0x400, false, {}};
  port.functional = CanAddress{0x101, false, std::uint8_t{0xFE}};
  port.highBitRate = 83333;
  port.awakeTime = awakeTime;
  ecu.ports.push_back(std::make_shared<CanPortConfig>(port));
  return ecu;
}

/// What the ECUs on older buses have.
EcuConfig LegacyEcu(const char* name, const char* calibration) {
  EcuConfig ecu;
  ecu.name = name;
  ecu.signals = {Sweep("rpm", 2, 800 * 4, 4000 * 4, 20 * kSecond),
                 Sweep("speed", 1, 0, 120, 30 * kSecond),
                 Sweep("coolant", 1, 60 + 40, 95 + 40, 120 * kSecond)};
  ecu.obd.emplace();
  AddPids(ecu, {{0x01, "02 07 61 00"}, {0x05, "{coolant}"}, {0x0C, "{rpm}"}, {0x0D, "{speed}"}});
  ecu.obd->faults = {0x0301, 0x0420};
  ecu.obd->vin = kVin;
  ecu.obd->calibration = calibration;
  ecu.obd->name = name;
  return ecu;
}

EcuConfig KeywordEngine(std::size_t bus, const char* name) {
  EcuConfig ecu = LegacyEcu(name, "VVCI-KWP-0001");
  ecu.uds.emplace();
  AddIdentifiers(ecu, {{0xF190, kVinBytes, true}, {0x0100, "{rpm}", false}});
  KLinePortConfig port;
  port.bus = bus;
  port.fiveBaud = {0x10};
  port.fastInit = true;
  ecu.ports.push_back(std::make_shared<KLinePortConfig>(port));
  return ecu;
}

EcuConfig Iso9141Engine(std::size_t bus) {
  EcuConfig ecu = LegacyEcu("iso9141", "VVCI-9141-0001");
  KLinePortConfig port;
  port.bus = bus;
  port.address = 0x11;
  port.fiveBaud = {0x33};
  port.keyBytes = {0x08, 0x08};
  port.header = KLineHeader::kIso9141;
  ecu.ports.push_back(std::make_shared<KLinePortConfig>(port));
  return ecu;
}

EcuConfig J1850Engine(std::size_t bus, const char* name, const char* calibration,
                      std::uint32_t highBitRate) {
  EcuConfig ecu = LegacyEcu(name, calibration);
  J1850PortConfig port;
  port.bus = bus;
  port.highBitRate = highBitRate;
  ecu.ports.push_back(std::make_shared<J1850PortConfig>(port));
  return ecu;
}

/// Memory of 256 bytes whose first ones move.
Template Memory(const std::vector<Signal>& signals) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text = "{rpm} {speed} {coolant}";
  for (std::size_t at = 4; at < 256; ++at) {
    text += ' ';
    text += {kDigits[at / 16], kDigits[at % 16]};
  }
  return MustParse(text.c_str(), signals);
}

/// What the ECUs on UART buses have.
EcuConfig UartEcu(const char* name) {
  EcuConfig ecu;
  ecu.name = name;
  ecu.signals = LegacyEcu(name, "").signals;
  ecu.uart.emplace();
  ecu.uart->memory = Memory(ecu.signals);
  return ecu;
}

/// Commands of one byte: faults 10, clear them 13, memory 14, write it (with a raised line) 27,
/// 62,500 bit/s and back 12, FE.
EcuConfig SciEcu(std::size_t bus, const char* name) {
  EcuConfig ecu = UartEcu(name);
  ecu.uart->readMemory = {0x14};
  ecu.uart->writeMemory = {0x27};
  ecu.uart->readFaults = {0x10};
  ecu.uart->clearFaults = {0x13};
  ecu.uart->faults = {0x0B, 0x27};
  ecu.uart->faultsEnd = {0xFE};
  SciPortConfig port;
  port.bus = bus;
  port.highBitRate = 62500;
  port.requestLengths = {{0x10, 1}, {0x12, 1}, {0x13, 1}, {0x14, 3}, {0x27, 4}, {0xFE, 1}};
  port.needVoltage = {0x27};
  ecu.ports.push_back(std::make_shared<SciPortConfig>(port));
  return ecu;
}

/// Modes: data and faults 01 00, 64 bytes of memory 02, clear faults 0A. It polls a tester at F0,
/// to which it yields, and another device.
EcuConfig GmUartEcu(std::size_t bus) {
  EcuConfig ecu = UartEcu("gmuart");
  ecu.uart->readMemory = {0x02};
  ecu.uart->count = 64;
  ecu.uart->readFaults = {0x01, 0x00};
  ecu.uart->clearFaults = {0x0A};
  ecu.uart->faults = {0x13, 0x42};
  ecu.uart->repeats = 1;
  GmUartPortConfig port;
  port.bus = bus;
  port.polls = {0xF0, 0xF1};
  port.yieldsTo = {0xF0};
  ecu.ports.push_back(std::make_shared<GmUartPortConfig>(port));
  return ecu;
}

}  // namespace

Scenario BuiltInScenario() {
  Scenario scenario;
  scenario.vcis = Vcis();
  scenario.buses = {
      {BusType::kDualWireCan, {6, 14}, 500000}, {BusType::kIso14230Uart, {7, 15}, 10400},
      {BusType::kUbpUart, {3}, 9600},           {BusType::kJ1850Vpw, {2}, 10400},
      {BusType::kJ1850Pwm, {2, 10}, 41600},     {BusType::kJ2610Uart, {6, 7}, 7812},
      {BusType::kJ2610Uart, {14, 7}, 7812},     {BusType::kJ2610Uart, {12, 7}, 7812},
      {BusType::kJ2610Uart, {9, 15}, 7812},     {BusType::kJ2740Uart, {9}, 8192},
      {BusType::kSingleWireCan, {1}, 33333}};
  scenario.ecus = {Engine(),
                   Transmission(),
                   KeywordEngine(1, "keyword"),
                   Iso9141Engine(1),
                   KeywordEngine(2, "ubp"),
                   J1850Engine(3, "vpw", "VVCI-VPW-0001", 41600),
                   J1850Engine(4, "pwm", "VVCI-PWM-0001", 83300),
                   SciEcu(5, "sci-a-engine"),
                   SciEcu(6, "sci-a-trans"),
                   SciEcu(7, "sci-b-engine"),
                   SciEcu(8, "sci-b-trans"),
                   GmUartEcu(9),
                   SingleWireEcu(10, "body", 0x241, 0),
                   SingleWireEcu(10, "mirror", 0x242, 3 * kSecond)};
  return scenario;
}

}  // namespace virtual_vci
