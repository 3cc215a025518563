#include "trace_capture.h"

#include <windows.h>

#include <mutex>

namespace passbridge::test {

namespace {

std::mutex guard;
std::vector<std::string> taken;

// A line reaches a debugger as an exception that carries its address.
LONG CALLBACK TakeLine(EXCEPTION_POINTERS* exception) {
  constexpr DWORD kPrint = 0x40010006;
  const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
  if (record.ExceptionCode == kPrint && record.NumberParameters >= 2) {
    const std::lock_guard<std::mutex> lock(guard);
    taken.emplace_back(reinterpret_cast<const char*>(record.ExceptionInformation[1]));
  }
  return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

TraceCapture::TraceCapture() : handler_(::AddVectoredExceptionHandler(1, TakeLine)) {
  const std::lock_guard<std::mutex> lock(guard);
  taken.clear();
}

TraceCapture::~TraceCapture() { ::RemoveVectoredExceptionHandler(handler_); }

std::vector<std::string> TraceCapture::Lines() const {
  const std::lock_guard<std::mutex> lock(guard);
  std::vector<std::string> lines = taken;
  for (std::string& line : lines) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  }
  return lines;
}

}  // namespace passbridge::test
