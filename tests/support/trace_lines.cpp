#include "support/trace_lines.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/debug_output.h"
#include "trace/trace.h"

namespace passbridge::test {

TraceLines::TraceLines()
    : file_((std::filesystem::temp_directory_path() / "passbridge-trace-XXXXXX").string()) {
  const int descriptor = ::mkstemp(file_.data());
  if (descriptor < 0) std::abort();
  ::close(descriptor);
  ::setenv("PASSBRIDGE_DEBUG_OUTPUT", file_.c_str(), 1);
  platform::ResetDebugOutput();
  SetTraceEnabled(1);
}

TraceLines::~TraceLines() {
  SetTraceEnabled(0);
  ::unsetenv("PASSBRIDGE_DEBUG_OUTPUT");
  platform::ResetDebugOutput();
  std::filesystem::remove(file_);
}

std::vector<std::string> TraceLines::Take() {
  std::ifstream file(file_);
  std::vector<std::string> lines;
  std::size_t number = 0;
  for (std::string line; std::getline(file, line); ++number) {
    if (number >= taken_) lines.push_back(line);
  }
  taken_ = number;
  return lines;
}

std::vector<std::string> TraceLines::TakeFailures() {
  std::vector<std::string> failures;
  for (std::string& line : Take()) {
    if (line.find("() - ") == std::string::npos || line.rfind("Leaving ", 0) == 0) continue;
    line.erase(line.find_last_not_of(' ') + 1);
    failures.push_back(std::move(line));
  }
  return failures;
}

}  // namespace passbridge::test
