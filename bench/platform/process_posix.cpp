#include <sched.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>

#include "bench/platform/process.h"

namespace bench {

std::size_t ResidentBytes() {
  std::FILE* file = std::fopen("/proc/self/statm", "r");
  if (file == nullptr) return 0;
  unsigned long total = 0;
  unsigned long resident = 0;
  const int count = std::fscanf(file, "%lu %lu", &total, &resident);
  std::fclose(file);
  return count == 2 ? resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) : 0;
}

double ProcessorSeconds() {
  timespec time{};
  if (clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time) != 0) return 0;
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void PinToOneProcessor(bool one) {
  static const cpu_set_t all = [] {
    cpu_set_t set;
    CPU_ZERO(&set);
    sched_getaffinity(0, sizeof set, &set);
    return set;
  }();
  cpu_set_t wanted = all;
  for (int i = CPU_SETSIZE - 1; one && i >= 0 && CPU_COUNT(&wanted) > 1; --i) CPU_CLR(i, &wanted);
  sched_setaffinity(0, sizeof wanted, &wanted);
}

}  // namespace bench
