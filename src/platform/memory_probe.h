#ifndef PASSBRIDGE_PLATFORM_MEMORY_PROBE_H_
#define PASSBRIDGE_PLATFORM_MEMORY_PROBE_H_

#include <array>
#include <cstddef>

#include "platform/memory_range.h"

namespace passbridge::platform {

// Whether `size` bytes at `address` can be read (written) by this process now. The operating system
// is asked, unless they are on the calling thread's own stack or a MemoryAnswers knows: no signal
// handler is installed, the bytes are not altered. A null pointer and a range that wraps around are
// neither; with size 0 any other pointer is both. The answer holds for as long as nobody changes
// the mapping. While IsWritable asks, nobody else may write there.
bool IsReadable(const void* address, std::size_t size) noexcept;
bool IsWritable(void* address, std::size_t size) noexcept;

// While one lives, its thread does not ask again about memory that it has found usable: for a call
// whose parts each check what they were passed.
class MemoryAnswers {
 public:
  MemoryAnswers() noexcept;
  MemoryAnswers(const MemoryAnswers&) = delete;
  MemoryAnswers& operator=(const MemoryAnswers&) = delete;
  ~MemoryAnswers();

  bool Know(MemoryRange range, MemoryUse use) const noexcept;
  void Keep(MemoryRange range, MemoryUse use) noexcept;

 private:
  struct Answer {
    MemoryRange range;
    MemoryUse use;
  };

  MemoryAnswers* const outer_;
  std::array<Answer, 4> answers_;  // the last ones; more than a call is passed pointers
  std::size_t count_ = 0;
};

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_MEMORY_PROBE_H_
