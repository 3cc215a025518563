#ifndef PASSBRIDGE_TRACE_LAST_ERROR_H_
#define PASSBRIDGE_TRACE_LAST_ERROR_H_

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/mutex.h"
#include "trace/location.h"

namespace passbridge {

/// Longest last-error text: J2534 gives the caller's buffer 80 characters with the terminator.
inline constexpr std::size_t kMaxLastErrorText = 79;

/// What PassThruGetLastError reads out. One record a process, written by every thread; the last
/// writer wins. Each field is whole by itself, the record is not a transaction.
class LastErrorRecord {
 public:
  /// The record of this process.
  static LastErrorRecord& Instance();

  Status LastStatus() const { return status_.load(std::memory_order_relaxed); }
  void SetLastStatus(Status status) { status_.store(status, std::memory_order_relaxed); }

  Location LastLocation() const { return location_.load(std::memory_order_relaxed); }
  std::uint32_t LastPduCode() const { return pduCode_.load(std::memory_order_relaxed); }
  void SetCodes(Location location, std::uint32_t pduCode);

  /// The text of the last first cause that ended as ERR_FAILED, at most kMaxLastErrorText long.
  std::string Text() const EXCLUDES(textLock_);
  void SetText(std::string_view text) EXCLUDES(textLock_);

 private:
  std::atomic<Status> status_{0};
  std::atomic<Location> location_{0};
  std::atomic<std::uint32_t> pduCode_{0};
  mutable platform::Mutex textLock_;
  std::array<char, kMaxLastErrorText> text_ GUARDED_BY(textLock_){};
  std::size_t textSize_ GUARDED_BY(textLock_) = 0;
};

/// While one lives, the reports of its thread leave the record as it is: for the clean-up after a
/// failure, whose own failures are not what the application wants to read about.
class LastErrorKept {
 public:
  LastErrorKept();
  LastErrorKept(const LastErrorKept&) = delete;
  LastErrorKept& operator=(const LastErrorKept&) = delete;
  ~LastErrorKept();

  /// Whether one lives on the calling thread.
  static bool IsOnThisThread();
};

/// Stores what a public operation is about to return, and gives it back.
inline Status RecordStatus(Status status) {
  LastErrorRecord::Instance().SetLastStatus(status);
  return status;
}

}  // namespace passbridge

#endif  // PASSBRIDGE_TRACE_LAST_ERROR_H_
