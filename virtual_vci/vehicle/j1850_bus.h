/// \file
/// Simulated J1850 buses, of either kind of modulation.
#ifndef VIRTUAL_VCI_VEHICLE_J1850_BUS_H_
#define VIRTUAL_VCI_VEHICLE_J1850_BUS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "virtual_vci/vehicle/frame_bus.h"
#include "virtual_vci/vehicle/j1850_frame.h"

namespace virtual_vci {

using J1850Node = FrameNode<J1850Frame>;

class J1850Bus : public FrameBus<J1850Frame> {
 public:
  // Bus
  std::unique_ptr<EcuPort> MakePort(const PortConfig& config, const PortContext& context) override;
  bool SendBytes(std::span<const std::uint8_t> message, std::uint32_t flags) override;

  /// Whether a message may have so many bytes, header and data.
  virtual bool Carries(std::size_t bytes) const = 0;
  virtual bool HasBreaks() const = 0;

 protected:
  using FrameBus::FrameBus;
  bool Reaches(const J1850Node& from, const J1850Node& to, const J1850Frame& frame) const override;
};

/// One wire; nobody acknowledges.
class J1850VpwBus : public J1850Bus {
 public:
  J1850VpwBus(Scheduler& scheduler, std::uint32_t bitRate);
  bool Carries(std::size_t bytes) const override;
  bool HasBreaks() const override { return true; }

 private:
  std::uint64_t Duration(const J1850Node& sender, const J1850Frame& frame,
                         std::uint32_t bitRate) const override;
  bool IsAcknowledged(const J1850Node&, const J1850Frame&) const override { return true; }
};

/// Two wires; a receiver acknowledges within the frame, with its address.
class J1850PwmBus : public J1850Bus {
 public:
  J1850PwmBus(Scheduler& scheduler, std::uint32_t bitRate);
  bool Carries(std::size_t bytes) const override;
  bool HasBreaks() const override { return false; }

 private:
  std::uint64_t Duration(const J1850Node& sender, const J1850Frame& frame,
                         std::uint32_t bitRate) const override;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_J1850_BUS_H_
