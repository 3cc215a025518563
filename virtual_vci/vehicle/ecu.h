/// \file
/// A simulated ECU: answers requests and sends cyclic messages.
#ifndef VIRTUAL_VCI_VEHICLE_ECU_H_
#define VIRTUAL_VCI_VEHICLE_ECU_H_

#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "virtual_vci/scenario/scenario.h"
#include "virtual_vci/vehicle/can_bus.h"
#include "virtual_vci/vehicle/ecu_services.h"
#include "virtual_vci/vehicle/isotp.h"

namespace virtual_vci {

/// Tells whether a message that goes out as fast as it is taken may go out now. False holds it
/// until Resume.
using FloodGate = std::function<bool()>;

/// Guarded by the module's lock, like its bus.
class Ecu : private BusNode, private IsoTpSender::Host, private IsoTpReceiver::Host {
 public:
  /// `config` must outlive the ECU.
  Ecu(const EcuConfig& config, Scheduler& scheduler, CanBus& bus, FloodGate mayFlood);
  ~Ecu() override;
  Ecu(const Ecu&) = delete;
  Ecu& operator=(const Ecu&) = delete;

  void SetCyclic(bool on);
  /// The flood gate may have opened.
  void Resume();

 private:
  struct Cycle {
    std::optional<Scheduler::Timer> timer;
    bool held = false;
  };
  // BusNode
  void Heard(const CanFrame& frame, FrameTimes times) override;
  void Sent(std::uint64_t token, const CanFrame& frame, bool acknowledged,
            FrameTimes times) override;
  // IsoTpSender::Host
  void Transmit(const CanFrame& frame) override;
  void SendEnded(IsoTpError error) override;
  // IsoTpReceiver::Host
  void TransmitFlowControl(const CanFrame& frame) override;
  void ReceiveStarted(std::size_t) override {}
  void ReceiveEnded(IsoTpError error, Bytes message) override;

  void HeardFunctional(std::span<const std::uint8_t> frame);
  void StartCycle(std::size_t index);
  void SendCyclic(std::size_t index);
  void Flood(std::size_t index);
  void Request(Bytes request, bool functional);
  void Answer(const Bytes& request, bool functional);
  void SendNextResponse();

  const EcuConfig& config_;
  Scheduler& scheduler_;
  CanBus& bus_;
  FloodGate mayFlood_;
  bool cyclicOn_ = false;
  std::vector<Cycle> cycles_;

  EcuServices services_;
  IsoTpReceiver receiver_;
  IsoTpSender sender_;
  std::optional<Scheduler::Timer> responseTimer_;
  std::deque<Bytes> responses_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_ECU_H_
