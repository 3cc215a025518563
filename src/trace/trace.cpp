#include "trace/trace.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "passbridge/j2534.h"
#include "platform/debug_output.h"
#include "platform/memory_probe.h"
#include "trace/last_error.h"

namespace passbridge {

namespace trace_detail {

std::atomic<std::uint8_t> traceSwitch{0};

void WriteLine(const char* format, const char* name, const char* note) noexcept {
  try {
    std::array<char, 508> line{};
    // The formats are the three constants of trace.h.
    std::snprintf(line.data(), line.size(), format, name, note);  // NOLINT(*-vararg)
    platform::DebugOutput(line.data());
  } catch (...) {  // NOLINT(bugprone-empty-catch): the trace never disturbs what it traces
  }
}

}  // namespace trace_detail

namespace {

using ReportText = std::array<char, kMaxReportText + 1>;

/// Copies a text of unknown origin; false when it cannot be read up to its end or its cut.
bool CopyText(const char* text, const char* ifNull, ReportText& copy) {
  const char* const source = text != nullptr ? text : ifNull;
  std::size_t size = 0;
  for (; size < kMaxReportText; ++size) {
    const bool newPage = size == 0 || reinterpret_cast<std::uintptr_t>(source + size) % 4096 == 0;
    if (newPage && !platform::IsReadable(source + size, 1)) return false;
    if (source[size] == '\0') break;
    copy[size] = source[size];
  }
  copy[size] = '\0';
  return true;
}

struct Report {
  ReportText message;
  ReportText name;
  Location location;
  std::uint32_t pduCode;
};

void StoreFailureText(const Report& report) {
  std::array<char, kMaxReportText + 32> text{};
  std::snprintf(text.data(), text.size(), "(%08X:%08X) %s\r\n", report.location, report.pduCode,
                report.message.data());
  LastErrorRecord::Instance().SetText(text.data());
}

void TraceFailure(const Report& report) {
  std::array<char, 2 * kMaxReportText + 32> line{};
  std::snprintf(line.data(), line.size(), "%s - %08X:%08X %s \r\n", report.name.data(),
                report.location, report.pduCode, report.message.data());
  line[kMaxReportText] = '\0';  // a longer line is cut, line end and all
  platform::DebugOutput(line.data());
}

void MakeReport(const char* name, const char* message, Status status, Location location,
                std::uint32_t pduCode, bool updateLastError) {
  const bool storesText = updateLastError && status == ERR_FAILED;
  if (!storesText && !IsTraceEnabled()) return;  // nobody can observe the texts
  Report report{{}, {}, location, pduCode};
  if (!CopyText(message, "Unknown Error Message", report.message) ||
      !CopyText(name, "Unknown Function Name", report.name)) {
    LastErrorRecord::Instance().SetText("Error during API logging.");
    if (IsTraceEnabled()) platform::DebugOutput("Error during VCI logging.");
    return;
  }
  if (storesText) StoreFailureText(report);
  if (IsTraceEnabled()) TraceFailure(report);
}

}  // namespace

Status ReportError(const char* name, const char* message, Status status, Location location,
                   std::uint32_t pduCode, bool updateLastError) noexcept {
  try {
    const bool updates = updateLastError && !LastErrorKept::IsOnThisThread();
    if (updates) LastErrorRecord::Instance().SetCodes(location, pduCode);
    MakeReport(name, message, status, location, pduCode, updates);
  } catch (...) {  // NOLINT(bugprone-empty-catch): a report never changes the outcome it reports
  }
  return status;
}

}  // namespace passbridge
