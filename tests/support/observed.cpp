#include "support/observed.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "passbridge/j2534.h"
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

/// The failure lines, without names and D-PDU codes.
std::vector<std::string> ReportsOf(const std::string& trace) {
  std::istringstream lines(trace);
  std::vector<std::string> reports;
  for (std::string line; std::getline(lines, line);) {
    const bool isPassage = line.rfind("Entering ", 0) == 0 || line.rfind("Leaving ", 0) == 0;
    const std::size_t start = line.find(" - ");
    const std::size_t end = line.find_last_not_of(" \r");
    if (isPassage || start == std::string::npos) continue;
    reports.push_back(line.substr(start + 3, 8) + line.substr(start + 20, end + 1 - (start + 20)));
  }
  return reports;
}

}  // namespace

Outcome Observe(const std::function<Status()>& call) {
  LastErrorRecord::Instance().SetCodes(0, 0);
  LastErrorRecord::Instance().SetText("");
  Outcome outcome{};
  outcome.reports = ReportsOf(Traced([&] { outcome.status = call(); }));
  outcome.recorded = LastErrorRecord::Instance().LastLocation();
  return outcome;
}

void ExpectReport(const Outcome& outcome, Status status, const std::string& report) {
  EXPECT_EQ(outcome.status, status) << report;
  if (!IsTraceVisible()) return;
  const bool isNormal = outcome.status == STATUS_NOERROR || outcome.reports.empty();
  EXPECT_EQ(isNormal ? "" : outcome.reports.back(), report);
}

void ExpectReported(const Outcome& outcome, Status status, const std::string& report) {
  EXPECT_EQ(outcome.status, status) << report;
  if (!IsTraceVisible()) return;
  const auto& reports = outcome.reports;
  EXPECT_NE(std::find(reports.begin(), reports.end(), report), reports.end()) << report;
}

}  // namespace passbridge::test
