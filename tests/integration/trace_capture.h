#ifndef PASSBRIDGE_TESTS_INTEGRATION_TRACE_CAPTURE_H_
#define PASSBRIDGE_TESTS_INTEGRATION_TRACE_CAPTURE_H_

#include <string>
#include <vector>

namespace passbridge::test {

/// Takes what the process sends to its debugger, as a debugger would on Windows, and where
/// PASSBRIDGE_DEBUG_OUTPUT sends it on Linux. Made before the library is loaded.
class TraceCapture {
 public:
  TraceCapture();
  TraceCapture(const TraceCapture&) = delete;
  TraceCapture& operator=(const TraceCapture&) = delete;
  ~TraceCapture();

  /// The lines so far, without their ends.
  std::vector<std::string> Lines() const;

 private:
  std::string file_;
  void* handler_ = nullptr;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_INTEGRATION_TRACE_CAPTURE_H_
