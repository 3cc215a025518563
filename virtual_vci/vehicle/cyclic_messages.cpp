#include "virtual_vci/vehicle/cyclic_messages.h"

namespace virtual_vci {

CyclicMessages::CyclicMessages(const std::vector<Micros>& periods, Scheduler& scheduler,
                               FloodGate& flood, Sender& sender)
    : scheduler_(scheduler), flood_(flood), sender_(sender) {
  for (const Micros period : periods) cycles_.push_back({period, std::nullopt});
}

CyclicMessages::~CyclicMessages() {
  flood_.Forget(*this);
  for (Cycle& cycle : cycles_) scheduler_.Cancel(cycle.timer);
}

void CyclicMessages::Switch(bool on) {
  if (on == on_) return;
  on_ = on;
  for (std::size_t index = 0; index < cycles_.size(); ++index) {
    scheduler_.Cancel(cycles_[index].timer);
    cycles_[index].held = false;
    if (on) {
      Start(index);
    } else {
      sender_.CancelCyclic(index);
    }
  }
}

void CyclicMessages::Start(std::size_t index) {
  Cycle& cycle = cycles_[index];
  if (cycle.period == 0) {
    Flood(index);
    return;
  }
  cycle.timer = scheduler_.After(cycle.period, Pace::kPeriodic, [this, index] {
    sender_.SendCyclic(index);
    Start(index);
  });
}

void CyclicMessages::Flood(std::size_t index) {
  cycles_[index].held = !flood_.Pass(*this);
  if (!cycles_[index].held) sender_.SendCyclic(index);
}

void CyclicMessages::FloodGoesOn() {
  for (std::size_t index = 0; index < cycles_.size(); ++index) {
    if (cycles_[index].held) Flood(index);
  }
}

void CyclicMessages::Sent(std::size_t index) {
  if (cycles_[index].period == 0) Flood(index);
}

}  // namespace virtual_vci
