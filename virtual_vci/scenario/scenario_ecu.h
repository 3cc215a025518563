/// \file
/// The part of a scenario file that describes an ECU.
#ifndef VIRTUAL_VCI_SCENARIO_SCENARIO_ECU_H_
#define VIRTUAL_VCI_SCENARIO_SCENARIO_ECU_H_

#include "virtual_vci/scenario/json_reader.h"
#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

/// Throws ScenarioError. `buses`: how many the scenario has.
EcuConfig ReadEcu(const JsonValue& json, std::size_t buses);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_SCENARIO_ECU_H_
