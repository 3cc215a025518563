#ifndef PASSBRIDGE_PLATFORM_TEXT_STREAM_H_
#define PASSBRIDGE_PLATFORM_TEXT_STREAM_H_

#include <cstdio>
#include <string_view>

namespace passbridge::platform {

// A text in memory as a file to read from, for libraries that read from files only; it is in no
// file system.
class TextStream {
 public:
  static constexpr std::size_t kMost = 65536;  // bytes; all of them are buffered

  explicit TextStream(std::string_view text);
  TextStream(const TextStream&) = delete;
  TextStream& operator=(const TextStream&) = delete;
  ~TextStream();

  // Null if the system has none to give, and for a text that is empty or too long.
  std::FILE* Get() const { return stream_; }

 private:
  std::FILE* stream_ = nullptr;
};

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_TEXT_STREAM_H_
