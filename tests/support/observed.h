#ifndef PASSBRIDGE_SUPPORT_OBSERVED_H_
#define PASSBRIDGE_SUPPORT_OBSERVED_H_

#include <functional>
#include <string>
#include <vector>

#include "trace/location.h"

namespace passbridge::test {

/// What a call gave: its status, the failures that were reported meanwhile ("0E030005 Mask Data
/// Size is too big."), by whatever thread, and the location that the last-error record has since, 0
/// for none.
struct Outcome {
  Status status;
  std::vector<std::string> reports;
  Location recorded;
};

/// Calls with the trace on.
Outcome Observe(const std::function<Status()>& call);

/// Compares status and last report, which is the call's own, empty for a normal exit. Reports are
/// compared only where the trace can be seen (on Windows it goes to the debugger).
void ExpectReport(const Outcome& outcome, Status status, const std::string& report);

/// Compares the status, and expects the report among those that were made.
void ExpectReported(const Outcome& outcome, Status status, const std::string& report);

}  // namespace passbridge::test

#endif  // PASSBRIDGE_SUPPORT_OBSERVED_H_
