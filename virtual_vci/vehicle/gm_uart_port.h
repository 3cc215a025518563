/// \file
/// A GM UART bus, and how an ECU sits on it (SAE J2740).
#ifndef VIRTUAL_VCI_VEHICLE_GM_UART_PORT_H_
#define VIRTUAL_VCI_VEHICLE_GM_UART_PORT_H_

#include <cstddef>
#include <optional>

#include "virtual_vci/scenario/gm_uart_port_config.h"
#include "virtual_vci/vehicle/serial_port.h"

namespace virtual_vci {

class GmUartLine : public SerialLine {
 public:
  using SerialLine::SerialLine;
  std::unique_ptr<EcuPort> MakePort(const PortConfig& config, const PortContext& context) override;
};

/// Guarded by the module's lock, like its line. A master polls the devices in turn; once one to
/// which it yields has answered, it is silent until the line has been idle for a while.
class GmUartPort : public SerialPort {
 public:
  GmUartPort(const GmUartPortConfig& config, const PortContext& context, GmUartLine& line)
      : SerialPort({}, config.fault, context, line), config_(config), line_(line) {}
  ~GmUartPort() override;
  GmUartPort(const GmUartPort&) = delete;
  GmUartPort& operator=(const GmUartPort&) = delete;

  bool Busy() const override { return responding_; }
  void Respond(Bytes message) override;
  /// Its polls are its cyclic messages.
  void SetCyclic(bool on) override;

 private:
  // SerialPort
  void ByteHeard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) override;
  void MessageHeard(const Bytes& bytes, FrameTimes times) override;

  void PollLater();
  void Poll();

  const GmUartPortConfig& config_;
  GmUartLine& line_;
  bool responding_ = false;
  std::optional<Scheduler::Timer> pollTimer_;
  std::size_t nextPoll_ = 0;
  std::optional<std::uint8_t> polled_;  ///< whose answer is awaited
  bool yielded_ = false;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_GM_UART_PORT_H_
