#ifndef PASSBRIDGE_PLATFORM_DEBUG_OUTPUT_H_
#define PASSBRIDGE_PLATFORM_DEBUG_OUTPUT_H_

#include <string_view>

namespace passbridge::platform {

// Sends one line to the debugger output, whole: lines of several threads never mix. Failures are
// swallowed.
//
// Windows: OutputDebugStringA, the text as it is.
// Linux: to what PASSBRIDGE_DEBUG_OUTPUT names when the first line is sent: "stderr" (also without
// the variable), "syslog", or the path of a file that is appended to (a FIFO that nobody reads or
// that is full loses the line). "\r\n" becomes "\n", and a line without an end gets one.
void DebugOutput(std::string_view line) noexcept;

// Lets the next line read the environment again (for programs that change it).
void ResetDebugOutput() noexcept;

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_DEBUG_OUTPUT_H_
