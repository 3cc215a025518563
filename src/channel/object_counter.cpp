#include "channel/object_counter.h"

#include <atomic>

namespace passbridge {

std::uint32_t NextObjectId() {
  static std::atomic<std::uint32_t> counter{1};
  return counter.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace passbridge
