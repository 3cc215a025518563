/// \file
/// A simulated CAN bus.
#ifndef VIRTUAL_VCI_VEHICLE_CAN_BUS_H_
#define VIRTUAL_VCI_VEHICLE_CAN_BUS_H_

#include <cstdint>
#include <memory>
#include <span>

#include "virtual_vci/vehicle/can_frame.h"
#include "virtual_vci/vehicle/frame_bus.h"

namespace virtual_vci {

using CanNode = FrameNode<CanFrame>;

class CanBus : public FrameBus<CanFrame> {
 public:
  CanBus(Scheduler& scheduler, std::uint32_t bitRate);

  // Bus
  std::unique_ptr<EcuPort> MakePort(const PortConfig& config, const PortContext& context) override;
  bool SendBytes(std::span<const std::uint8_t> message, std::uint32_t flags) override;

 private:
  std::uint64_t Duration(const CanNode& sender, const CanFrame& frame,
                         std::uint32_t bitRate) const override;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_CAN_BUS_H_
