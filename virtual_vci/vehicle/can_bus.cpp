#include "virtual_vci/vehicle/can_bus.h"

#include <algorithm>

namespace virtual_vci {

namespace {

constexpr std::uint32_t kStandardOverhead = 47;
constexpr std::uint32_t kExtendedOverhead = 67;
constexpr std::uint32_t kDefaultBitRate = 500000;
constexpr Micros kRetryPause = 2000;

std::uint32_t Arbitration(const CanFrame& frame) {
  return frame.extended ? (frame.id << 1 | 1u) : (frame.id << 19);
}

}  // namespace

CanFrame CanFrame::Make(std::uint32_t id, bool extended, std::span<const std::uint8_t> bytes) {
  CanFrame frame{
      id, extended, static_cast<std::uint8_t>(std::min<std::size_t>(bytes.size(), 8)), {}};
  std::copy_n(bytes.begin(), frame.size, frame.data.begin());
  return frame;
}

std::uint32_t BitsOf(const CanFrame& frame) {
  return (frame.extended ? kExtendedOverhead : kStandardOverhead) + 8u * frame.size;
}

std::uint32_t CanBus::RateOf(const BusNode& node) const {
  return node.BitRate() == 0 ? bitRate_ : node.BitRate();
}

bool CanBus::Reaches(const BusNode& from, const BusNode& to) const {
  return &from != &to && RateOf(from) == bitRate_ && RateOf(to) == bitRate_;
}

void CanBus::Attach(BusNode& node) {
  if (bitRate_ == 0) bitRate_ = node.BitRate();
  nodes_.push_back(&node);
}

void CanBus::Detach(BusNode& node) {
  std::erase(nodes_, &node);
  const auto ofNode = [&](const auto& entry) { return entry.second.sender == &node; };
  std::erase_if(waiting_, ofNode);
  std::erase_if(resting_, [&](const auto& entry) { return ofNode(entry.second); });
  if (onWire_ && ofNode(*onWire_)) onWire_->second.sender = nullptr;
}

void CanBus::Send(BusNode& node, const CanFrame& frame, std::uint64_t token, Micros patience) {
  const Key key{Arbitration(frame), ++serial_};
  waiting_.emplace(key, Pending{&node, frame, token, scheduler_.Now() + patience});
  if (!onWire_) StartNext();
}

void CanBus::Cancel(BusNode& node, std::uint64_t token) {
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
      nodes_.begin(), nodes_.end(), [&](BusNode* node) { return Reaches(*pending.sender, *node); });
  if (!acknowledged && scheduler_.Now() + kRetryPause <= pending.giveUp) {
    Retry(key, pending);
  } else {
    BusNode* const sender = pending.sender;
    if (acknowledged) {
      for (BusNode* node : nodes_) {
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

}  // namespace virtual_vci
