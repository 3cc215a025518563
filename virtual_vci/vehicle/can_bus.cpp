#include "virtual_vci/vehicle/can_bus.h"

#include <algorithm>

namespace virtual_vci {

namespace {

constexpr std::uint32_t kDefaultBitRate = 500000;
constexpr Micros kRetryPause = 2000;

std::uint32_t Arbitration(const CanFrame& frame) {
  return frame.extended ? (frame.id << 1 | 1u) : (frame.id << 19);
}

constexpr Micros kStrangerPatience = 100000;

/// Only sends.
class Stranger : public CanNode {
  void Heard(const CanFrame&, FrameTimes) override {}
  void Sent(std::uint64_t, const CanFrame&, bool, FrameTimes) override {}
};

}  // namespace

std::uint32_t CanBus::RateOf(const CanNode& node) const {
  return node.BitRate() == 0 ? bitRate_ : node.BitRate();
}

bool CanBus::Reaches(const CanNode& from, const CanNode& to) const {
  return &from != &to && RateOf(from) == bitRate_ && RateOf(to) == bitRate_;
}

void CanBus::Attach(CanNode& node) {
  if (bitRate_ == 0) bitRate_ = node.BitRate();
  nodes_.push_back(&node);
}

void CanBus::Detach(CanNode& node) {
  std::erase(nodes_, &node);
  const auto ofNode = [&](const auto& entry) { return entry.second.sender == &node; };
  std::erase_if(waiting_, ofNode);
  std::erase_if(resting_, [&](const auto& entry) { return ofNode(entry.second); });
  if (onWire_ && ofNode(*onWire_)) onWire_->second.sender = nullptr;
}

void CanBus::Send(CanNode& node, const CanFrame& frame, std::uint64_t token, Micros patience) {
  const Key key{Arbitration(frame), ++serial_};
  waiting_.emplace(key, Pending{&node, frame, token, scheduler_.Now() + patience});
  if (!onWire_) StartNext();
}

void CanBus::Cancel(CanNode& node, std::uint64_t token) {
  const auto same = [&](const auto& entry) {
    return entry.second.sender == &node && entry.second.token == token;
  };
  std::erase_if(waiting_, same);
  std::erase_if(resting_, [&](const auto& entry) { return same(entry.second); });
  if (onWire_ && same(*onWire_)) onWire_->second.sender = nullptr;
}

void CanBus::StartNext() {
  if (onWire_ || waiting_.empty()) return;
  auto node = waiting_.extract(waiting_.begin());
  onWire_.emplace(node.key(), node.mapped());
  const std::uint64_t rate = bitRate_ == 0 ? kDefaultBitRate : bitRate_;
  wireStart_ = scheduler_.Now();
  // What a rounded time leaves over goes to the next frame, so that long runs take exactly the time
  // of their bits.
  if (wireStart_ != wireEnd_) wireRest_ = 0;
  const std::uint64_t time = std::uint64_t{BitsOf(onWire_->second.frame)} * 1000000u + wireRest_;
  wireRest_ = static_cast<std::uint32_t>(time % rate);
  wireEnd_ = wireStart_ + time / rate;
  scheduler_.After(time / rate, Pace::kProgress, [this] { Complete(); });
}

void CanBus::Complete() {
  const Key key = onWire_->first;
  const Pending pending = onWire_->second;
  onWire_.reset();
  const FrameTimes times{wireStart_, wireEnd_};
  if (pending.sender == nullptr) {
    StartNext();
    return;
  }
  const bool acknowledged = std::any_of(
      nodes_.begin(), nodes_.end(), [&](CanNode* node) { return Reaches(*pending.sender, *node); });
  if (!acknowledged && scheduler_.Now() + kRetryPause <= pending.giveUp) {
    Retry(key, pending);
  } else {
    CanNode* const sender = pending.sender;
    if (acknowledged) {
      for (CanNode* node : nodes_) {
        if (Reaches(*sender, *node)) node->Heard(pending.frame, times);
      }
    }
    sender->Sent(pending.token, pending.frame, acknowledged, times);
  }
  StartNext();
}

void CanBus::Retry(Key key, Pending pending) {
  const std::uint64_t number = ++serial_;
  resting_.emplace(number, std::pair{key, pending});
  scheduler_.After(kRetryPause, Pace::kProgress, [this, number] {
    auto node = resting_.extract(number);
    if (node.empty()) return;
    waiting_.emplace(node.mapped().first, node.mapped().second);
    StartNext();
  });
}

bool CanBus::SendBytes(std::span<const std::uint8_t> message, std::uint32_t flags) {
  const auto frame = FrameOf(message, (flags & kBytesOf29BitId) != 0);
  if (!frame) return false;
  if (!stranger_) {
    stranger_ = std::make_unique<Stranger>();
    Attach(*stranger_);
  }
  Send(*stranger_, *frame, 0, kStrangerPatience);
  return true;
}

}  // namespace virtual_vci
