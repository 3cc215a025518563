#ifndef PASSBRIDGE_TRACE_METHOD_H_
#define PASSBRIDGE_TRACE_METHOD_H_

#include <array>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "passbridge/j2534.h"
#include "platform/cancellation.h"
#include "trace/trace.h"

/// The frame of a traced method. A method names itself once; entry and exit lines, failure
/// reports with their location codes and the catch-all follow from that:
///
///   Status CJ2534FilterList::StopJ2534Filter(std::uint32_t filterId) {
///     return Traced(methods::filter_list::kStopJ2534Filter, [&](Exits& exit) -> Status {
///       if (…) return exit.PassOn(1, ERR_INVALID_FILTER_ID, "Invalid FilterID.");
///       return exit.Normal();
///     });
///   }
namespace passbridge {

/// How a method names itself; methods.list has them all.
struct Method {
  const char* name;  ///< trace name: class, "::", method and "()"; a constant text
  Module module;     ///< module and number give the location codes of its exits
  std::uint8_t number;
  std::uint16_t handlerPoint = 0xFF;  ///< exit number of the catch-all
  bool handlerUpdates = true;         ///< whether the catch-all updates the last-error record
};

/// A message with numbers in it, for exits that are rare: it is formatted when it is made.
class Formatted {
 public:
  template <typename... Args>
  explicit Formatted(const char* format, Args... args) {
    // A constant format and numbers or constant texts only.
    std::snprintf(text_.data(), text_.size(), format, args...);  // NOLINT(*-vararg)
  }
  const char* Text() const { return text_.data(); }

 private:
  std::array<char, kMaxReportText + 1> text_;
};

/// The ways out of a traced method. Point numbers are those of the method's location codes.
class Exits {
 public:
  explicit Exits(const Method& method) : method_(method), name_(method.name) {}

  /// The exits of another method, in this one's name: for failures whose locations applications
  /// know as that one's.
  Exits At(const Method& method) const { return {method, name_}; }

  /// The normal exit.
  Status Normal() const {
    TraceLeave(name_);
    return STATUS_NOERROR;
  }
  /// A normal exit that traces a text of its own.
  static Status NormalAs(const char* text, Status status = STATUS_NOERROR) {
    TraceLeave(text);
    return status;
  }

  /// The exit behind a last step, which has reported its failure in this method's name.
  Status Ended(Status lastStep) const { return lastStep == 0 ? Normal() : lastStep; }

  /// A failure that arises here: it becomes the last error.
  Status Fail(std::uint16_t point, Status status, const char* message,
              std::uint32_t pduCode = 0) const {
    return ReportError(name_, message, status, Code(point), pduCode, true);
  }
  Status Fail(std::uint16_t point, Status status, const Formatted& message,
              std::uint32_t pduCode = 0) const {
    return Fail(point, status, message.Text(), pduCode);
  }

  /// A failure that a callee has reported already, or that is no news to the application: the
  /// last error stays as it is.
  Status PassOn(std::uint16_t point, Status status, const char* message,
                std::uint32_t pduCode = 0) const {
    return ReportError(name_, message, status, Code(point), pduCode, false);
  }
  Status PassOn(std::uint16_t point, Status status, const Formatted& message,
                std::uint32_t pduCode = 0) const {
    return PassOn(point, status, message.Text(), pduCode);
  }

  /// The catch-all's exit.
  Status Unhandled() const {
    return ReportError(name_, "Unhandled exception.", ERR_FAILED, Code(method_.handlerPoint), 0,
                       method_.handlerUpdates);
  }

  const char* Name() const { return name_; }

 private:
  Exits(const Method& method, const char* name) : method_(method), name_(name) {}

  Location Code(std::uint16_t point) const {
    return MakeLocation(method_.module, method_.number, point);
  }

  const Method& method_;
  const char* name_;
};

/// Runs `body` (Exits& -> Status) as the method `method`: traces the entry, and turns whatever it
/// throws into ERR_FAILED. With the trace off the frame costs one byte comparison. Nothing gets out
/// but the unwinding of a thread that is cancelled in a wait.
template <typename Body>
Status Traced(const Method& method, Body&& body) {
  Exits exit(method);
  try {
    TraceEnter(method.name);
    return std::forward<Body>(body)(exit);
  } catch (...) {
    if (platform::IsThreadEnding()) throw;
    return exit.Unhandled();
  }
}

}  // namespace passbridge

#endif  // PASSBRIDGE_TRACE_METHOD_H_
