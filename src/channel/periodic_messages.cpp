#include "channel/periodic_messages.h"

#include <algorithm>

namespace passbridge {

bool PeriodicMessages::IsFull() const {
  platform::MutexLock lock(lock_);
  return cops_.size() >= kLimit;
}

void PeriodicMessages::Add(UNUM32 hCop) {
  platform::MutexLock lock(lock_);
  cops_.push_back(hCop);
}

bool PeriodicMessages::Remove(UNUM32 hCop) {
  platform::MutexLock lock(lock_);
  const auto found = std::find(cops_.begin(), cops_.end(), hCop);
  if (found == cops_.end()) return false;
  cops_.erase(found);
  return true;
}

std::optional<UNUM32> PeriodicMessages::First() const {
  platform::MutexLock lock(lock_);
  if (cops_.empty()) return std::nullopt;
  return cops_.front();
}

void PeriodicMessages::Clear() {
  platform::MutexLock lock(lock_);
  cops_.clear();
}

}  // namespace passbridge
