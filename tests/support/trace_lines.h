#ifndef PASSBRIDGE_SUPPORT_TRACE_LINES_H_
#define PASSBRIDGE_SUPPORT_TRACE_LINES_H_

#include <string>
#include <vector>

namespace passbridge::test {

/// Switches the call trace on for as long as it lives and collects its lines (Linux: the debug
/// output goes to a temporary file). One at a time.
class TraceLines {
 public:
  TraceLines();
  TraceLines(const TraceLines&) = delete;
  TraceLines& operator=(const TraceLines&) = delete;
  ~TraceLines();

  /// The lines since the last call, without their ends.
  std::vector<std::string> Take();
  /// Of those, the reports of failures, in their order: "Class::Method() - LLLLLLLL:PPPPPPPP text".
  std::vector<std::string> TakeFailures();

 private:
  std::string file_;
  std::size_t taken_ = 0;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_SUPPORT_TRACE_LINES_H_
