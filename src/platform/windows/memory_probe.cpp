#include "platform/memory_probe.h"

#include <windows.h>

#include <cstdint>

namespace passbridge::platform {
namespace {

constexpr DWORD kWritable =
    PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
constexpr DWORD kReadable = kWritable | PAGE_READONLY | PAGE_EXECUTE_READ;

// Whether every page of the range is committed with one of the protections. Touching a guard page
// would raise an exception, and take the guard from it.
bool HasProtection(const void* address, std::size_t size, DWORD protections) {
  const auto begin = reinterpret_cast<std::uintptr_t>(address);
  const std::uintptr_t end = begin + size;
  if (address == nullptr || end < begin) return false;
  for (std::uintptr_t at = begin; at < end;) {
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

}  // namespace

bool IsReadable(const void* address, std::size_t size) noexcept {
  return HasProtection(address, size, kReadable);
}

bool IsWritable(void* address, std::size_t size) noexcept {
  return HasProtection(address, size, kWritable);
}

}  // namespace passbridge::platform
