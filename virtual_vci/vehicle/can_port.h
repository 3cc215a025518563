/// \file
/// How an ECU sits on a CAN bus.
#ifndef VIRTUAL_VCI_VEHICLE_CAN_PORT_H_
#define VIRTUAL_VCI_VEHICLE_CAN_PORT_H_

#include "virtual_vci/scenario/can_port_config.h"
#include "virtual_vci/vehicle/can_bus.h"
#include "virtual_vci/vehicle/cyclic_messages.h"
#include "virtual_vci/vehicle/isotp.h"

namespace virtual_vci {

/// Guarded by the module's lock, like its bus.
class CanPort : public EcuPort,
                private CanNode,
                private IsoTpSender::Host,
                private IsoTpReceiver::Host,
                private CyclicMessages::Sender {
 public:
  CanPort(const CanPortConfig& config, const PortContext& context, CanBus& bus);
  ~CanPort() override;
  CanPort(const CanPort&) = delete;
  CanPort& operator=(const CanPort&) = delete;

  bool Busy() const override { return sender_.Busy(); }
  void Respond(Bytes message) override;
  void SetCyclic(bool on) override { cyclic_.Switch(on); }

 private:
  // CanNode
  void Heard(const CanFrame& frame, FrameTimes times) override;
  void Sent(std::uint64_t token, const CanFrame& frame, bool acknowledged,
            FrameTimes times) override;
  std::uint32_t BitRate() const override;
  bool Acknowledges(const CanFrame&) const override { return IsAwake(); }
  // IsoTpSender::Host
  void Transmit(const CanFrame& frame) override;
  void SendEnded(IsoTpError error) override;
  // IsoTpReceiver::Host
  void TransmitFlowControl(const CanFrame& frame) override;
  void ReceiveStarted(std::size_t) override { requestBegun_ = context_.scheduler.Now(); }
  void ReceiveEnded(IsoTpError error, Bytes message) override;
  // CyclicMessages::Sender
  void SendCyclic(std::size_t index) override;
  void CancelCyclic(std::size_t index) override;

  bool IsAwake() const;
  void HeardFunctional(std::span<const std::uint8_t> frame);
  void Requested(Bytes request, bool functional, Micros begun);
  /// Requests that change the speed of single-wire CAN. False if it is none of them.
  bool ChangesSpeed(const Bytes& request);

  const CanPortConfig& config_;
  const PortContext context_;
  CanBus& bus_;
  CyclicMessages cyclic_;
  IsoTpReceiver receiver_;
  IsoTpSender sender_;
  std::optional<Micros> requestBegun_;  ///< of a request in several frames
  bool fast_ = false;
  std::optional<Micros> awakeUntil_;  ///< none: it sleeps, if it does
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_CAN_PORT_H_
