/// \file
/// What ECUs on lines of bytes have in common.
#ifndef VIRTUAL_VCI_VEHICLE_SERIAL_PORT_H_
#define VIRTUAL_VCI_VEHICLE_SERIAL_PORT_H_

#include <optional>
#include <utility>
#include <vector>

#include "virtual_vci/vehicle/serial_line.h"

namespace virtual_vci {

/// The node on the line, with a record of what it has heard. Guarded by the module's lock, like its
/// line.
class SerialPort : public EcuPort, protected SerialNode {
 public:
  ~SerialPort() override;
  SerialPort(const SerialPort&) = delete;
  SerialPort& operator=(const SerialPort&) = delete;

  void SetCyclic(bool) override {}
  void SetFault(EcuFault fault) override { fault_ = fault; }
  std::vector<HeardByte> TakeHeard() override { return std::exchange(heard_, {}); }

 protected:
  /// Longer than any pause that a tester puts up with.
  static constexpr Micros kLatePause = 60000;

  /// A bit rate of 0 stands for that of the line.
  SerialPort(const SerialFormat& format, EcuFault fault, const PortContext& context,
             SerialLine& line);

  /// What `receiver_` has put together.
  virtual void MessageHeard(const Bytes& bytes, FrameTimes times) = 0;
  /// A byte of another node, in the ECU's own format or not.
  virtual void ByteHeard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) = 0;

  // SerialNode
  void Heard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) final;
  void HeardAddress(std::uint8_t, bool, FrameTimes) override {}
  void HeardPulse(FrameTimes) override {}

  template <typename Action>
  void AfterPause(Micros pause, Action action) {
    context_.scheduler.Cancel(timer_);
    timer_ = context_.scheduler.After(pause, Pace::kProgress, action);
  }
  void CancelPause() { context_.scheduler.Cancel(timer_); }

  const PortContext context_;
  const SerialFormat format_;
  EcuFault fault_;
  SerialSender sender_;
  SerialReceiver receiver_;

 private:
  SerialLine& line_;
  std::optional<Scheduler::Timer> timer_;
  std::vector<HeardByte> heard_;  ///< for tests, up to a limit
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_SERIAL_PORT_H_
