#include "virtual_vci/scenario/j1850_port_config.h"

#include <utility>

#include "virtual_vci/scenario/read_values.h"

namespace virtual_vci {

namespace {

constexpr auto kWires =
    std::to_array<Name<unsigned>>({{"both", 3}, {"positive", 1}, {"negative", 2}});
constexpr std::uint32_t kFastestBitRate = 1000000;

}  // namespace

std::shared_ptr<PortConfig> ReadJ1850Port(const JsonValue& json, const std::vector<Signal>&) {
  J1850PortConfig port;
  port.address = ReadByte(json.Get("address"));
  port.functional = ByteOr(json, "functional", port.functional);
  port.bitRate = json.NumberOr("bitRate", 0, 0, kFastestBitRate);
  port.highBitRate = json.NumberOr("highBitRate", 0, 0, kFastestBitRate);
  if (const auto wires = json.Find("wires")) port.wires = ReadName(*wires, kWires);
  port.needsTermination = json.BoolOr("needsTermination", false);
  if (const auto fault = json.Find("fault")) port.fault = ReadEcuFault(*fault);
  return std::make_shared<J1850PortConfig>(std::move(port));
}

}  // namespace virtual_vci
