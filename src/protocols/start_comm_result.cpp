#include "protocols/start_comm_result.h"

#include <algorithm>

namespace passbridge {

void StartCommResult::Clear() {
  platform::MutexLock lock(lock_);
  answer_.size = 0;
}

void StartCommResult::Set(std::span<const std::uint8_t> bytes, std::uint32_t timestamp) {
  platform::MutexLock lock(lock_);
  answer_.size = std::min(bytes.size(), kCapacity);
  std::copy_n(bytes.begin(), answer_.size, answer_.bytes.begin());
  answer_.timestamp = timestamp;
}

std::optional<StartCommResult::Answer> StartCommResult::Get() const {
  platform::MutexLock lock(lock_);
  if (answer_.size == 0) return std::nullopt;
  return answer_;
}

}  // namespace passbridge
