#ifndef PASSBRIDGE_CHANNEL_FUNCT_MSG_LOOKUP_TABLE_H_
#define PASSBRIDGE_CHANNEL_FUNCT_MSG_LOOKUP_TABLE_H_

#include <cstdint>
#include <span>
#include <vector>

#include "platform/mutex.h"

namespace passbridge {

/// The functional message look-up table of a J1850 PWM channel: the target addresses of functional
/// messages that the tester takes as its own, in the order of their addition, none twice. Any
/// thread.
class FunctMsgLookupTable {
 public:
  using Addresses = std::vector<std::uint8_t>;

  /// Each gives the table as it is afterwards.
  Addresses Add(std::span<const std::uint8_t> addresses) EXCLUDES(lock_);
  Addresses Remove(std::span<const std::uint8_t> addresses) EXCLUDES(lock_);

  void Clear() EXCLUDES(lock_);
  bool Contains(std::uint8_t address) const EXCLUDES(lock_);
  Addresses Get() const EXCLUDES(lock_);

 private:
  mutable platform::Mutex lock_;
  Addresses addresses_ GUARDED_BY(lock_);
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_FUNCT_MSG_LOOKUP_TABLE_H_
