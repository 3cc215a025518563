#include "virtual_vci/exports/recorder.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

namespace virtual_vci {

// Made on first use and never destroyed: nothing may run while the process ends. (Not every
// platform's mutex could be a constant instead.)
Recorder& Recorder::Instance() {
  alignas(Recorder) static std::byte storage[sizeof(Recorder)];
  static Recorder& recorder = *new (storage) Recorder;
  return recorder;
}

void Recorder::Configure(const char* scenarioFile, UNUM32 clock) {
  MutexLock lock(lock_);
  clock_ = clock;
  scenarioFile_.fill('\0');
  if (scenarioFile != nullptr)
    std::strncpy(scenarioFile_.data(), scenarioFile, scenarioFile_.size() - 1);
}

std::string Recorder::ScenarioFile() const {
  MutexLock lock(lock_);
  return scenarioFile_.data();
}

UNUM32 Recorder::Clock() const {
  MutexLock lock(lock_);
  return clock_;
}

bool Recorder::Inject(const char* function, UNUM32 count, T_PDU_ERROR result) {
  const auto name =
      std::find_if(kFunctionNames.begin(), kFunctionNames.end(),
                   [&](const char* known) { return std::strcmp(known, function) == 0; });
  if (name == kFunctionNames.end()) return false;
  MutexLock lock(lock_);
  Injection& injection = injections_[static_cast<std::size_t>(name - kFunctionNames.begin())];
  injecting_ += (count != 0 ? 1 : 0) - (injection.count != 0 ? 1 : 0);
  injection = {count, result};
  return true;
}

std::optional<T_PDU_ERROR> Recorder::TakeInjected(Function function) {
  if (injecting_.load(std::memory_order_relaxed) == 0) return std::nullopt;
  MutexLock lock(lock_);
  Injection& injection = injections_[static_cast<std::size_t>(function)];
  if (injection.count == 0) return std::nullopt;
  if (--injection.count == 0) --injecting_;
  return injection.result;
}

void Recorder::Log(const VVCI_CALL& call) {
  MutexLock lock(lock_);
  if (callCount_ == kLogSize) {
    firstCall_ = (firstCall_ + 1) % kLogSize;
    --callCount_;
  }
  calls_[(firstCall_ + callCount_++) % kLogSize] = call;
}

UNUM32 Recorder::TakeCalls(VVCI_CALL* calls, UNUM32 capacity) {
  MutexLock lock(lock_);
  const std::size_t count = std::min<std::size_t>(capacity, callCount_);
  for (std::size_t i = 0; i < count; ++i) calls[i] = calls_[(firstCall_ + i) % kLogSize];
  firstCall_ = (firstCall_ + count) % kLogSize;
  callCount_ -= count;
  return static_cast<UNUM32>(count);
}

void Recorder::Reset() {
  MutexLock lock(lock_);
  scenarioFile_.fill('\0');
  clock_ = VVCI_CLOCK_DEFAULT;
  injections_.fill({});
  injecting_ = 0;
  firstCall_ = callCount_ = 0;
  logging_ = false;
}

}  // namespace virtual_vci
