#include "unit/config/config_fixture.h"

#include <sstream>

#include "platform/debug_output.h"
#include "trace/last_error.h"
#include "trace/trace.h"

namespace passbridge::test {

namespace {

/// Runs `action` with the trace on and gives what it wrote.
std::string Traced(const std::function<void()>& action) {
  testing::internal::CaptureStderr();
  SetTraceEnabled(1);
  action();
  SetTraceEnabled(0);
  return testing::internal::GetCapturedStderr();
}

bool IsTraceVisible() {
  static const bool visible = !Traced([] { TraceEnter("probe"); }).empty();
  return visible;
}

/// The last failure line, without name and D-PDU code: the outermost method reports last.
std::string LastReport(const std::string& trace) {
  std::istringstream lines(trace);
  std::string report;
  for (std::string line; std::getline(lines, line);) {
    const bool isPassage = line.rfind("Entering ", 0) == 0 || line.rfind("Leaving ", 0) == 0;
    const std::size_t start = line.find(" - ");
    const std::size_t end = line.find_last_not_of(' ');
    if (isPassage || start == std::string::npos) continue;
    report = line.substr(start + 3, 8) + line.substr(start + 20, end + 1 - (start + 20));
  }
  return report;
}

}  // namespace

Outcome Observe(const std::function<Status()>& call) {
  LastErrorRecord::Instance().SetCodes(0, 0);
  LastErrorRecord::Instance().SetText("");
  Outcome outcome{};
  const std::string trace = Traced([&] { outcome.status = call(); });
  outcome.report = outcome.status == 0 ? "" : LastReport(trace);
  outcome.recorded = LastErrorRecord::Instance().LastLocation();
  return outcome;
}

void ExpectReport(const Outcome& outcome, Status status, const std::string& report) {
  EXPECT_EQ(outcome.status, status) << report;
  if (IsTraceVisible()) {
    EXPECT_EQ(outcome.report, report);
  }
}

ConfigTest::ConfigTest() { pdu::ResolvePduObjectIds(); }

}  // namespace passbridge::test
