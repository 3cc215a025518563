#ifndef PASSBRIDGE_TESTS_STRESS_OPERATIONS_H_
#define PASSBRIDGE_TESTS_STRESS_OPERATIONS_H_

#include <array>
#include <cstddef>
#include <cstdint>

namespace passbridge::stress {

/// What threads do. Reads and writes that wait are operations of their own.
enum class Operation : std::uint32_t {
  Open,
  Close,
  Connect,
  SetPins,
  Disconnect,
  Read,
  ReadWaiting,
  Write,
  WriteWaiting,
  StartPeriodic,
  StopPeriodic,
  StartFilter,
  StopFilter,
  GetConfig,
  SetConfig,
  ClearTx,
  ClearRx,
  ClearPeriodic,
  ClearFilters,
  ReadVersion,
  ReadVoltage,
  Count
};

constexpr std::size_t kOperations = static_cast<std::size_t>(Operation::Count);
constexpr std::size_t kStatuses = 0x1B;

const char* NameOf(Operation operation);

/// What happened around a call, which widens what it may return.
struct Circumstances {
  bool ownLoss = false;  ///< the device's VCI was pulled, before or during the call
  bool anyLoss = false;  ///< any VCI was: the library then refuses every call until an open
  bool ended = false;    ///< the channel was disconnected, or the device closed, during the call
  bool absent = false;   ///< there was no such channel from the start
};

bool IsPlausible(Operation operation, long status, const Circumstances& around);

/// How often each operation gave each status.
class Tally {
 public:
  void Count(Operation operation, long status);
  void Add(const Tally& other);
  void Print() const;

 private:
  std::array<std::array<std::uint64_t, kStatuses>, kOperations> counts_{};
};

}  // namespace passbridge::stress

#endif  // PASSBRIDGE_TESTS_STRESS_OPERATIONS_H_
