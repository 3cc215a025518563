#ifndef PASSBRIDGE_PLATFORM_POSIX_MEMORY_WAYS_H_
#define PASSBRIDGE_PLATFORM_POSIX_MEMORY_WAYS_H_

#include <cstdint>
#include <optional>

namespace passbridge::platform {

// The bytes from `begin` up to, but not including, `end`; never empty.
struct MemoryRange {
  std::uintptr_t begin;
  std::uintptr_t end;
};

enum class MemoryUse { Read, Write };

// The ways to ask the kernel for the use of a range, best first. Each gives nothing if the kernel
// does not offer it here. None alters a byte.

// madvise(MADV_POPULATE_READ / _WRITE), Linux 5.14: one call for any range.
std::optional<bool> AskByPopulating(MemoryRange range, MemoryUse use) noexcept;
// process_vm_readv on this process, a byte of each page; containers often forbid it.
std::optional<bool> AskByVmRead(MemoryRange range) noexcept;
// Writes a byte of each page into a pipe.
std::optional<bool> AskByPipe(MemoryRange range) noexcept;
// Looks the range up in /proc/self/maps.
std::optional<bool> AskByMaps(MemoryRange range, MemoryUse use) noexcept;

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_POSIX_MEMORY_WAYS_H_
