/// \file
/// Messages that go out as fast as the application takes them.
#ifndef VIRTUAL_VCI_VEHICLE_FLOOD_GATE_H_
#define VIRTUAL_VCI_VEHICLE_FLOOD_GATE_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

#include "virtual_vci/vehicle/scheduler.h"

namespace virtual_vci {

/// Lets such messages through while there is room for them, and only so many between two signs of
/// life of the application. Guarded by the module's lock, but for Used.
class FloodGate {
 public:
  class Waiter {
   public:
    virtual ~Waiter() = default;
    /// The gate may be open again.
    virtual void FloodGoesOn() = 0;
  };

  /// `room`: whether anybody has room for another message.
  FloodGate(Scheduler& scheduler, std::function<bool()> room);

  /// Whether a message may go out now. If not, the waiter is told, once, when it should ask again.
  bool Pass(Waiter& waiter);
  /// The application has taken something, or there is somebody new who has room.
  void Refill();
  /// The waiter is not told any more.
  void Forget(Waiter& waiter);
  /// Whether anybody ever asked. Any thread.
  bool Used() const { return used_.load(std::memory_order_relaxed); }

 private:
  Scheduler& scheduler_;
  std::function<bool()> room_;
  std::uint32_t budget_ = 0;
  bool refilling_ = false;  ///< by a timer
  std::vector<Waiter*> waiting_;
  std::atomic<bool> used_ = false;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_FLOOD_GATE_H_
