#include "trace_capture.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace passbridge::test {

TraceCapture::TraceCapture() {
  std::string path = "/tmp/passbridge-trace-XXXXXX";
  const int file = mkstemp(path.data());
  if (file >= 0) ::close(file);
  file_ = path;
  ::setenv("PASSBRIDGE_DEBUG_OUTPUT", path.c_str(), 1);
}

TraceCapture::~TraceCapture() {
  ::unsetenv("PASSBRIDGE_DEBUG_OUTPUT");
  std::remove(file_.c_str());
}

std::vector<std::string> TraceCapture::Lines() const {
  std::ifstream in(file_);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

}  // namespace passbridge::test
