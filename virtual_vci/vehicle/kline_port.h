/// \file
/// A K line, and how an ECU sits on it.
#ifndef VIRTUAL_VCI_VEHICLE_KLINE_PORT_H_
#define VIRTUAL_VCI_VEHICLE_KLINE_PORT_H_

#include <deque>
#include <optional>

#include "virtual_vci/scenario/kline_port_config.h"
#include "virtual_vci/vehicle/kline_frame.h"
#include "virtual_vci/vehicle/serial_port.h"

namespace virtual_vci {

class KLine : public SerialLine {
 public:
  using SerialLine::SerialLine;
  std::unique_ptr<EcuPort> MakePort(const PortConfig& config, const PortContext& context) override;
};

/// Guarded by the module's lock, like its line. It hears nothing but initialisations until one of
/// them succeeds, and again when nobody has asked it for P3.
class KLinePort : public SerialPort {
 public:
  KLinePort(const KLinePortConfig& config, const PortContext& context, KLine& line)
      : SerialPort(config.format, config.fault, context, line), config_(config), line_(line) {}

  bool Busy() const override { return busy_; }
  void Respond(Bytes message) override;

 private:
  /// Where a five-baud initialisation is: what is sent next, or awaited.
  enum class Step { kNone, kSync, kKey1, kKey2, kAwaitKey2, kAddress };

  // SerialPort
  void ByteHeard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) override;
  void MessageHeard(const Bytes& bytes, FrameTimes times) override;
  // SerialNode
  void HeardAddress(std::uint8_t byte, bool alsoOnL, FrameTimes times) override;
  void HeardPulse(FrameTimes low) override;

  /// An initialisation begins: whatever was going on is forgotten.
  void Restart();
  void BeginFiveBaud(std::uint8_t address);
  /// Does the step after a pause.
  void After(Micros pause, Step step);
  void SendInitByte();
  void InitByteSent();
  void Activate();
  bool IsActive() const;

  void Asked(KLineRequest request, Micros begun);
  /// Services of the link itself. False if it is none of them.
  bool AnswerItself(const KLineRequest& request);
  void SendNext();

  const KLinePortConfig& config_;
  KLine& line_;

  Step step_ = Step::kNone;
  std::uint8_t initAddress_ = 0;
  std::optional<Micros> wokenUp_;      ///< when a fast initialisation began
  std::optional<Micros> activeUntil_;  ///< none: not initialised
  bool busy_ = false;
  std::uint8_t tester_ = 0xF1;
  std::deque<Bytes> responses_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_KLINE_PORT_H_
