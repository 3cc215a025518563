#include "platform/memory_probe.h"

#include <algorithm>

namespace passbridge::platform {

namespace {

thread_local MemoryAnswers* answersOfThread = nullptr;

bool IsUsable(const void* address, std::size_t size, MemoryUse use) noexcept {
  const auto begin = reinterpret_cast<std::uintptr_t>(address);
  const MemoryRange range{begin, begin + size};
  if (address == nullptr || range.end < begin) return false;
  if (size == 0 || OwnStack().Contains(range)) return true;
  MemoryAnswers* const answers = answersOfThread;
  if (answers != nullptr && answers->Know(range, use)) return true;
  if (!SystemAllows(range, use)) return false;
  if (answers != nullptr) answers->Keep(range, use);
  return true;
}

}  // namespace

MemoryAnswers::MemoryAnswers() noexcept : outer_(answersOfThread) { answersOfThread = this; }

MemoryAnswers::~MemoryAnswers() { answersOfThread = outer_; }

bool MemoryAnswers::Know(MemoryRange range, MemoryUse use) const noexcept {
  const auto* const end = answers_.data() + std::min(count_, answers_.size());
  return std::any_of(answers_.data(), end, [&](const Answer& answer) {
    return answer.range.Contains(range) && (answer.use == use || answer.use == MemoryUse::Write);
  });
}

void MemoryAnswers::Keep(MemoryRange range, MemoryUse use) noexcept {
  answers_[count_++ % answers_.size()] = {range, use};
}

bool IsReadable(const void* address, std::size_t size) noexcept {
  return IsUsable(address, size, MemoryUse::Read);
}

bool IsWritable(void* address, std::size_t size) noexcept {
  return IsUsable(address, size, MemoryUse::Write);
}

}  // namespace passbridge::platform
