#include "virtual_vci/scenario/kline_port_config.h"

#include <utility>

#include "virtual_vci/scenario/read_values.h"

namespace virtual_vci {

namespace {

constexpr auto kHeaders =
    std::to_array<Name<KLineHeader>>({{"ISO 14230", KLineHeader::kIso14230},
                                      {"ISO 14230 with length byte", KLineHeader::kLengthByte},
                                      {"ISO 9141", KLineHeader::kIso9141}});
constexpr auto kParities = std::to_array<Name<Parity>>(
    {{"none", Parity::kNone}, {"odd", Parity::kOdd}, {"even", Parity::kEven}});

KLineTiming ReadTiming(const JsonValue& json) {
  struct Member {
    const char* name;
    Micros KLineTiming::*time;
  };
  constexpr auto kMembers = std::to_array<Member>({{"p1", &KLineTiming::p1},
                                                   {"p2", &KLineTiming::p2},
                                                   {"p3Max", &KLineTiming::p3Max},
                                                   {"w1", &KLineTiming::w1},
                                                   {"w2", &KLineTiming::w2},
                                                   {"w3", &KLineTiming::w3},
                                                   {"w4", &KLineTiming::w4}});
  json.RequireObject({"p1", "p2", "p3Max", "w1", "w2", "w3", "w4"});
  KLineTiming timing;
  for (const Member& member : kMembers) {
    if (const auto time = json.Find(member.name)) timing.*member.time = ReadTime(*time);
  }
  return timing;
}

void ReadInitialisation(const JsonValue& json, KLinePortConfig& port) {
  if (const auto addresses = json.Find("fiveBaud")) {
    for (const JsonValue& address : addresses->Elements())
      port.fiveBaud.push_back(ReadByte(address));
  }
  port.initOnL = json.BoolOr("initOnL", false);
  port.fiveBaudMode = static_cast<std::uint8_t>(json.NumberOr("fiveBaudMode", 0, 0, 3));
  port.fastInit = json.BoolOr("fastInit", false);
  if (const auto keyBytes = json.Find("keyBytes")) {
    const auto bytes = keyBytes->Elements();
    if (bytes.size() != port.keyBytes.size()) keyBytes->Fail("two bytes");
    port.keyBytes = {ReadByte(bytes[0]), ReadByte(bytes[1])};
  }
}

}  // namespace

std::shared_ptr<PortConfig> ReadKLinePort(const JsonValue& json, const std::vector<Signal>&) {
  KLinePortConfig port;
  port.address = ReadByte(json.Get("address"));
  port.functional = ByteOr(json, "functional", port.functional);
  ReadInitialisation(json, port);
  if (const auto header = json.Find("header")) port.header = ReadName(*header, kHeaders);
  port.format.bitRate = json.NumberOr("bitRate", 0, 0, 1000000);
  port.format.dataBits = static_cast<std::uint8_t>(json.NumberOr("dataBits", 8, 7, 8));
  if (const auto parity = json.Find("parity")) port.format.parity = ReadName(*parity, kParities);
  if (const auto timing = json.Find("timing")) port.timing = ReadTiming(*timing);
  if (const auto fault = json.Find("fault")) port.fault = ReadEcuFault(*fault);
  return std::make_shared<KLinePortConfig>(std::move(port));
}

}  // namespace virtual_vci
