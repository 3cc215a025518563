#include "virtual_vci/scenario/sci_port_config.h"

#include <utility>

#include "virtual_vci/scenario/read_values.h"

namespace virtual_vci {

namespace {

constexpr std::uint32_t kFastestSci = 1000000;
constexpr std::uint32_t kLongestRequest = 256;

}  // namespace

std::shared_ptr<PortConfig> ReadSciPort(const JsonValue& json, const std::vector<Signal>&) {
  SciPortConfig port;
  port.bitRate = json.NumberOr("bitRate", 0, 0, kFastestSci);
  port.highBitRate = json.NumberOr("highBitRate", 0, 0, kFastestSci);
  port.toHigh = ByteOr(json, "toHigh", port.toHigh);
  port.toNormal = ByteOr(json, "toNormal", port.toNormal);
  if (const auto lengths = json.Find("requestLengths")) {
    for (const auto& [name, length] : lengths->Members()) {
      port.requestLengths[static_cast<std::uint8_t>(HexName(name, length, 0xFF))] =
          length.Number(1, kLongestRequest);
    }
  }
  if (const auto commands = json.Find("needVoltage")) {
    for (const JsonValue& command : commands->Elements())
      port.needVoltage.insert(ReadByte(command));
  }
  if (const auto time = json.Find("echoTime")) port.echoTime = ReadTime(*time);
  if (const auto fault = json.Find("fault")) port.fault = ReadEcuFault(*fault);
  return std::make_shared<SciPortConfig>(std::move(port));
}

}  // namespace virtual_vci
