#ifndef PASSBRIDGE_PROTOCOLS_START_COMM_RESULT_H_
#define PASSBRIDGE_PROTOCOLS_START_COMM_RESULT_H_

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/mutex.h"

namespace passbridge {

/// What the ECU answered to the start of communication: key bytes, or a message. The event thread
/// puts it here, the application's thread takes it.
class StartCommResult {
 public:
  /// Longer answers are cut.
  static constexpr std::size_t kCapacity = 260;

  struct Answer {
    std::size_t size = 0;
    std::array<std::uint8_t, kCapacity> bytes{};
    std::uint32_t timestamp = 0;  ///< µs

    std::span<const std::uint8_t> Bytes() const { return std::span(bytes).first(size); }
  };

  void Clear() EXCLUDES(lock_);
  void Set(std::span<const std::uint8_t> bytes, std::uint32_t timestamp) EXCLUDES(lock_);
  /// Nothing as long as there is no answer, or an empty one only.
  std::optional<Answer> Get() const EXCLUDES(lock_);

 private:
  mutable platform::Mutex lock_;  // held for this member only
  Answer answer_ GUARDED_BY(lock_);
};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_START_COMM_RESULT_H_
