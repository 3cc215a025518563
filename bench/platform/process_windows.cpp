#include <windows.h>
// The order matters: this one needs the types of the other.
#include <psapi.h>

#include "bench/platform/memory.h"

namespace bench {

std::size_t ResidentBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters))
             ? counters.WorkingSetSize
             : 0;
}

}  // namespace bench
