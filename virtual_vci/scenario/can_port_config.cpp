#include "virtual_vci/scenario/can_port_config.h"

#include <utility>

#include "virtual_vci/scenario/read_values.h"

namespace virtual_vci {

namespace {

constexpr std::uint32_t kFastestCan = 1000000;

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

CanPortConfig::Cyclic ReadCyclic(const JsonValue& json, const std::vector<Signal>& signals) {
  json.RequireObject({"id", "data", "period"});
  CanPortConfig::Cyclic cyclic{ReadAddress(json.Get("id")), ReadTemplate(json.Get("data"), signals),
                               ReadTime(json.Get("period"))};
  if (cyclic.data.Build(signals, 0, {}).size() > 8) json.Get("data").Fail("at most 8 bytes");
  return cyclic;
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

std::shared_ptr<PortConfig> ReadCanPort(const JsonValue& json, const std::vector<Signal>& signals) {
  CanPortConfig port;
  if (const auto bitRate = json.Find("bitRate")) port.bitRate = bitRate->Number(5, kFastestCan);
  port.request = ReadAddress(json.Get("request"));
  port.response = ReadAddress(json.Get("response"));
  if (const auto functional = json.Find("functional")) port.functional = ReadAddress(*functional);
  if (const auto padding = json.Find("padding"))
    port.padding = static_cast<std::uint8_t>(padding->Number(0, 0xFF));
  if (const auto transport = json.Find("transport")) port.transport = ReadTransport(*transport);
  if (const auto cyclic = json.Find("cyclic")) {
    for (const JsonValue& message : cyclic->Elements())
      port.cyclic.push_back(ReadCyclic(message, signals));
  }
  port.highBitRate = json.NumberOr("highBitRate", 0, 0, kFastestCan);
  if (const auto time = json.Find("awakeTime")) port.awakeTime = ReadTime(*time);
  port.needsTermination = json.BoolOr("needsTermination", false);
  return std::make_shared<CanPortConfig>(std::move(port));
}

}  // namespace virtual_vci
