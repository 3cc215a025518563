#include "virtual_vci/scenario/scenario_ecu.h"

#include <algorithm>
#include <charconv>

namespace virtual_vci {

namespace {

constexpr auto kLongestTime = static_cast<std::uint32_t>(kNoLimit / kMillisecond);  // ms
constexpr std::size_t kVinLength = 17;

/// An identifier: a number above 0x7FF has 29 bits, a smaller one has if "extended" says so.
CanAddress ReadAddress(const JsonValue& json) {
  CanAddress address;
  if (json.IsObject()) {
    json.RequireObject({"id", "extended", "address"});
    address.id = json.Get("id").Number(0, 0x1FFFFFFF);
    address.extended = json.BoolOr("extended", address.id > 0x7FF);
    if (!address.extended && address.id > 0x7FF) json.Get("id").Fail("an identifier of 11 bits");
    if (const auto extension = json.Find("address"))
      address.extension = static_cast<std::uint8_t>(extension->Number(0, 0xFF));
  } else {
    address.id = json.Number(0, 0x1FFFFFFF);
    address.extended = address.id > 0x7FF;
  }
  return address;
}

Template ReadTemplate(const JsonValue& json, const std::vector<Signal>& signals) {
  auto parsed = Template::Parse(json.Text(), signals);
  if (!parsed) json.Fail("bytes like \"41 0C {signal} [1]\", with signals that this ECU has");
  return *std::move(parsed);
}

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
  signal.period = Micros{json.NumberOr("period", 1000, 1, kLongestTime)} * kMillisecond;
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

CyclicConfig ReadCyclic(const JsonValue& json, const std::vector<Signal>& signals) {
  json.RequireObject({"id", "data", "period"});
  CyclicConfig cyclic{ReadAddress(json.Get("id")), ReadTemplate(json.Get("data"), signals),
                      Micros{json.Get("period").Number(0, kLongestTime)} * kMillisecond};
  if (cyclic.data.Build(signals, 0, {}).size() > 8) json.Get("data").Fail("at most 8 bytes");
  return cyclic;
}

std::uint32_t HexName(const std::string& name, const JsonValue& json, std::uint32_t max) {
  std::uint32_t value = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), value, 16);
  if (error != std::errc() || end != name.data() + name.size() || value > max)
    json.Fail("a hexadecimal number as name");
  return value;
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

TransportConfig ReadTransport(const JsonValue& json) {
  json.RequireObject({"blockSize", "stMin", "waits", "maxLength"});
  TransportConfig transport;
  transport.blockSize = static_cast<std::uint8_t>(json.NumberOr("blockSize", 0, 0, 0xFF));
  transport.stMin = static_cast<std::uint8_t>(json.NumberOr("stMin", 0, 0, 0xFF));
  transport.waits = json.NumberOr("waits", 0, 0, 1000);
  transport.maxLength = json.NumberOr("maxLength", 4095, 7, 4095);
  return transport;
}

}  // namespace

EcuConfig ReadEcu(const JsonValue& json, std::size_t buses) {
  json.RequireObject({"name", "bus", "request", "functional", "response", "responseTime", "padding",
                      "transport", "signals", "rules", "obd", "uds", "cyclic"});
  EcuConfig ecu;
  ecu.name = json.TextOr("name", "");
  if (buses == 0) json.Fail("a bus for this ECU in /buses");
  ecu.bus = json.NumberOr("bus", 0, 0, static_cast<std::uint32_t>(buses - 1));
  ecu.request = ReadAddress(json.Get("request"));
  ecu.response = ReadAddress(json.Get("response"));
  if (const auto functional = json.Find("functional")) ecu.functional = ReadAddress(*functional);
  ecu.responseTime = Micros{json.NumberOr("responseTime", 5, 0, kLongestTime)} * kMillisecond;
  if (const auto padding = json.Find("padding"))
    ecu.padding = static_cast<std::uint8_t>(padding->Number(0, 0xFF));
  if (const auto transport = json.Find("transport")) ecu.transport = ReadTransport(*transport);
  if (const auto signals = json.Find("signals")) {
    for (const auto& [name, signal] : signals->Members())
      ecu.signals.push_back(ReadSignal(name, signal));
  }
  if (const auto rules = json.Find("rules")) {
    for (const JsonValue& rule : rules->Elements())
      ecu.rules.push_back(ReadRule(rule, ecu.signals));
  }
  if (const auto obd = json.Find("obd")) ecu.obd = ReadObd(*obd, ecu.signals);
  if (const auto uds = json.Find("uds")) ecu.uds = ReadUds(*uds, ecu.signals);
  if (const auto cyclic = json.Find("cyclic")) {
    for (const JsonValue& message : cyclic->Elements())
      ecu.cyclic.push_back(ReadCyclic(message, ecu.signals));
  }
  return ecu;
}

}  // namespace virtual_vci
