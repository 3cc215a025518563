#include "virtual_vci/vehicle/flood_gate.h"

#include <algorithm>
#include <utility>

namespace virtual_vci {

namespace {

constexpr std::uint32_t kFloodBudget = 1024;  // messages without anybody taking any
constexpr Micros kFloodPause = 10000;

}  // namespace

FloodGate::FloodGate(Scheduler& scheduler, std::function<bool()> room)
    : scheduler_(scheduler), room_(std::move(room)) {}

bool FloodGate::Pass(Waiter& waiter) {
  used_.store(true, std::memory_order_relaxed);
  const bool room = room_();
  if (room && budget_ > 0) {
    --budget_;
    return true;
  }
  if (std::find(waiting_.begin(), waiting_.end(), &waiter) == waiting_.end())
    waiting_.push_back(&waiter);
  // Room without a budget: nobody takes anything, so there is no hurry.
  if (room && !std::exchange(refilling_, true)) {
    scheduler_.After(kFloodPause, Pace::kPeriodic, [this] {
      refilling_ = false;
      Refill();
    });
  }
  return false;
}

void FloodGate::Refill() {
  budget_ = kFloodBudget;
  for (Waiter* waiter : std::exchange(waiting_, {})) waiter->FloodGoesOn();
}

void FloodGate::Forget(Waiter& waiter) { std::erase(waiting_, &waiter); }

}  // namespace virtual_vci
