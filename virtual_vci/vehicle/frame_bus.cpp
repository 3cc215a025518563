#include "virtual_vci/vehicle/frame_bus.h"

#include <utility>

#include "virtual_vci/vehicle/can_frame.h"
#include "virtual_vci/vehicle/j1850_frame.h"

namespace virtual_vci {

template <typename Frame>
template <typename IsMeant>
void FrameBus<Frame>::Forget(IsMeant isMeant) {
  std::erase_if(waiting_, [&](const auto& entry) { return isMeant(entry.second); });
  std::erase_if(resting_, [&](const auto& entry) { return isMeant(entry.second.second); });
  if (onWire_ && isMeant(onWire_->second)) onWire_->second.sender = nullptr;
}

template <typename Frame>
void FrameBus<Frame>::Detach(Node& node) {
  std::erase(nodes_, &node);
  Forget([&](const Pending& pending) { return pending.sender == &node; });
}

template <typename Frame>
void FrameBus<Frame>::Cancel(Node& node, std::uint64_t token) {
  Forget([&](const Pending& pending) { return pending.sender == &node && pending.token == token; });
}

template <typename Frame>
void FrameBus<Frame>::Send(Node& node, const Frame& frame, std::uint64_t token, Patience patience) {
  if (patience) *patience += scheduler_.Now();
  waiting_.emplace(Key{PriorityOf(frame), ++serial_}, Pending{&node, frame, token, patience});
  if (!onWire_ && !telling_) StartSoon();
}

template <typename Frame>
void FrameBus<Frame>::StartSoon() {
  if (!scheduler_.HasDue()) {
    StartNext();
  } else if (!std::exchange(startsSoon_, true)) {
    scheduler_.After(0, Pace::kProgress, [this] {
      startsSoon_ = false;
      StartNext();
    });
  }
}

template <typename Frame>
void FrameBus<Frame>::DropExpired() {
  const Micros now = scheduler_.Now();
  std::vector<Pending> expired;
  std::erase_if(waiting_, [&](const auto& entry) {
    const bool over = entry.second.giveUp && *entry.second.giveUp < now;
    if (over) expired.push_back(entry.second);
    return over;
  });
  telling_ = true;
  for (const Pending& pending : expired)
    pending.sender->Sent(pending.token, pending.frame, false, {now, now});
  telling_ = false;
}

template <typename Frame>
void FrameBus<Frame>::StartNext() {
  if (onWire_) return;
  DropExpired();
  if (waiting_.empty()) return;
  auto node = waiting_.extract(waiting_.begin());
  onWire_.emplace(node.key(), std::move(node.mapped()));
  const Pending& pending = onWire_->second;
  const std::uint32_t ofSender = pending.sender->BitRate();
  wireStart_ = scheduler_.Now();
  // What a rounded time leaves over goes to the next frame, so that long runs take exactly the time
  // of their bits.
  if (wireStart_ != wireEnd_) wireRest_ = 0;
  constexpr std::uint64_t kPerMicrosecond = kPicosecondsPerSecond / 1000000;
  const std::uint64_t time =
      Duration(*pending.sender, pending.frame, ofSender == 0 ? defaultBitRate_ : ofSender) +
      wireRest_;
  wireRest_ = time % kPerMicrosecond;
  wireEnd_ = wireStart_ + time / kPerMicrosecond;
  scheduler_.After(time / kPerMicrosecond, Pace::kProgress, [this] { Complete(); });
}

template <typename Frame>
void FrameBus<Frame>::Complete() {
  const auto [key, pending] = *std::exchange(onWire_, std::nullopt);
  if (pending.sender != nullptr) {
    const FrameTimes times{wireStart_, wireEnd_};
    telling_ = true;
    const bool acknowledged = IsAcknowledged(*pending.sender, pending.frame);
    Distribute(pending, times);
    const bool again =
        !acknowledged && pending.giveUp && scheduler_.Now() + kRetryPause <= *pending.giveUp;
    if (again) {
      Retry(key, pending);
    } else {
      pending.sender->Sent(pending.token, pending.frame, acknowledged, times);
    }
    telling_ = false;
  }
  StartSoon();
}

template <typename Frame>
void FrameBus<Frame>::Distribute(const Pending& pending, FrameTimes times) {
  for (Node* node : nodes_) {
    if (node != pending.sender && Reaches(*pending.sender, *node, pending.frame))
      node->Heard(pending.frame, times);
  }
}

template <typename Frame>
void FrameBus<Frame>::Retry(Key key, Pending pending) {
  const std::uint64_t number = ++serial_;
  resting_.emplace(number, std::pair{std::move(key), std::move(pending)});
  scheduler_.After(kRetryPause, Pace::kProgress, [this, number] {
    auto node = resting_.extract(number);
    if (node.empty()) return;
    waiting_.emplace(std::move(node.mapped().first), std::move(node.mapped().second));
    StartSoon();
  });
}

template <typename Frame>
void FrameBus<Frame>::SendAsStranger(const Frame& frame) {
  if (!stranger_) {
    const auto talking = std::find_if(nodes_.begin(), nodes_.end(),
                                      [](const Node* node) { return node->BitRate() != 0; });
    const std::uint32_t rate = talking == nodes_.end() ? defaultBitRate_ : (*talking)->BitRate();
    stranger_ = std::make_unique<Stranger>(bitRate_ == 0 ? rate : bitRate_);
    Attach(*stranger_);
  }
  Send(*stranger_, frame, 0, kStrangerPatience);
}

// Each kind of frame that there is.
template class FrameBus<CanFrame>;
template class FrameBus<J1850Frame>;

}  // namespace virtual_vci
