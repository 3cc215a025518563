/// \file
/// How a construction starts: scenario and clock, from option text, environment and control
/// interface.
#ifndef VIRTUAL_VCI_EXPORTS_OPTIONS_H_
#define VIRTUAL_VCI_EXPORTS_OPTIONS_H_

#include <optional>
#include <string>
#include <string_view>

#include "virtual_vci/base/time.h"

namespace virtual_vci {

struct StartOptions {
  std::string scenarioFile;  ///< empty: the built-in scenario
  std::optional<ClockKind> clock;
};

/// Reads an option text: `Key='value'` pairs between blanks. Known keys are Scenario and Clock
/// ("realtime", "instant"); others are left to other D-PDU libraries. What the text doesn't say,
/// the control interface says, else the environment (VIRTUAL_VCI_SCENARIO, VIRTUAL_VCI_CLOCK). None
/// for a clock that doesn't exist or a text that isn't made of such pairs.
std::optional<StartOptions> ReadStartOptions(std::string_view optionText);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_EXPORTS_OPTIONS_H_
