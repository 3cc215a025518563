#include "virtual_vci/vehicle/can_bus.h"

#include <algorithm>
#include <utility>

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
 public:
  explicit Stranger(std::uint32_t bitRate) : bitRate_(bitRate) {}

 private:
  void Heard(const CanFrame&, FrameTimes) override {}
  void Sent(std::uint64_t, const CanFrame&, bool, FrameTimes) override {}
  std::uint32_t BitRate() const override { return bitRate_; }

  const std::uint32_t bitRate_;
};

bool Reaches(const CanNode& from, const CanNode& to) {
  return &from != &to && from.BitRate() != 0 && from.BitRate() == to.BitRate();
}

}  // namespace

void CanBus::Attach(CanNode& node) { nodes_.push_back(&node); }

void CanBus::Detach(CanNode& node) {
  std::erase(nodes_, &node);
  const auto ofNode = [&](const auto& entry) { return entry.second.sender == &node; };
  std::erase_if(waiting_, ofNode);
  std::erase_if(resting_, [&](const auto& entry) { return ofNode(entry.second); });
  if (onWire_ && ofNode(*onWire_)) onWire_->second.sender = nullptr;
}

void CanBus::Send(CanNode& node, const CanFrame& frame, std::uint64_t token, Patience patience) {
  const Key key{Arbitration(frame), ++serial_};
  if (patience) *patience += scheduler_.Now();
  waiting_.emplace(key, Pending{&node, frame, token, patience});
  if (!onWire_ && !telling_) StartSoon();
}

void CanBus::Cancel(CanNode& node, std::uint64_t token) {
  const auto same = [&](const auto& entry) {
    return entry.second.sender == &node && entry.second.token == token;
  };
  std::erase_if(waiting_, same);
  std::erase_if(resting_, [&](const auto& entry) { return same(entry.second); });
  if (onWire_ && same(*onWire_)) onWire_->second.sender = nullptr;
}

void CanBus::StartSoon() {
  if (!scheduler_.HasDue()) {
    StartNext();
  } else if (!std::exchange(startsSoon_, true)) {
    scheduler_.After(0, Pace::kProgress, [this] {
      startsSoon_ = false;
      StartNext();
    });
  }
}

void CanBus::DropExpired() {
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

void CanBus::StartNext() {
  if (onWire_) return;
  DropExpired();
  if (waiting_.empty()) return;
  auto node = waiting_.extract(waiting_.begin());
  onWire_.emplace(node.key(), node.mapped());
  const std::uint32_t ofSender = onWire_->second.sender->BitRate();
  const std::uint64_t rate = ofSender == 0 ? kDefaultBitRate : ofSender;
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
  const auto [key, pending] = *onWire_;
  onWire_.reset();
  if (pending.sender != nullptr) {
    const FrameTimes times{wireStart_, wireEnd_};
    telling_ = true;
    const bool acknowledged = Distribute(pending, times);
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

bool CanBus::Distribute(const Pending& pending, FrameTimes times) {
  bool acknowledged = false;
  for (CanNode* node : nodes_) {
    if (!Reaches(*pending.sender, *node)) continue;
    acknowledged = true;
    node->Heard(pending.frame, times);
  }
  return acknowledged;
}

void CanBus::Retry(Key key, Pending pending) {
  const std::uint64_t number = ++serial_;
  resting_.emplace(number, std::pair{key, pending});
  scheduler_.After(kRetryPause, Pace::kProgress, [this, number] {
    auto node = resting_.extract(number);
    if (node.empty()) return;
    waiting_.emplace(node.mapped().first, node.mapped().second);
    StartSoon();
  });
}

bool CanBus::SendBytes(std::span<const std::uint8_t> message, std::uint32_t flags) {
  const auto frame = FrameOf(message, (flags & kBytesOf29BitId) != 0);
  if (!frame) return false;
  if (!stranger_) {
    const auto talking = std::find_if(nodes_.begin(), nodes_.end(),
                                      [](const CanNode* node) { return node->BitRate() != 0; });
    const std::uint32_t rate = talking == nodes_.end() ? kDefaultBitRate : (*talking)->BitRate();
    stranger_ = std::make_unique<Stranger>(bitRate_ == 0 ? rate : bitRate_);
    Attach(*stranger_);
  }
  Send(*stranger_, *frame, 0, kStrangerPatience);
  return true;
}

}  // namespace virtual_vci
