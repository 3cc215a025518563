#ifndef PASSBRIDGE_SUPPORT_TRACE_OBSERVER_H_
#define PASSBRIDGE_SUPPORT_TRACE_OBSERVER_H_

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "trace/location.h"

namespace passbridge::test {

/// Switches the call trace on for as long as it lives and collects its lines, whatever thread they
/// come from. On Windows they go to the debugger: there are none then.
class TraceObserver {
 public:
  TraceObserver();
  TraceObserver(const TraceObserver&) = delete;
  TraceObserver& operator=(const TraceObserver&) = delete;
  ~TraceObserver();

  static bool SeesTheTrace();

  /// The lines since the last call, without their ends.
  std::vector<std::string> Take();
  /// Of those, the reports of failures, in their order: "Class::Method() - LLLLLLLL:PPPPPPPP text".
  std::vector<std::string> TakeFailures();

 private:
  std::size_t taken_;  // bytes of the process's trace file
};

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
/// compared only where the trace is seen.
void ExpectReport(const Outcome& outcome, Status status, const std::string& report);

/// Compares the status, and expects the report among those that were made.
void ExpectReported(const Outcome& outcome, Status status, const std::string& report);

/// The same, and that the report is what the last-error record has.
void ExpectFirstCause(const Outcome& outcome, Status status, const std::string& report);

}  // namespace passbridge::test

#endif  // PASSBRIDGE_SUPPORT_TRACE_OBSERVER_H_
