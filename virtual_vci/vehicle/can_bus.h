/// \file
/// A simulated CAN bus: frames, nodes, arbitration and bit times.
#ifndef VIRTUAL_VCI_VEHICLE_CAN_BUS_H_
#define VIRTUAL_VCI_VEHICLE_CAN_BUS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "virtual_vci/vehicle/scheduler.h"

namespace virtual_vci {

struct CanFrame {
  std::uint32_t id = 0;
  bool extended = false;  ///< 29-bit identifier
  std::uint8_t size = 0;
  std::array<std::uint8_t, 8> data{};

  static CanFrame Make(std::uint32_t id, bool extended, std::span<const std::uint8_t> bytes);
  std::span<const std::uint8_t> Bytes() const { return {data.data(), size}; }
};

/// How long a frame and the pause behind it take on the wire, without stuff bits, in bits.
std::uint32_t BitsOf(const CanFrame& frame);

/// When a frame was on the wire.
struct FrameTimes {
  Micros start = 0;
  Micros end = 0;
};

/// Whatever is connected to a bus: a link of the application, an ECU.
class BusNode {
 public:
  virtual ~BusNode() = default;
  /// Another node's frame.
  virtual void Heard(const CanFrame& frame, FrameTimes times) = 0;
  /// What became of an own frame: acknowledged by another node, or given up.
  virtual void Sent(std::uint64_t token, const CanFrame& frame, bool acknowledged,
                    FrameTimes times) = 0;
  /// 0: that of the bus.
  virtual std::uint32_t BitRate() const { return 0; }
};

/// Nodes that share pins. Not synchronised: the module's lock guards it. Nodes may send and cancel
/// from within Heard and Sent, but not attach or detach.
class CanBus {
 public:
  /// `bitRate` 0: the first node that has one decides.
  CanBus(Scheduler& scheduler, std::uint32_t bitRate) : scheduler_(scheduler), bitRate_(bitRate) {}

  std::uint32_t BitRate() const { return bitRate_; }
  void Attach(BusNode& node);
  /// The node is never called again; its waiting frames are forgotten.
  void Detach(BusNode& node);
  /// Queues a frame; the lowest identifier goes first, as on the wire. A frame that nobody
  /// acknowledges is repeated until `patience` is over.
  void Send(BusNode& node, const CanFrame& frame, std::uint64_t token, Micros patience);
  /// Forgets a node's frames of this token; one that is on the wire goes out, but isn't reported.
  void Cancel(BusNode& node, std::uint64_t token);

 private:
  using Key = std::pair<std::uint32_t, std::uint64_t>;  ///< arbitration value, serial number
  struct Pending {
    BusNode* sender;
    CanFrame frame;
    std::uint64_t token;
    Micros giveUp;
  };
  void StartNext();
  void Complete();
  void Retry(Key key, Pending pending);
  bool Reaches(const BusNode& from, const BusNode& to) const;
  std::uint32_t RateOf(const BusNode& node) const;

  Scheduler& scheduler_;
  std::uint32_t bitRate_;
  std::vector<BusNode*> nodes_;
  std::map<Key, Pending> waiting_;
  std::optional<std::pair<Key, Pending>> onWire_;
  Micros wireStart_ = 0;
  Micros wireEnd_ = 0;
  std::uint32_t wireRest_ =
      0;  ///< fraction of a microsecond that the last frame left, in bit times × 1e6
  std::uint64_t serial_ = 0;
  std::map<std::uint64_t, std::pair<Key, Pending>>
      resting_;  ///< unacknowledged frames, by retry number
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_CAN_BUS_H_
