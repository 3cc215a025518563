/// \file
/// How much memory this process occupies.
#ifndef BENCH_PLATFORM_MEMORY_H_
#define BENCH_PLATFORM_MEMORY_H_

#include <cstddef>

namespace bench {

/// Bytes that are resident now; 0 if the system doesn't tell.
std::size_t ResidentBytes();

}  // namespace bench

#endif  // BENCH_PLATFORM_MEMORY_H_
