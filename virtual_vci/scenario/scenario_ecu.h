/// \file
/// The part of a scenario file that describes an ECU.
#ifndef VIRTUAL_VCI_SCENARIO_SCENARIO_ECU_H_
#define VIRTUAL_VCI_SCENARIO_SCENARIO_ECU_H_

#include <vector>

#include "virtual_vci/scenario/json_reader.h"
#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

/// Throws ScenarioError. `buses`: those of the scenario.
EcuConfig ReadEcu(const JsonValue& json, const std::vector<BusConfig>& buses);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_SCENARIO_ECU_H_
