/// \file
/// What the exports keep for the loaded library rather than for a construction: start settings,
/// injected results, call log. Needs no construction and no destruction, so that it works
/// before PDUConstruct, after PDUDestruct and while the process ends.
#ifndef VIRTUAL_VCI_EXPORTS_RECORDER_H_
#define VIRTUAL_VCI_EXPORTS_RECORDER_H_

#include <array>
#include <atomic>
#include <optional>
#include <string>

#include "virtual_vci/base/sync.h"
#include "virtual_vci/control.h"
#include "virtual_vci/exports/functions.h"

namespace virtual_vci {

class Recorder {
 public:
  static Recorder& Instance();

  void Configure(const char* scenarioFile, UNUM32 clock);
  std::string ScenarioFile() const;
  UNUM32 Clock() const;

  bool Inject(const char* function, UNUM32 count, T_PDU_ERROR result);
  /// The result that this call has to return instead of doing anything.
  std::optional<T_PDU_ERROR> TakeInjected(Function function);

  void LogCalls(bool on) { logging_ = on; }
  bool Logging() const { return logging_; }
  void Log(const VVCI_CALL& call);
  UNUM32 TakeCalls(VVCI_CALL* calls, UNUM32 capacity);

  void Reset();

 private:
  struct Injection {
    UNUM32 count = 0;
    T_PDU_ERROR result = 0;
  };
  static constexpr std::size_t kLogSize = 4096;

  mutable Mutex lock_;
  std::array<char, 1024> scenarioFile_ VVCI_GUARDED_BY(lock_){};
  UNUM32 clock_ VVCI_GUARDED_BY(lock_) = VVCI_CLOCK_DEFAULT;
  std::array<Injection, kFunctionCount> injections_ VVCI_GUARDED_BY(lock_){};
  std::array<VVCI_CALL, kLogSize> calls_ VVCI_GUARDED_BY(lock_){};
  std::size_t firstCall_ VVCI_GUARDED_BY(lock_) = 0;
  std::size_t callCount_ VVCI_GUARDED_BY(lock_) = 0;

  std::atomic<int> injecting_ = 0;  ///< functions with an injection pending
  std::atomic<bool> logging_ = false;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_EXPORTS_RECORDER_H_
