#include "trace/last_error.h"

#include <algorithm>

#include "platform/never_destroyed.h"

namespace passbridge {

namespace {

thread_local unsigned keptOnThisThread = 0;

}  // namespace

LastErrorRecord& LastErrorRecord::Instance() {
  // An event thread that outlives a careless process end may still report.
  static platform::NeverDestroyed<LastErrorRecord> record;
  return record.Get();
}

LastErrorKept::LastErrorKept() { ++keptOnThisThread; }
LastErrorKept::~LastErrorKept() { --keptOnThisThread; }
bool LastErrorKept::IsOnThisThread() { return keptOnThisThread != 0; }

void LastErrorRecord::SetCodes(Location location, std::uint32_t pduCode) {
  location_.store(location, std::memory_order_relaxed);
  pduCode_.store(pduCode, std::memory_order_relaxed);
}

std::string LastErrorRecord::Text() const {
  platform::MutexLock lock(textLock_);
  return {text_.data(), textSize_};
}

void LastErrorRecord::SetText(std::string_view text) {
  platform::MutexLock lock(textLock_);
  textSize_ = std::min(text.size(), text_.size());
  std::copy_n(text.begin(), textSize_, text_.begin());
}

}  // namespace passbridge
