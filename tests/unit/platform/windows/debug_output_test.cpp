#include "platform/debug_output.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <string>
#include <vector>

namespace passbridge::platform {
namespace {

std::vector<std::string>* sent = nullptr;

// Each line reaches a debugger as an exception that carries its length and address.
LONG CALLBACK TakeLine(EXCEPTION_POINTERS* exception) {
  constexpr DWORD kPrint = 0x40010006;
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode == kPrint && record.NumberParameters >= 2) {
    sent->emplace_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

TEST(DebugOutput, ReachesTheDebuggerAsItIs) {
  std::vector<std::string> lines;
  sent = &lines;
  void* const handler = ::AddVectoredExceptionHandler(1, TakeLine);
  const std::string longLine(3000, 'x');
  ::SetLastError(ERROR_FILE_NOT_FOUND);
  DebugOutput("Entering f()\r\n");
  DebugOutput("In f(): Closed");
  DebugOutput(longLine);
  EXPECT_EQ(::GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
  ::RemoveVectoredExceptionHandler(handler);
  EXPECT_EQ(lines, (std::vector<std::string>{"Entering f()\r\n", "In f(): Closed", longLine}));
}

}  // namespace
}  // namespace passbridge::platform
