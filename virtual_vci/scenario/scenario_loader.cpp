#include "virtual_vci/scenario/scenario_loader.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <set>

#include "virtual_vci/scenario/bus_types.h"
#include "virtual_vci/scenario/json_reader.h"
#include "virtual_vci/scenario/read_values.h"
#include "virtual_vci/scenario/scenario_ecu.h"

namespace virtual_vci {

namespace {

constexpr auto kClocks = std::to_array<Name<ClockKind>>(
    {{"realtime", ClockKind::kRealtime}, {"instant", ClockKind::kInstant}});
constexpr auto kStatuses =
    std::to_array<Name<T_PDU_STATUS>>({{"available", PDU_MODST_AVAIL},
                                       {"not ready", PDU_MODST_NOT_READY},
                                       {"not available", PDU_MODST_NOT_AVAIL}});
constexpr auto kInterfaces = std::to_array<Name<const char*>>({{"USB", "USB"},
                                                               {"Ethernet", "Ethernet"},
                                                               {"Wireless", "Wireless"},
                                                               {"Bluetooth", "Bluetooth"},
                                                               {"Local", "Local"}});
InterfaceConfig ReadInterface(const JsonValue& json) {
  json.RequireObject({"type", "address", "wifiQuality"});
  InterfaceConfig interface {
    ReadName(json.Get("type"), kInterfaces), json.TextOr("address", ""), {}
  };
  if (interface.address.find('\'') != std::string::npos)
    json.Get("address").Fail("a text without '");
  if (const auto quality = json.Find("wifiQuality")) interface.wifiQuality = quality->Number(0, 4);
  return interface;
}

UNUM32 ReadVersion(const JsonValue& json) {
  UNUM32 version = 0;
  const auto numbers = json.Elements();
  if (numbers.size() != 4) json.Fail("four numbers");
  for (const JsonValue& number : numbers) version = version << 8 | number.Number(0, 0xFF);
  return version;
}

VciConfig ReadVci(const JsonValue& json) {
  json.RequireObject({"serial", "name", "interfaces", "status", "extraInfo", "firmware", "battery",
                      "cable", "packedReception", "passWithoutFilter"});
  VciConfig vci;
  vci.serial = json.Get("serial").Number(1, kNoLimit);
  vci.name = json.TextOr("name", "Virtual VCI");
  for (const JsonValue& interface : json.Get("interfaces").Elements())
    vci.interfaces.push_back(ReadInterface(interface));
  if (vci.interfaces.empty()) json.Get("interfaces").Fail("at least one interface");
  if (const auto status = json.Find("status")) vci.status = ReadName(*status, kStatuses);
  vci.extraInfo = json.NumberOr("extraInfo", 0, 0, kNoLimit);
  if (const auto firmware = json.Find("firmware")) vci.firmware = ReadVersion(*firmware);
  vci.battery = json.NumberOr("battery", vci.battery, 0, 100000);
  if (const auto cable = json.Find("cable")) vci.cable = cable->Number(0, kNoLimit);
  vci.packedReception = json.BoolOr("packedReception", true);
  vci.passWithoutFilter = json.BoolOr("passWithoutFilter", false);
  return vci;
}

BusType ReadBusType(const JsonValue& json) {
  std::vector<Name<BusType>> names;
  for (const BusTypeInfo& each : BusTypes())
    names.push_back({ObjectNameOf(PDU_OBJT_BUSTYPE, static_cast<UNUM32>(each.type)), each.type});
  return ReadName(json, names);
}

BusConfig ReadBus(const JsonValue& json) {
  json.RequireObject({"type", "pins", "bitRate"});
  BusConfig bus;
  if (const auto type = json.Find("type")) bus.type = ReadBusType(*type);
  const BusTypeInfo& type = BusTypeOf(bus.type);
  const JsonValue pins = json.Get("pins");
  for (const JsonValue& pin : pins.Elements()) bus.pins.push_back(pin.Number(1, 15));
  if (bus.pins.size() < type.minPins || bus.pins.size() > type.maxPins) {
    pins.Fail(type.maxPins == 1 ? "one pin" : type.minPins == 2 ? "two pins" : "one or two pins");
  }
  bus.bitRate = json.NumberOr("bitRate", type.bitRate, 5, 1000000);
  return bus;
}

Scenario ReadScenario(const JsonValue& json) {
  json.RequireObject({"clock", "vcis", "buses", "ecus"});
  Scenario scenario;
  if (const auto clock = json.Find("clock")) scenario.clock = ReadName(*clock, kClocks);
  std::set<UNUM32> serials;
  for (const JsonValue& vci : json.Get("vcis").Elements()) {
    scenario.vcis.push_back(ReadVci(vci));
    if (!serials.insert(scenario.vcis.back().serial).second)
      vci.Get("serial").Fail("a serial number of its own");
  }
  if (const auto buses = json.Find("buses")) {
    for (const JsonValue& bus : buses->Elements()) {
      BusConfig read = ReadBus(bus);
      if (std::any_of(scenario.buses.begin(), scenario.buses.end(), [&](const BusConfig& other) {
            return WireOf(other.type) == WireOf(read.type) && PinsMeet(other.pins, read.pins);
          })) {
        bus.Get("pins").Fail("pins that no other bus of its type begins with");
      }
      scenario.buses.push_back(std::move(read));
    }
  }
  if (const auto ecus = json.Find("ecus")) {
    for (const JsonValue& ecu : ecus->Elements())
      scenario.ecus.push_back(ReadEcu(ecu, scenario.buses));
  }
  return scenario;
}

/// "line 3, column 7" of a byte, counted from 1.
std::string LineAndColumn(const std::string& text, std::size_t byte) {
  const std::size_t end = std::min(byte == 0 ? 0 : byte - 1, text.size());
  const auto begin = text.begin();
  const auto line = std::count(begin, begin + static_cast<std::ptrdiff_t>(end), '\n') + 1;
  const std::size_t lastBreak = end == 0 ? std::string::npos : text.rfind('\n', end - 1);
  const std::size_t column = lastBreak == std::string::npos ? end + 1 : end - lastBreak;
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

std::nullopt_t Report(const std::string& path, const std::string& what) {
  std::fprintf(stderr, "%s: %s\n", path.c_str(), what.c_str());
  return std::nullopt;
}

}  // namespace

std::optional<Scenario> LoadScenario(const std::string& path) {
  if (path.empty()) return BuiltInScenario();
  std::ifstream file(path, std::ios::binary);
  if (!file) return Report(path, "expected a scenario file that can be read");
  const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  try {
    const nlohmann::json json = nlohmann::json::parse(text);
    return ReadScenario(JsonValue(json, ""));
  } catch (const nlohmann::json::parse_error& error) {
    return Report(path, LineAndColumn(text, error.byte) + ": expected JSON (" + error.what() + ")");
  } catch (const nlohmann::json::exception& error) {
    return Report(path, std::string("expected JSON (") + error.what() + ")");
  } catch (const ScenarioError& error) {
    return Report(path, error.what());
  }
}

}  // namespace virtual_vci
