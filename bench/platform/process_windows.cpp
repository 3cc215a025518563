#include <windows.h>
// The order matters: this one needs the types of the other.
#include <psapi.h>

#include "bench/platform/process.h"

namespace bench {

namespace {

double Seconds(const FILETIME& time) {
  constexpr double kUnit = 100e-9;
  constexpr double kHigh = 4294967296.0;
  return (time.dwHighDateTime * kHigh + time.dwLowDateTime) * kUnit;
}

}  // namespace

std::size_t ResidentBytes() {
  PROCESS_MEMORY_COUNTERS counters{};
  return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters))
             ? counters.WorkingSetSize
             : 0;
}

double ProcessorSeconds() {
  FILETIME created{};
  FILETIME ended{};
  FILETIME kernel{};
  FILETIME user{};
  if (!GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user)) return 0;
  return Seconds(kernel) + Seconds(user);
}

void PinToOneProcessor(bool one) {
  DWORD_PTR process = 0;
  DWORD_PTR system = 0;
  if (!GetProcessAffinityMask(GetCurrentProcess(), &process, &system)) return;
  SetProcessAffinityMask(GetCurrentProcess(), one ? system & (~system + 1) : system);
}

}  // namespace bench
