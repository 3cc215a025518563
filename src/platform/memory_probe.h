#ifndef PASSBRIDGE_PLATFORM_MEMORY_PROBE_H_
#define PASSBRIDGE_PLATFORM_MEMORY_PROBE_H_

#include <cstddef>

namespace passbridge::platform {

// Whether `size` bytes at `address` can be read (written) by this process now. The operating system
// is asked: no signal handler is installed, the bytes are not altered, and other threads may use
// them meanwhile. A null pointer and a range that wraps around are neither; with size 0 any other
// pointer is both. The answer holds for as long as nobody changes the mapping.
bool IsReadable(const void* address, std::size_t size) noexcept;
bool IsWritable(void* address, std::size_t size) noexcept;

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_MEMORY_PROBE_H_
