#include "frames/frame_log.h"

#include <cinttypes>
#include <cstdio>

namespace passbridge::tool {

std::uint64_t TimestampExtender::Extend(std::uint32_t timestamp) {
  if (!started_) {
    started_ = true;
    time_ = timestamp;
    return time_;
  }
  const auto step = static_cast<std::int32_t>(timestamp - static_cast<std::uint32_t>(time_));
  // A frame may be stamped a little earlier than the one before it, but not before time began.
  if (step < 0 && time_ < static_cast<std::uint64_t>(-static_cast<std::int64_t>(step))) {
    return 0;
  }
  time_ += static_cast<std::uint64_t>(static_cast<std::int64_t>(step));
  return time_;
}

std::string FormatLogLine(std::uint64_t time, std::string_view channel, std::string_view text) {
  char stamp[40];
  std::snprintf(stamp, sizeof stamp, "(%010" PRIu64 ".%06" PRIu64 ") ", time / 1000000,
                time % 1000000);
  return std::string(stamp).append(channel).append(" ").append(text);
}

}  // namespace passbridge::tool
