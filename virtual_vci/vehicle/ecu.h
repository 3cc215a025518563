/// \file
/// A simulated ECU.
#ifndef VIRTUAL_VCI_VEHICLE_ECU_H_
#define VIRTUAL_VCI_VEHICLE_ECU_H_

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "virtual_vci/vehicle/bus.h"
#include "virtual_vci/vehicle/ecu_services.h"

namespace virtual_vci {

/// Services and a queue of responses, with a port on each bus that the ECU sits on. Guarded by the
/// module's lock.
class Ecu : private EcuPort::Host {
 public:
  /// `config` must outlive the ECU.
  Ecu(const EcuConfig& config, Scheduler& scheduler, FloodGate& flood);
  ~Ecu() override;
  Ecu(const Ecu&) = delete;
  Ecu& operator=(const Ecu&) = delete;

  /// Sits down on a further bus, which must outlive the ECU; `port` is of its configuration.
  void SitOn(Bus& bus, const PortConfig& port);
  void SetCyclic(bool on);
  const std::string& Name() const { return config_.name; }
  void SetFault(EcuFault fault);
  std::vector<HeardByte> TakeHeard();

 private:
  // EcuPort::Host
  void Requested(EcuPort& port, Bytes request, bool functional, Micros begun) override;
  void Responded(EcuPort& port) override;

  void Answer(const Bytes& request, bool functional, Micros begun);
  void SendNextResponse();

  const EcuConfig& config_;
  Scheduler& scheduler_;
  FloodGate& flood_;
  EcuServices services_;
  std::vector<std::unique_ptr<EcuPort>> ports_;
  EcuPort* asked_ = nullptr;  ///< where the request came from that is being answered
  std::optional<Scheduler::Timer> responseTimer_;
  std::deque<Bytes> responses_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_ECU_H_
