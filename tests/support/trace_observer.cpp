#include "support/trace_observer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>

#ifndef _WIN32
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "platform/debug_output.h"
#endif
#include "passbridge/j2534.h"
#include "trace/last_error.h"
#include "trace/trace.h"

namespace passbridge::test {

namespace {

#ifdef _WIN32

std::string Traced() { return {}; }

#else

/// Where the process's debug output goes from the first observer on. It stays so: a thread that is
/// about to write when an observer ends is not disturbed.
class TraceFile {
 public:
  TraceFile() : path_((std::filesystem::temp_directory_path() / "passbridge-XXXXXX").string()) {
    const int descriptor = ::mkstemp(path_.data());
    if (descriptor < 0) std::abort();
    ::close(descriptor);
    ::setenv("PASSBRIDGE_DEBUG_OUTPUT", path_.c_str(), 1);
    platform::ResetDebugOutput();
  }
  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;
  ~TraceFile() { std::filesystem::remove(path_); }

  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

/// All that was traced so far.
std::string Traced() {
  static const TraceFile file;
  std::ifstream stream(file.Path(), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

#endif

/// A failure without the method's name and the D-PDU code.
std::string ReportOf(const std::string& failure) {
  const std::size_t start = failure.find(" - ") + 3;
  return failure.substr(start, 8) + failure.substr(start + 17);
}

}  // namespace

TraceObserver::TraceObserver() : taken_(Traced().size()) { SetTraceEnabled(1); }

TraceObserver::~TraceObserver() { SetTraceEnabled(0); }

bool TraceObserver::SeesTheTrace() {
#ifdef _WIN32
  return false;
#else
  return true;
#endif
}

std::vector<std::string> TraceObserver::Take() {
  const std::string all = Traced();
  std::istringstream text(all.substr(taken_));
  taken_ = all.size();
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> TraceObserver::TakeFailures() {
  std::vector<std::string> failures;
  for (std::string& line : Take()) {
    const bool isPassage = line.starts_with("Entering ") || line.starts_with("Leaving ");
    if (isPassage || line.find(" - ") == std::string::npos) continue;
    line.erase(line.find_last_not_of(" \r") + 1);
    failures.push_back(std::move(line));
  }
  return failures;
}

Outcome Observe(const std::function<Status()>& call) {
  LastErrorRecord::Instance().SetCodes(0, 0);
  LastErrorRecord::Instance().SetText("");
  TraceObserver trace;
  Outcome outcome{};
  outcome.status = call();
  for (const std::string& failure : trace.TakeFailures()) {
    outcome.reports.push_back(ReportOf(failure));
  }
  outcome.recorded = LastErrorRecord::Instance().LastLocation();
  return outcome;
}

void ExpectReport(const Outcome& outcome, Status status, const std::string& report) {
  EXPECT_EQ(outcome.status, status) << report;
  if (!TraceObserver::SeesTheTrace()) return;
  const bool isNormal = outcome.status == STATUS_NOERROR || outcome.reports.empty();
  EXPECT_EQ(isNormal ? "" : outcome.reports.back(), report);
}

void ExpectReported(const Outcome& outcome, Status status, const std::string& report) {
  EXPECT_EQ(outcome.status, status) << report;
  if (!TraceObserver::SeesTheTrace()) return;
  const auto& reports = outcome.reports;
  EXPECT_NE(std::find(reports.begin(), reports.end(), report), reports.end()) << report;
}

void ExpectFirstCause(const Outcome& outcome, Status status, const std::string& report) {
  ExpectReported(outcome, status, report);
  EXPECT_EQ(outcome.recorded, std::stoul(report.substr(0, 8), nullptr, 16)) << report;
}

}  // namespace passbridge::test
