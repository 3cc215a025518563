/// \file
/// The messages that an ECU sends by itself.
#ifndef VIRTUAL_VCI_VEHICLE_CYCLIC_MESSAGES_H_
#define VIRTUAL_VCI_VEHICLE_CYCLIC_MESSAGES_H_

#include <cstddef>
#include <optional>
#include <vector>

#include "virtual_vci/vehicle/flood_gate.h"

namespace virtual_vci {

/// When they go out; what they are is their port's affair. Guarded by the module's lock.
class CyclicMessages : private FloodGate::Waiter {
 public:
  /// The port.
  class Sender {
   public:
    virtual ~Sender() = default;
    /// Answer with Sent.
    virtual void SendCyclic(std::size_t index) = 0;
    /// One that is under way is not answered any more.
    virtual void CancelCyclic(std::size_t index) = 0;
  };

  /// A message for each of the periods; 0: as fast as the application takes it.
  CyclicMessages(const std::vector<Micros>& periods, Scheduler& scheduler, FloodGate& flood,
                 Sender& sender);
  ~CyclicMessages() override;
  CyclicMessages(const CyclicMessages&) = delete;
  CyclicMessages& operator=(const CyclicMessages&) = delete;

  void Switch(bool on);
  void Sent(std::size_t index);

 private:
  struct Cycle {
    Micros period;
    std::optional<Scheduler::Timer> timer;
    bool held = false;  ///< by the flood gate
  };
  void FloodGoesOn() override;
  void Start(std::size_t index);
  void Flood(std::size_t index);

  std::vector<Cycle> cycles_;
  Scheduler& scheduler_;
  FloodGate& flood_;
  Sender& sender_;
  bool on_ = false;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_CYCLIC_MESSAGES_H_
