#ifndef PASSBRIDGE_TESTS_FAULTS_HANDLE_MAP_H_
#define PASSBRIDGE_TESTS_FAULTS_HANDLE_MAP_H_

#include <algorithm>
#include <cstddef>
#include <vector>

#include "passbridge/d_pdu_api.h"

namespace passbridge::test {

/// Handles of the application for those of the virtual VCI: the lowest that is free, counted from
/// `first`. The caller locks.
class HandleMap {
 public:
  explicit HandleMap(UNUM32 first) : first_(first) {}

  /// Gives a handle to one that has none yet.
  UNUM32 ToApplication(UNUM32 real) {
    if (real == PDU_HANDLE_UNDEF) return real;
    auto slot = std::find(slots_.begin(), slots_.end(), real);
    if (slot == slots_.end()) slot = std::find(slots_.begin(), slots_.end(), PDU_HANDLE_UNDEF);
    if (slot == slots_.end()) slot = slots_.insert(slot, real);
    *slot = real;
    return first_ + static_cast<UNUM32>(slot - slots_.begin());
  }

  /// A handle that was never given becomes one that the virtual VCI doesn't have either.
  UNUM32 ToReal(UNUM32 handle) const {
    const std::size_t slot = handle - first_;
    if (handle == PDU_HANDLE_UNDEF || slot < slots_.size()) {
      return handle == PDU_HANDLE_UNDEF ? handle : slots_[slot];
    }
    return PDU_ID_UNDEF;
  }

  void Free(UNUM32 real) { std::replace(slots_.begin(), slots_.end(), real, PDU_HANDLE_UNDEF); }
  void Clear() { slots_.clear(); }

 private:
  UNUM32 first_;
  std::vector<UNUM32> slots_;
};

}  // namespace passbridge::test

#endif  // PASSBRIDGE_TESTS_FAULTS_HANDLE_MAP_H_
