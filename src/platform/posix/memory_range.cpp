#include "platform/memory_range.h"

#include <pthread.h>

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

// The whole stack that the system gave the calling thread.
MemoryRange FindStackOfThread() noexcept {
  pthread_attr_t attributes;
  if (::pthread_getattr_np(::pthread_self(), &attributes) != 0) return {0, 0};
  void* lowest = nullptr;
  std::size_t size = 0;
  const int failure = ::pthread_attr_getstack(&attributes, &lowest, &size);
  ::pthread_attr_destroy(&attributes);
  if (failure != 0) return {0, 0};
  const auto begin = reinterpret_cast<std::uintptr_t>(lowest);
  return {begin, begin + size};
}

thread_local MemoryRange stackOfThread{0, 0};
thread_local bool stackIsKnown = false;

}  // namespace

MemoryRange OwnStack() noexcept {
  if (!stackIsKnown) {
    const KeepErrno keepErrno;
    stackOfThread = FindStackOfThread();
    stackIsKnown = true;
  }
  const auto here = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
  if (here < stackOfThread.begin || here >= stackOfThread.end) return {0, 0};
  return {here, stackOfThread.end};
}

bool SystemAllows(MemoryRange range, MemoryUse use) noexcept {
  const KeepErrno keepErrno;
  if (const auto answer = AskByTouching(range, use)) return *answer;
  if (const auto answer = AskByPopulating(range, use)) return *answer;
  if (use == MemoryUse::Read) {
    if (const auto answer = AskByVmRead(range)) return *answer;
    if (const auto answer = AskByPipe(range)) return *answer;
  }
  return AskByMaps(range, use).value_or(true);
}

}  // namespace passbridge::platform
