/// \file
/// Values that several parts of a scenario file have.
#ifndef VIRTUAL_VCI_SCENARIO_READ_VALUES_H_
#define VIRTUAL_VCI_SCENARIO_READ_VALUES_H_

#include <string_view>
#include <vector>

#include "virtual_vci/base/time.h"
#include "virtual_vci/scenario/json_reader.h"
#include "virtual_vci/scenario/patterns.h"

namespace virtual_vci {

// These throw ScenarioError.

Template ReadTemplate(const JsonValue& json, const std::vector<Signal>& signals);

/// Milliseconds.
Micros ReadTime(const JsonValue& json, std::uint32_t min = 0);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_READ_VALUES_H_
