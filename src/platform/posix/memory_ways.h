#ifndef PASSBRIDGE_PLATFORM_POSIX_MEMORY_WAYS_H_
#define PASSBRIDGE_PLATFORM_POSIX_MEMORY_WAYS_H_

#include <optional>

#include "platform/memory_range.h"

namespace passbridge::platform {

// The ways to ask the kernel for the use of a range, best first. Each gives nothing if the kernel
// does not offer it here. None alters a byte.

// A system call for each two pages that reads, or writes back, a word across their boundary and
// then fails for another reason: quicker than the others for up to 1 MiB, and nothing for more. A
// word is written back in two steps: nobody else may write to what is asked about.
std::optional<bool> AskByTouching(MemoryRange range, MemoryUse use) noexcept;
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
