#include "virtual_vci/scenario/gm_uart_port_config.h"

#include <utility>

#include "virtual_vci/scenario/read_values.h"

namespace virtual_vci {

std::shared_ptr<PortConfig> ReadGmUartPort(const JsonValue& json, const std::vector<Signal>&) {
  GmUartPortConfig port;
  port.address = ReadByte(json.Get("address"));
  if (const auto polls = json.Find("polls")) {
    for (const JsonValue& device : polls->Elements()) port.polls.push_back(ReadByte(device));
  }
  if (const auto period = json.Find("pollPeriod")) port.pollPeriod = ReadTime(*period, 1);
  if (const auto devices = json.Find("yieldsTo")) {
    for (const JsonValue& device : devices->Elements()) port.yieldsTo.insert(ReadByte(device));
  }
  if (const auto patience = json.Find("masterPatience")) port.masterPatience = ReadTime(*patience);
  if (const auto fault = json.Find("fault")) port.fault = ReadEcuFault(*fault);
  return std::make_shared<GmUartPortConfig>(std::move(port));
}

}  // namespace virtual_vci
