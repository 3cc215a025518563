/// \file
/// What all buses are: whatever their wires carry, ECUs sit on them.
#ifndef VIRTUAL_VCI_VEHICLE_BUS_H_
#define VIRTUAL_VCI_VEHICLE_BUS_H_

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "virtual_vci/scenario/scenario.h"
#include "virtual_vci/vehicle/flood_gate.h"
#include "virtual_vci/vehicle/scheduler.h"

namespace virtual_vci {

/// When something was on the wire.
struct FrameTimes {
  Micros start = 0;
  Micros end = 0;
};

/// A byte that an ECU has heard on a line of bytes.
struct HeardByte {
  std::uint8_t byte = 0;
  Micros start = 0;
  Micros end = 0;
};

/// Where an ECU sits on a bus: takes requests from it, sends responses and cyclic messages. Guarded
/// by the module's lock.
class EcuPort {
 public:
  /// The ECU.
  class Host {
   public:
    virtual ~Host() = default;
    /// A request has come in, for this ECU or for all; it began to at this time.
    virtual void Requested(EcuPort& port, Bytes request, bool functional, Micros begun) = 0;
    /// What Respond began has ended, however it did.
    virtual void Responded(EcuPort& port) = 0;
  };

  virtual ~EcuPort() = default;
  /// Whether a response is under way.
  virtual bool Busy() const = 0;
  /// Not while busy.
  virtual void Respond(Bytes message) = 0;
  virtual void SetCyclic(bool on) = 0;
  /// On buses that know none it changes nothing.
  virtual void SetFault(EcuFault) {}
  /// On lines of bytes: those that were heard since the last call.
  virtual std::vector<HeardByte> TakeHeard() { return {}; }
};

/// What a port gets for its life.
struct PortContext {
  EcuPort::Host& host;
  const std::vector<Signal>& signals;  ///< of its ECU
  Scheduler& scheduler;
  FloodGate& flood;
};

/// Guarded by the module's lock.
class Bus {
 public:
  virtual ~Bus() = default;
  /// `config`: of the bus's own kind. It must outlive the port.
  virtual std::unique_ptr<EcuPort> MakePort(const PortConfig& config,
                                            const PortContext& context) = 0;
  /// Sends a message as a further ECU would, once it is its turn. The bytes are those that a link
  /// on the bus takes and gives; `flags` are its transmit flags. False if they are no message.
  virtual bool SendBytes(std::span<const std::uint8_t> message, std::uint32_t flags) = 0;
};

/// Transmit flags that SendBytes knows, each on the buses that have such a thing.
inline constexpr std::uint32_t kBytesOf29BitId = 0x100;
inline constexpr std::uint32_t kBytesAtHighVoltage = 0x400;
inline constexpr std::uint32_t kBytesWithWrongChecksum = 0x40000000;
inline constexpr std::uint32_t kBreakInsteadOfBytes = 0x80000000;

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_BUS_H_
