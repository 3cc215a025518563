/// \file
/// Scenario files.
#ifndef VIRTUAL_VCI_SCENARIO_SCENARIO_LOADER_H_
#define VIRTUAL_VCI_SCENARIO_SCENARIO_LOADER_H_

#include <optional>
#include <string>

#include "virtual_vci/scenario/scenario.h"

namespace virtual_vci {

/// The scenario of this file; of an empty path, the built-in one. None for a bad file, and one line
/// on the error output that names the file, the place in it and what was expected there.
std::optional<Scenario> LoadScenario(const std::string& path);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_SCENARIO_SCENARIO_LOADER_H_
