/// \file
/// A simulated CAN bus: nodes, arbitration and bit times.
#ifndef VIRTUAL_VCI_VEHICLE_CAN_BUS_H_
#define VIRTUAL_VCI_VEHICLE_CAN_BUS_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "virtual_vci/vehicle/bus.h"
#include "virtual_vci/vehicle/can_frame.h"

namespace virtual_vci {

/// Whatever is connected to a bus: a link of the application, an ECU.
class CanNode {
 public:
  virtual ~CanNode() = default;
  /// Another node's frame.
  virtual void Heard(const CanFrame& frame, FrameTimes times) = 0;
  /// What became of an own frame: acknowledged by another node, or given up.
  virtual void Sent(std::uint64_t token, const CanFrame& frame, bool acknowledged,
                    FrameTimes times) = 0;
  /// Asked for each frame; 0: none, which nobody hears and who hears nobody.
  virtual std::uint32_t BitRate() const = 0;
};

/// Nodes that share pins: those of equal bit rates hear each other. Guarded by the module's lock.
/// Nodes may send and cancel from within Heard and Sent, but not attach or detach.
class CanBus : public Bus {
 public:
  /// How long a frame is tried: until it was on the wire for the last time within this time from
  /// Send on; none: once, however late.
  using Patience = std::optional<Micros>;

  /// `bitRate`: of the ECUs that have none of their own; 0 if there are none.
  CanBus(Scheduler& scheduler, std::uint32_t bitRate) : scheduler_(scheduler), bitRate_(bitRate) {}

  // Bus
  std::unique_ptr<EcuPort> MakePort(const PortConfig& config, const PortContext& context) override;
  bool SendBytes(std::span<const std::uint8_t> message, std::uint32_t flags) override;

  std::uint32_t BitRate() const { return bitRate_; }
  void Attach(CanNode& node);
  /// The node is never called again; its waiting frames are forgotten.
  void Detach(CanNode& node);
  /// Queues a frame; the lowest identifier goes first, as on the wire. A frame that loses the
  /// arbitration or that nobody acknowledges is tried again.
  void Send(CanNode& node, const CanFrame& frame, std::uint64_t token, Patience patience);
  /// Forgets a node's frames of this token; one that is on the wire goes out, but isn't reported.
  void Cancel(CanNode& node, std::uint64_t token);

 private:
  using Key = std::pair<std::uint32_t, std::uint64_t>;  ///< arbitration value, serial number
  struct Pending {
    CanNode* sender;
    CanFrame frame;
    std::uint64_t token;
    Patience giveUp;  ///< when
  };
  /// Starts the next frame once everybody had the chance to send at this point of time.
  void StartSoon();
  void StartNext();
  void DropExpired();
  void Complete();
  /// Whether the sender was acknowledged.
  bool Distribute(const Pending& pending, FrameTimes times);
  void Retry(Key key, Pending pending);
  Scheduler& scheduler_;
  std::uint32_t bitRate_;
  std::vector<CanNode*> nodes_;
  std::map<Key, Pending> waiting_;
  std::optional<std::pair<Key, Pending>> onWire_;
  Micros wireStart_ = 0;
  Micros wireEnd_ = 0;
  std::uint32_t wireRest_ =
      0;  ///< fraction of a microsecond that the last frame left, in bit times × 1e6
  bool telling_ = false;  ///< nodes are being told: they may send, nothing starts meanwhile
  bool startsSoon_ = false;
  std::uint64_t serial_ = 0;
  std::map<std::uint64_t, std::pair<Key, Pending>>
      resting_;                        ///< unacknowledged frames, by retry number
  std::unique_ptr<CanNode> stranger_;  ///< who sends for SendBytes, once that was called
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_CAN_BUS_H_
