#include "virtual_vci/scenario/scenario_ecu.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <span>
#include <string_view>

#include "virtual_vci/scenario/bus_types.h"
#include "virtual_vci/scenario/read_values.h"

namespace virtual_vci {

namespace {

constexpr std::size_t kVinLength = 17;

Signal ReadSignal(const std::string& name, const JsonValue& json) {
  json.RequireObject({"kind", "bytes", "value", "min", "max", "period"});
  Signal signal;
  signal.name = name;
  const std::string kind = json.TextOr("kind", "constant");
  signal.bytes = static_cast<std::uint8_t>(json.NumberOr("bytes", 1, 1, 4));
  const auto most = static_cast<std::uint32_t>((std::uint64_t{1} << (8 * signal.bytes)) - 1);
  if (kind == "constant") {
    signal.min = json.Get("value").Number(0, most);
    return signal;
  }
  if (kind != "counter" && kind != "sweep")
    json.Get("kind").Fail("\"constant\", \"counter\" or \"sweep\"");
  signal.kind = kind == "counter" ? Signal::Kind::kCounter : Signal::Kind::kSweep;
  signal.min = json.NumberOr("min", 0, 0, most);
  signal.max = json.NumberOr("max", most, signal.min, most);
  if (const auto period = json.Find("period")) signal.period = ReadTime(*period, 1);
  return signal;
}

RuleConfig ReadRule(const JsonValue& json, const std::vector<Signal>& signals) {
  json.RequireObject({"request", "response", "pending"});
  const JsonValue request = json.Get("request");
  auto pattern = Pattern::Parse(request.Text());
  if (!pattern) request.Fail("bytes like \"22 F1 ??\", with \"*\" at the end for any further ones");
  return {*std::move(pattern), ReadTemplate(json.Get("response"), signals),
          json.NumberOr("pending", 0, 0, 100)};
}

/// "P0301" and its like, in two bytes.
std::uint16_t ReadFault(const JsonValue& json) {
  constexpr std::string_view kLetters = "PCBU";
  const std::string text = json.Text();
  const std::size_t letter = text.empty() ? std::string_view::npos : kLetters.find(text[0]);
  std::uint32_t digits = 0;
  const char* const end = text.data() + text.size();
  const bool good = text.size() == 5 && letter != std::string_view::npos &&
                    std::from_chars(text.data() + 1, end, digits, 16).ptr == end &&
                    digits <= 0x3FFF;
  if (!good) json.Fail("a fault code like \"P0301\"");
  return static_cast<std::uint16_t>(letter << 14 | digits);
}

std::string ReadLimitedText(const JsonValue& json, std::string_view member, std::size_t longest) {
  std::string text = json.TextOr(member, "");
  if (text.size() > longest)
    json.Get(member).Fail("at most " + std::to_string(longest) + " characters");
  return text;
}

ObdConfig ReadObd(const JsonValue& json, const std::vector<Signal>& signals) {
  json.RequireObject({"pids", "faults", "vin", "calibration", "name"});
  ObdConfig obd;
  if (const auto pids = json.Find("pids")) {
    for (const auto& [name, data] : pids->Members()) {
      obd.pids.push_back(
          {static_cast<std::uint8_t>(HexName(name, data, 0xFF)), ReadTemplate(data, signals)});
    }
  }
  if (const auto faults = json.Find("faults")) {
    for (const JsonValue& fault : faults->Elements()) obd.faults.push_back(ReadFault(fault));
  }
  obd.vin = json.TextOr("vin", "");
  if (!obd.vin.empty() && obd.vin.size() != kVinLength) json.Get("vin").Fail("17 characters");
  obd.calibration = ReadLimitedText(json, "calibration", 16);
  obd.name = ReadLimitedText(json, "name", 20);
  return obd;
}

UdsConfig ReadUds(const JsonValue& json, const std::vector<Signal>& signals) {
  json.RequireObject({"identifiers", "secret", "downloadLimit"});
  UdsConfig uds;
  if (const auto identifiers = json.Find("identifiers")) {
    for (const auto& [name, value] : identifiers->Members()) {
      value.RequireObject({"data", "writable"});
      uds.identifiers.push_back({static_cast<std::uint16_t>(HexName(name, value, 0xFFFF)),
                                 ReadTemplate(value.Get("data"), signals),
                                 value.BoolOr("writable", false)});
    }
  }
  uds.secret = json.NumberOr("secret", uds.secret, 0, kNoLimit);
  uds.downloadLimit = json.NumberOr("downloadLimit", uds.downloadLimit, 1, kNoLimit);
  return uds;
}

UartConfig ReadUart(const JsonValue& json, const std::vector<Signal>& signals) {
  struct Field {
    const char* name;
    Bytes UartConfig::*bytes;
  };
  static constexpr auto kFields = std::to_array<Field>({{"readMemory", &UartConfig::readMemory},
                                                        {"writeMemory", &UartConfig::writeMemory},
                                                        {"readFaults", &UartConfig::readFaults},
                                                        {"clearFaults", &UartConfig::clearFaults},
                                                        {"faults", &UartConfig::faults},
                                                        {"faultsEnd", &UartConfig::faultsEnd}});
  json.RequireObject({"readMemory", "writeMemory", "addressBytes", "count", "start", "memory",
                      "readFaults", "clearFaults", "faults", "faultsEnd", "repeats"});
  constexpr std::uint32_t kMostBytes = 256;
  UartConfig uart;
  for (const Field& field : kFields) {
    if (const auto bytes = json.Find(field.name)) uart.*field.bytes = ReadBytes(*bytes);
  }
  uart.addressBytes = json.NumberOr("addressBytes", 2, 1, 4);
  uart.count = json.NumberOr("count", 1, 1, kMostBytes);
  uart.start = json.NumberOr("start", 0, 0, kNoLimit);
  if (const auto memory = json.Find("memory")) uart.memory = ReadTemplate(*memory, signals);
  uart.repeats = json.NumberOr("repeats", 0, 0, kMostBytes);
  return uart;
}

/// An ECU, or one of its "ports".
std::shared_ptr<const PortConfig> ReadPort(const JsonValue& json,
                                           std::span<const std::string_view> otherMembers,
                                           const std::vector<BusConfig>& buses,
                                           const std::vector<Signal>& signals) {
  const std::size_t bus = json.NumberOr("bus", 0, 0, static_cast<std::uint32_t>(buses.size() - 1));
  const BusTypeInfo& type = BusTypeOf(buses[bus].type);
  std::vector<std::string_view> members(otherMembers.begin(), otherMembers.end());
  members.insert(members.end(), type.portMembers.begin(), type.portMembers.end());
  json.RequireObject(members);
  auto port = type.readPort(json, signals);
  port->bus = bus;
  return port;
}

}  // namespace

EcuConfig ReadEcu(const JsonValue& json, const std::vector<BusConfig>& buses) {
  static constexpr auto kMembers = std::to_array<std::string_view>(
      {"name", "responseTime", "signals", "rules", "obd", "uds", "uart", "ports", "bus"});
  constexpr std::span kAll(kMembers);
  EcuConfig ecu;
  ecu.name = json.TextOr("name", "");
  if (buses.empty()) json.Fail("a bus for this ECU in /buses");
  if (const auto time = json.Find("responseTime")) ecu.responseTime = ReadTime(*time);
  if (const auto signals = json.Find("signals")) {
    for (const auto& [name, signal] : signals->Members())
      ecu.signals.push_back(ReadSignal(name, signal));
  }
  if (const auto ports = json.Find("ports")) {
    json.RequireObject(kAll.first(kAll.size() - 1));
    for (const JsonValue& port : ports->Elements())
      ecu.ports.push_back(ReadPort(port, kAll.last(1), buses, ecu.signals));
    if (ecu.ports.empty()) ports->Fail("at least one port");
  } else {
    ecu.ports.push_back(ReadPort(json, kAll, buses, ecu.signals));
  }
  if (const auto rules = json.Find("rules")) {
    for (const JsonValue& rule : rules->Elements())
      ecu.rules.push_back(ReadRule(rule, ecu.signals));
  }
  if (const auto obd = json.Find("obd")) ecu.obd = ReadObd(*obd, ecu.signals);
  if (const auto uds = json.Find("uds")) ecu.uds = ReadUds(*uds, ecu.signals);
  if (const auto uart = json.Find("uart")) ecu.uart = ReadUart(*uart, ecu.signals);
  return ecu;
}

}  // namespace virtual_vci
