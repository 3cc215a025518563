/// \file
/// An SCI line, and how an ECU sits on it (SAE J2610).
#ifndef VIRTUAL_VCI_VEHICLE_SCI_PORT_H_
#define VIRTUAL_VCI_VEHICLE_SCI_PORT_H_

#include "virtual_vci/scenario/sci_port_config.h"
#include "virtual_vci/vehicle/serial_port.h"

namespace virtual_vci {

/// What a tester does beside its bytes.
struct SciTransmission {
  bool halfDuplex = false;     ///< it waits for an echo of each byte
  bool raisedVoltage = false;  ///< its line has the programming voltage
};

class SciLine : public SerialLine {
 public:
  using SerialLine::SerialLine;
  std::unique_ptr<EcuPort> MakePort(const PortConfig& config, const PortContext& context) override;

  const SciTransmission& Transmission() const { return transmission_; }
  void SetTransmission(const SciTransmission& transmission) { transmission_ = transmission; }

 private:
  SciTransmission transmission_;
};

/// Guarded by the module's lock, like its line. In half duplex it echoes each byte of a request,
/// and takes the next one after that.
class SciPort : public SerialPort {
 public:
  SciPort(const SciPortConfig& config, const PortContext& context, SciLine& line);

  bool Busy() const override { return responding_; }
  void Respond(Bytes message) override;

 private:
  // SerialPort
  void ByteHeard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) override;
  void MessageHeard(const Bytes& bytes, FrameTimes times) override;
  // SerialNode: a break ends whatever was going on.
  void HeardPulse(FrameTimes low) override;

  SerialFormat Format() const;
  bool IsComplete() const;
  Micros EchoTime() const;
  void Echo(std::uint8_t byte);
  bool ChangesSpeed(const Bytes& request);

  const SciPortConfig& config_;
  SciLine& line_;
  bool fast_ = false;
  bool responding_ = false;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_SCI_PORT_H_
