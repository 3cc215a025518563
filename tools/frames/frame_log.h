// The log line of a frame or a message, "(0000000012.345678) can0 7E8#03410C1AF8": the columns that
// CAN tools on Linux write and read.
#ifndef PASSBRIDGE_TOOLS_FRAMES_FRAME_LOG_H_
#define PASSBRIDGE_TOOLS_FRAMES_FRAME_LOG_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace passbridge::tool {

// Makes a time line of 64 bits out of time stamps that wrap after 32. Between two stamps lie at
// most 35 minutes in either direction.
class TimestampExtender {
 public:
  std::uint64_t Extend(std::uint32_t timestamp);

 private:
  std::uint64_t time_ = 0;
  bool started_ = false;
};

// `time` in microseconds.
std::string FormatLogLine(std::uint64_t time, std::string_view channel, std::string_view text);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_FRAMES_FRAME_LOG_H_
