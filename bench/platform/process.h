/// \file
/// What this process has taken from the machine.
#ifndef BENCH_PLATFORM_PROCESS_H_
#define BENCH_PLATFORM_PROCESS_H_

#include <cstddef>

namespace bench {

/// Bytes that are resident now; 0 if the system doesn't tell.
std::size_t ResidentBytes();

/// Seconds of processor time of all threads so far; 0 if the system doesn't tell.
double ProcessorSeconds();

/// Has the calling thread, and those that it starts from now on, run on one processor, or on all;
/// on Windows the whole process.
void PinToOneProcessor(bool one);

}  // namespace bench

#endif  // BENCH_PLATFORM_PROCESS_H_
