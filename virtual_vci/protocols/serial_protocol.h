/// \file
/// What links on lines of bytes have in common.
#ifndef VIRTUAL_VCI_PROTOCOLS_SERIAL_PROTOCOL_H_
#define VIRTUAL_VCI_PROTOCOLS_SERIAL_PROTOCOL_H_

#include <optional>
#include <utility>

#include "virtual_vci/protocols/message_protocol.h"
#include "virtual_vci/vehicle/serial_line.h"

namespace virtual_vci {

/// CP_Baudrate and CP_UartConfig: parity, and below 6 seven data bits, above them eight.
SerialFormat SerialFormatOf(const ComParamSet& params);

/// The node on the line; bytes that it hears become messages, which end with a pause or when a
/// derived class sees that they are complete.
class SerialProtocol : public MessageProtocol, protected SerialNode {
 public:
  ~SerialProtocol() override;
  SerialProtocol(const SerialProtocol&) = delete;
  SerialProtocol& operator=(const SerialProtocol&) = delete;

  void GoOnline(const ComParamSet& params) override;
  void GoOffline() override;
  T_PDU_ERROR IoControl(IoCtl command, const PDU_DATA_ITEM* input, ItemPtr& output) override;

 protected:
  SerialProtocol(const LinkContext& link, SerialLine& line);

  /// Bytes of another format are noise.
  virtual const SerialFormat& Format() const = 0;
  /// The longest pause within a message that comes in.
  virtual Micros LongestPause() const = 0;
  /// Whether a byte is for the derived class itself, and no part of a message.
  virtual bool TakeByte(std::uint8_t) { return false; }
  virtual void MessageBegins(FrameTimes) {}
  virtual bool IsComplete(const Bytes&) const { return false; }
  virtual void MessageHeard(const Bytes& bytes, FrameTimes times) { Deliver(bytes, times); }

  // MessageProtocol
  bool IsMessage(std::span<const UNUM8> bytes) const override;
  void AbortMessage() override;
  // SerialNode
  void Heard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) override;
  void HeardAddress(std::uint8_t, bool, FrameTimes) override {}
  void HeardPulse(FrameTimes) override {}

  template <typename Action>
  void AfterPause(Micros pause, Action action) {
    link_.scheduler.Cancel(timer_);
    timer_ = link_.scheduler.After(pause, Pace::kProgress, action);
  }
  void CancelPause() { link_.scheduler.Cancel(timer_); }
  /// Does something when the line has been idle for so long.
  template <typename Action>
  void WhenIdle(Micros idle, Action action) {
    const Micros now = link_.scheduler.Now();
    const Micros due = line_.LastUsed() == 0 ? now : line_.LastUsed() + idle;
    if (due <= now && receiver_.SoFar().empty()) {
      action();
    } else {
      // A message that is coming in ends with a pause.
      const Micros pause = due > now ? due - now : LongestPause() + 1;
      AfterPause(pause, [this, idle, action] { WhenIdle(idle, action); });
    }
  }

  SerialLine& line_;
  SerialSender sender_;
  SerialReceiver receiver_;

 private:
  bool online_ = false;
  std::optional<Scheduler::Timer> timer_;
  UNUM32 held_ = PDU_HANDLE_UNDEF;  ///< who waits until the message is in
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_SERIAL_PROTOCOL_H_
