#include "platform/memory_probe.h"

#include <cerrno>

#include "platform/posix/memory_ways.h"

namespace passbridge::platform {
namespace {

class KeepErrno {
 public:
  KeepErrno() : saved_(errno) {}
  ~KeepErrno() { errno = saved_; }

 private:
  int saved_;
};

// False for a null pointer and for a range that wraps around; sets `range` otherwise.
bool MakeRange(const void* address, std::size_t size, MemoryRange& range) {
  const auto begin = reinterpret_cast<std::uintptr_t>(address);
  range = {begin, begin + size};
  return address != nullptr && range.end >= begin;
}

}  // namespace

bool IsReadable(const void* address, std::size_t size) noexcept {
  MemoryRange range;
  if (!MakeRange(address, size, range)) return false;
  if (size == 0) return true;
  const KeepErrno keepErrno;
  if (const auto answer = AskByPopulating(range, MemoryUse::Read)) return *answer;
  if (const auto answer = AskByVmRead(range)) return *answer;
  if (const auto answer = AskByPipe(range)) return *answer;
  return AskByMaps(range, MemoryUse::Read).value_or(true);
}

bool IsWritable(void* address, std::size_t size) noexcept {
  MemoryRange range;
  if (!MakeRange(address, size, range)) return false;
  if (size == 0) return true;
  const KeepErrno keepErrno;
  if (const auto answer = AskByPopulating(range, MemoryUse::Write)) return *answer;
  return AskByMaps(range, MemoryUse::Write).value_or(true);
}

}  // namespace passbridge::platform
