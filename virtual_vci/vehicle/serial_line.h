/// \file
/// A line of bytes, each with its time, on which nodes talk one at a time: the K line and its like.
#ifndef VIRTUAL_VCI_VEHICLE_SERIAL_LINE_H_
#define VIRTUAL_VCI_VEHICLE_SERIAL_LINE_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "virtual_vci/scenario/serial_format.h"
#include "virtual_vci/vehicle/bus.h"

namespace virtual_vci {

/// How long a break holds the line low.
inline constexpr Micros kBreakTime = 25000;

/// Whatever is connected to a line: a link of the application, an ECU.
class SerialNode {
 public:
  virtual ~SerialNode() = default;
  /// Another node's byte. For who goes by another format it is noise.
  virtual void Heard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) = 0;
  /// Another node's address byte at five baud, on the L line, too, or not.
  virtual void HeardAddress(std::uint8_t byte, bool alsoOnL, FrameTimes times) = 0;
  /// Another node held the line low: a wake-up, a break.
  virtual void HeardPulse(FrameTimes low) = 0;
};

/// Guarded by the module's lock. Nodes may send from within what they hear, but not attach or
/// detach.
class SerialLine : public Bus {
 public:
  using Done = std::function<void(FrameTimes)>;

  /// `bitRate`: of the ECUs that have none of their own; 0 if there are none.
  SerialLine(Scheduler& scheduler, std::uint32_t bitRate)
      : scheduler_(scheduler), bitRate_(bitRate) {}

  bool SendBytes(std::span<const std::uint8_t> message, std::uint32_t flags) override;

  std::uint32_t BitRate() const { return bitRate_; }
  void Attach(SerialNode& node) { nodes_.push_back(&node); }
  /// The node is never called again.
  void Detach(SerialNode& node) { std::erase(nodes_, &node); }

  /// Takes the time of the byte's bits; the others hear it, then `done` is called.
  void SendByte(const SerialNode* from, std::uint8_t byte, const SerialFormat& format, Done done);
  void SendAddress(const SerialNode* from, std::uint8_t byte, bool alsoOnL, Done done);
  void Pulse(const SerialNode* from, Micros low, Done done);
  /// When the line was used last, or will be at the end of what is on it.
  Micros LastUsed() const { return lastUsed_; }

 private:
  template <typename Tell>
  void Occupy(const SerialNode* from, Micros duration, Tell tell, Done done);

  Scheduler& scheduler_;
  const std::uint32_t bitRate_;
  std::vector<SerialNode*> nodes_;
  Micros lastUsed_ = 0;
};

/// Sends messages of one node, with a pause between their bytes. Guarded by the module's lock.
class SerialSender {
 public:
  SerialSender(Scheduler& scheduler, SerialLine& line, const SerialNode& node)
      : scheduler_(scheduler), line_(line), node_(node) {}
  ~SerialSender() { Cancel(); }
  SerialSender(const SerialSender&) = delete;
  SerialSender& operator=(const SerialSender&) = delete;

  bool Busy() const { return message_ != nullptr; }
  /// `done` gets the times of the whole message. Not while busy; at least one byte.
  void Start(Bytes bytes, const SerialFormat& format, Micros pause, SerialLine::Done done);
  /// An address byte at five baud. Likewise.
  void StartAddress(std::uint8_t byte, bool alsoOnL, SerialLine::Done done);
  /// Nothing more is sent or reported; a byte that is on the line goes out.
  void Cancel();

 private:
  struct Message {
    Bytes bytes;
    SerialFormat format;
    Micros pause;
    SerialLine::Done done;
    std::size_t next = 0;
    Micros start = 0;
  };
  void SendNext();
  /// Tells of a byte unless it has been cancelled, or this is gone.
  SerialLine::Done WhenSent();
  void ByteSent(FrameTimes times);

  Scheduler& scheduler_;
  SerialLine& line_;
  const SerialNode& node_;
  std::shared_ptr<Message>
      message_;  ///< whoever still waits for a byte of another has been cancelled
  std::optional<Scheduler::Timer> timer_;
};

/// Puts bytes together to messages, which end with a pause. Guarded by the module's lock.
class SerialReceiver {
 public:
  using Ended = std::function<void(const Bytes&, FrameTimes)>;

  SerialReceiver(Scheduler& scheduler, Ended ended)
      : scheduler_(scheduler), ended_(std::move(ended)) {}
  ~SerialReceiver() { Reset(); }
  SerialReceiver(const SerialReceiver&) = delete;
  SerialReceiver& operator=(const SerialReceiver&) = delete;

  const Bytes& SoFar() const { return bytes_; }
  Micros Begun() const { return times_.start; }
  /// The message ends when no other byte begins within `maxPause`.
  void Take(std::uint8_t byte, FrameTimes times, Micros maxPause);
  /// The message is complete.
  void End();
  void Reset();

 private:
  Scheduler& scheduler_;
  const Ended ended_;
  Bytes bytes_;
  FrameTimes times_;
  std::optional<Scheduler::Timer> timer_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_SERIAL_LINE_H_
