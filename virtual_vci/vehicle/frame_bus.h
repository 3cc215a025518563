/// \file
/// A simulated bus of frames: nodes, arbitration, the time that frames take.
#ifndef VIRTUAL_VCI_VEHICLE_FRAME_BUS_H_
#define VIRTUAL_VCI_VEHICLE_FRAME_BUS_H_

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "virtual_vci/vehicle/bus.h"

namespace virtual_vci {

inline constexpr std::uint64_t kPicosecondsPerSecond = 1000000000000;

inline constexpr unsigned kAllWires = 3;

/// Whatever is connected to a bus: a link of the application, an ECU.
template <typename Frame>
class FrameNode {
 public:
  virtual ~FrameNode() = default;
  /// Another node's frame.
  virtual void Heard(const Frame& frame, FrameTimes times) = 0;
  /// What became of an own frame: acknowledged by another node, or given up.
  virtual void Sent(std::uint64_t token, const Frame& frame, bool acknowledged,
                    FrameTimes times) = 0;
  /// Asked for each frame; 0: none, which nobody hears and who hears nobody.
  virtual std::uint32_t BitRate() const = 0;
  /// Whether it acknowledges another node's frame that it hears.
  virtual bool Acknowledges(const Frame&) const { return true; }
  /// Whether it puts a termination on the bus.
  virtual bool Terminates() const { return false; }
  /// A bit for each wire that it is connected to.
  virtual unsigned Wires() const { return kAllWires; }
};

/// Nodes that share pins: those of equal bit rates hear each other. Guarded by the module's lock.
/// Nodes may send and cancel from within Heard and Sent, but not attach or detach.
///
/// A Frame has a Priority, by which arbitration goes (the least first), and PriorityOf(frame).
template <typename Frame>
class FrameBus : public Bus {
 public:
  using Node = FrameNode<Frame>;
  /// How long a frame is tried: until it was on the wire for the last time within this time from
  /// Send on; none: once, however late.
  using Patience = std::optional<Micros>;

  /// `bitRate`: of the ECUs that have none of their own; 0 if there are none.
  FrameBus(Scheduler& scheduler, std::uint32_t bitRate, std::uint32_t defaultBitRate)
      : scheduler_(scheduler), bitRate_(bitRate), defaultBitRate_(defaultBitRate) {}

  std::uint32_t BitRate() const { return bitRate_; }
  bool IsTerminated() const {
    return std::any_of(nodes_.begin(), nodes_.end(),
                       [](const Node* node) { return node->Terminates(); });
  }
  void Attach(Node& node) { nodes_.push_back(&node); }
  /// The node is never called again; its waiting frames are forgotten.
  void Detach(Node& node) {
    std::erase(nodes_, &node);
    Forget([&](const Pending& pending) { return pending.sender == &node; });
  }
  /// Queues a frame, which goes when it wins the arbitration. One that nobody acknowledges is tried
  /// again.
  void Send(Node& node, const Frame& frame, std::uint64_t token, Patience patience);
  /// Forgets a node's frames of this token; one that is on the wire goes out, but isn't reported.
  void Cancel(Node& node, std::uint64_t token) {
    Forget(
        [&](const Pending& pending) { return pending.sender == &node && pending.token == token; });
  }

 protected:
  /// How long a frame and the pause behind it take, in picoseconds.
  virtual std::uint64_t Duration(const Node& sender, const Frame& frame,
                                 std::uint32_t bitRate) const = 0;
  virtual bool Reaches(const Node& from, const Node& to, const Frame&) const {
    return from.BitRate() != 0 && from.BitRate() == to.BitRate() &&
           (from.Wires() & to.Wires()) != 0;
  }
  /// Whether another node acknowledges a frame.
  virtual bool IsAcknowledged(const Node& from, const Frame& frame) const {
    return std::any_of(nodes_.begin(), nodes_.end(), [&](const Node* node) {
      return node != &from && Reaches(from, *node, frame) && node->Acknowledges(frame);
    });
  }
  /// Sends a frame as a further ECU would.
  void SendAsStranger(const Frame& frame);

 private:
  /// Only sends.
  class Stranger : public Node {
   public:
    explicit Stranger(std::uint32_t bitRate) : bitRate_(bitRate) {}

   private:
    void Heard(const Frame&, FrameTimes) override {}
    void Sent(std::uint64_t, const Frame&, bool, FrameTimes) override {}
    std::uint32_t BitRate() const override { return bitRate_; }
    bool Acknowledges(const Frame&) const override { return false; }

    const std::uint32_t bitRate_;
  };
  using Key = std::pair<typename Frame::Priority, std::uint64_t>;  ///< and a serial number
  struct Pending {
    Node* sender;
    Frame frame;
    std::uint64_t token;
    Patience giveUp;  ///< when
  };

  static constexpr Micros kRetryPause = 2000;
  static constexpr Micros kStrangerPatience = 100000;

  template <typename IsMeant>
  void Forget(IsMeant isMeant);
  /// Starts the next frame once everybody had the chance to send at this point of time.
  void StartSoon();
  void StartNext();
  void DropExpired();
  void Complete();
  void Distribute(const Pending& pending, FrameTimes times);
  void Retry(Key key, Pending pending);

  Scheduler& scheduler_;
  const std::uint32_t bitRate_;
  const std::uint32_t defaultBitRate_;
  std::vector<Node*> nodes_;
  std::map<Key, Pending> waiting_;
  std::optional<std::pair<Key, Pending>> onWire_;
  Micros wireStart_ = 0;
  Micros wireEnd_ = 0;
  std::uint64_t wireRest_ = 0;  ///< of a microsecond that the last frame left, in picoseconds
  bool telling_ = false;        ///< nodes are being told: they may send, nothing starts meanwhile
  bool startsSoon_ = false;
  std::uint64_t serial_ = 0;
  std::map<std::uint64_t, std::pair<Key, Pending>>
      resting_;                         ///< unacknowledged frames, by retry number
  std::unique_ptr<Stranger> stranger_;  ///< once one has sent
};

template <typename Frame>
template <typename IsMeant>
void FrameBus<Frame>::Forget(IsMeant isMeant) {
  std::erase_if(waiting_, [&](const auto& entry) { return isMeant(entry.second); });
  std::erase_if(resting_, [&](const auto& entry) { return isMeant(entry.second.second); });
  if (onWire_ && isMeant(onWire_->second)) onWire_->second.sender = nullptr;
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

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_FRAME_BUS_H_
