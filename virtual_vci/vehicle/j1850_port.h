/// \file
/// How an ECU sits on a J1850 bus.
#ifndef VIRTUAL_VCI_VEHICLE_J1850_PORT_H_
#define VIRTUAL_VCI_VEHICLE_J1850_PORT_H_

#include <array>
#include <cstdint>
#include <deque>

#include "virtual_vci/scenario/j1850_port_config.h"
#include "virtual_vci/vehicle/j1850_bus.h"

namespace virtual_vci {

/// Guarded by the module's lock, like its bus. The ECU can be told to change to a higher speed
/// (services A0, A1 of SAE J2190), which ends with service 20 or with a break.
class J1850Port : public EcuPort, private J1850Node {
 public:
  J1850Port(const J1850PortConfig& config, const PortContext& context, J1850Bus& bus);
  ~J1850Port() override;
  J1850Port(const J1850Port&) = delete;
  J1850Port& operator=(const J1850Port&) = delete;

  bool Busy() const override { return !responses_.empty(); }
  void Respond(Bytes message) override;
  void SetCyclic(bool) override {}
  void SetFault(EcuFault fault) override { fault_ = fault; }

 private:
  using Header = std::array<std::uint8_t, 3>;

  // J1850Node
  void Heard(const J1850Frame& frame, FrameTimes times) override;
  void Sent(std::uint64_t token, const J1850Frame& frame, bool acknowledged,
            FrameTimes times) override;
  std::uint32_t BitRate() const override;
  bool Acknowledges(const J1850Frame& frame) const override;
  unsigned Wires() const override { return config_.wires; }

  std::uint32_t NormalBitRate() const;
  bool IsFor(std::uint8_t target) const {
    return target == config_.address || target == config_.functional;
  }
  /// Services of the bus itself. False if it is none of them.
  bool ChangesSpeed(const Bytes& request);
  void SendNext();

  const J1850PortConfig& config_;
  const PortContext context_;
  J1850Bus& bus_;
  EcuFault fault_;
  bool fast_ = false;
  Header header_{};  ///< of the answers to the last request
  std::deque<Bytes> responses_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_J1850_PORT_H_
