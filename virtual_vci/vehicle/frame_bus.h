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
  void Detach(Node& node);
  /// Queues a frame, which goes when it wins the arbitration. One that nobody acknowledges is tried
  /// again.
  void Send(Node& node, const Frame& frame, std::uint64_t token, Patience patience);
  /// Forgets a node's frames of this token; one that is on the wire goes out, but isn't reported.
  void Cancel(Node& node, std::uint64_t token);

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

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_FRAME_BUS_H_
