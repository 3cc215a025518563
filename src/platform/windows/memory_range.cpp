#include "platform/memory_range.h"

#include <windows.h>

namespace passbridge::platform {
namespace {

constexpr DWORD kWritable =
    PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
constexpr DWORD kReadable = kWritable | PAGE_READONLY | PAGE_EXECUTE_READ;

// Of the thread's NT_TIB, which begins the segment; fibers have theirs put there. By hand, for GCC
// takes what NtCurrentTeb does for an access to a null array.
MemoryRange StackOfThread() {
  MemoryRange stack;
#ifdef _WIN64
  __asm__ volatile("movq %%gs:0x08, %0\n\tmovq %%gs:0x10, %1"
                   : "=&r"(stack.end), "=r"(stack.begin));
#else
  __asm__ volatile("movl %%fs:0x04, %0\n\tmovl %%fs:0x08, %1"
                   : "=&r"(stack.end), "=r"(stack.begin));
#endif
  return stack;
}

}  // namespace

MemoryRange OwnStack() noexcept {
  const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  const MemoryRange stack = StackOfThread();
  return here >= stack.begin && here < stack.end ? MemoryRange{here, stack.end} : MemoryRange{0, 0};
}

// Whether every page of the range is committed with one of the protections. Touching a guard page
// would raise an exception, and take the guard from it.
bool SystemAllows(MemoryRange range, MemoryUse use) noexcept {
  const DWORD protections = use == MemoryUse::Read ? kReadable : kWritable;
  for (std::uintptr_t at = range.begin; at < range.end;) {
    MEMORY_BASIC_INFORMATION region;
    if (::VirtualQuery(reinterpret_cast<const void*>(at), &region, sizeof region) == 0)
      return false;
    if (region.State != MEM_COMMIT || (region.Protect & PAGE_GUARD) != 0 ||
        (region.Protect & protections) == 0) {
      return false;
    }
    const std::uintptr_t next =
        reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize;
    if (next <= at) return true;  // the region reaches the end of the address space
    at = next;
  }
  return true;
}

}  // namespace passbridge::platform
