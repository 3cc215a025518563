#ifndef PASSBRIDGE_PLATFORM_MEMORY_RANGE_H_
#define PASSBRIDGE_PLATFORM_MEMORY_RANGE_H_

#include <cstdint>

namespace passbridge::platform {

// The bytes from `begin` up to, but not including, `end`.
struct MemoryRange {
  std::uintptr_t begin;
  std::uintptr_t end;

  bool Contains(MemoryRange other) const { return begin <= other.begin && other.end <= end; }
};

enum class MemoryUse { Read, Write };

// What the operating system says of a range that is not empty. No byte is altered.
bool SystemAllows(MemoryRange range, MemoryUse use) noexcept;

// The stack of the calling thread from its caller's frame on, which is there for as long as that
// runs; empty where it is not known, as on a stack that the application made for itself.
MemoryRange OwnStack() noexcept;

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_MEMORY_RANGE_H_
