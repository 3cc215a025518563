#ifndef PASSBRIDGE_TRACE_TRACE_H_
#define PASSBRIDGE_TRACE_TRACE_H_

#include <atomic>
#include <cstdint>

#include "trace/location.h"

/// The call trace: who was entered and left, and which exit failed. Its only output is the
/// platform's debug output, one call a line, so lines of different threads never mix.
namespace passbridge {

/// Longest message, trace name and failure line; longer text is cut.
inline constexpr std::size_t kMaxReportText = 191;

namespace trace_detail {
extern std::atomic<std::uint8_t> traceSwitch;
void WriteLine(const char* format, const char* name, const char* note) noexcept;
}  // namespace trace_detail

/// Whether trace lines are written: off until the first open of a process says otherwise.
inline bool IsTraceEnabled() {
  return trace_detail::traceSwitch.load(std::memory_order_relaxed) == 1;
}
inline void SetTraceEnabled(std::uint8_t value) {
  trace_detail::traceSwitch.store(value, std::memory_order_relaxed);
}

inline void TraceEnter(const char* name) {
  if (IsTraceEnabled()) trace_detail::WriteLine("Entering %s\r\n", name, nullptr);
}
inline void TraceLeave(const char* name) {
  if (IsTraceEnabled()) trace_detail::WriteLine("Leaving %s\r\n", name, nullptr);
}
/// Entry and exit of a constructor or destructor, which has nothing to fail in.
inline void TracePassage(const char* name) {
  TraceEnter(name);
  TraceLeave(name);
}
/// A remark in the middle of a method. The line has no line end, so the next one follows it.
inline void TraceNote(const char* name, const char* note) {
  if (IsTraceEnabled()) trace_detail::WriteLine("In %s: %s", name, note);
}

/// Reports one failing exit and gives `status` back unchanged.
/// @param name     trace name of the method; null and unreadable texts are survived
/// @param message  what failed
/// @param pduCode  result of the D-PDU call that failed, 0 where none is involved
/// @param updateLastError  true where the failure arises: location and D-PDU code go into the
///        last-error record, and with ERR_FAILED the text too. False where it is passed on. A
///        LastErrorKept on this thread makes it false.
Status ReportError(const char* name, const char* message, Status status, Location location,
                   std::uint32_t pduCode, bool updateLastError) noexcept;

}  // namespace passbridge

#endif  // PASSBRIDGE_TRACE_TRACE_H_
