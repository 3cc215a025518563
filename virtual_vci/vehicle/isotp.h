/// \file
/// ISO 15765-2 segmentation, for whoever speaks it: links and ECUs. Frames come and go without
/// their addressing: a frame's bytes here begin behind the address byte of extended addressing.
#ifndef VIRTUAL_VCI_VEHICLE_ISOTP_H_
#define VIRTUAL_VCI_VEHICLE_ISOTP_H_

#include <cstdint>
#include <optional>
#include <span>

#include "virtual_vci/scenario/can_port_config.h"
#include "virtual_vci/vehicle/can_frame.h"
#include "virtual_vci/vehicle/scheduler.h"

namespace virtual_vci {

/// Why a transfer ended. Error items carry the number as their extra information.
enum class IsoTpError : std::uint32_t {
  kNone = 0,
  kTimeoutAs = 1,       ///< a frame was not acknowledged in time
  kTimeoutBs = 2,       ///< no flow control came
  kTimeoutCr = 3,       ///< no consecutive frame came
  kWrongSequence = 4,   ///< a consecutive frame was lost, doubled or out of order
  kInvalidFlow = 5,     ///< flow control of an unknown kind
  kOverflow = 6,        ///< the receiver can't take so much
  kTooManyWaits = 7,    ///< more wait frames than allowed
  kInterrupted = 8,     ///< another message began before the end
  kNoConversation = 9,  ///< nobody is known who would send flow control
  kTimeoutAr = 10,      ///< flow control was not acknowledged in time
};

inline constexpr std::size_t kMaxIsoTpMessage = 4095;

/// A separation time as flow control codes it; reserved codes stand for the longest.
Micros SeparationTime(std::uint8_t code);

/// Whether a frame has this address.
bool HasAddress(const CanFrame& frame, const CanAddress& address);
/// A frame to this address with these bytes, filled up if there is a filler.
CanFrame AddressedFrame(const CanAddress& to, std::span<const std::uint8_t> bytes,
                        std::optional<std::uint8_t> padding);
/// How many bytes a full frame with this address has behind the address byte.
std::size_t FrameRoom(const CanAddress& address);
/// How many bytes fit into a single frame.
std::size_t SingleFrameCapacity(const CanAddress& to);

/// Guarded by the module's lock. One message at a time.
class IsoTpSender {
 public:
  struct Config {
    CanAddress to;
    std::optional<std::uint8_t> padding;
    Micros bs = 1000000;
    Micros cs = 0;                          ///< pause before each consecutive frame, at least
    std::optional<std::uint8_t> blockSize;  ///< instead of what the receiver says
    std::optional<Micros> separationTime;   ///< likewise
    std::uint32_t maxWaits = 255;
    std::uint8_t firstSequence = 1;
  };
  class Host {
   public:
    virtual ~Host() = default;
    /// Answer with FrameSent.
    virtual void Transmit(const CanFrame& frame) = 0;
    virtual void SendEnded(IsoTpError error) = 0;
  };

  IsoTpSender(Scheduler& scheduler, Host& host) : scheduler_(scheduler), host_(host) {}
  ~IsoTpSender() { Cancel(); }
  IsoTpSender(const IsoTpSender&) = delete;
  IsoTpSender& operator=(const IsoTpSender&) = delete;

  bool Busy() const { return state_ != State::kIdle; }
  const CanAddress& To() const { return config_.to; }
  /// `message` of 1 to 4095 bytes; not while busy.
  void Start(const Config& config, Bytes message);
  void FrameSent(bool acknowledged);
  void FlowControl(std::span<const std::uint8_t> frame);
  /// Nothing more is reported.
  void Cancel();

 private:
  enum class State { kIdle, kSingle, kFirst, kAwaitFlow, kConsecutive };
  void SendFirst();
  void AwaitFlow();
  void Continue(std::uint8_t blockSize, Micros separationTime);
  void PauseThenSend();
  void SendConsecutive();
  void End(IsoTpError error);

  Scheduler& scheduler_;
  Host& host_;
  Config config_;
  State state_ = State::kIdle;
  Bytes message_;
  std::size_t sent_ = 0;
  std::uint8_t sequence_ = 0;
  std::uint32_t blockLeft_ = 0;  ///< 0: no end
  Micros pause_ = 0;
  std::uint32_t waits_ = 0;
  std::optional<Scheduler::Timer> timer_;
};

/// Guarded by the module's lock. One message at a time.
class IsoTpReceiver {
 public:
  struct Config {
    CanAddress flowControlTo;
    std::optional<std::uint8_t> padding;
    std::uint8_t blockSize = 0;
    std::uint8_t stMin = 0;
    Micros br = 0;  ///< pause before flow control
    Micros cr = 1000000;
    std::uint8_t firstSequence = 1;
    std::uint32_t waits = 0;  ///< wait frames that are sent before the first flow control
    std::size_t maxLength = kMaxIsoTpMessage;
    std::size_t room = 8;  ///< what full frames have behind the address byte
  };
  class Host {
   public:
    virtual ~Host() = default;
    virtual void TransmitFlowControl(const CanFrame& frame) = 0;
    virtual void ReceiveStarted(std::size_t length) = 0;
    virtual void ReceiveEnded(IsoTpError error, Bytes message) = 0;
  };

  IsoTpReceiver(Scheduler& scheduler, Host& host) : scheduler_(scheduler), host_(host) {}
  ~IsoTpReceiver() { Reset(); }
  IsoTpReceiver(const IsoTpReceiver&) = delete;
  IsoTpReceiver& operator=(const IsoTpReceiver&) = delete;

  void Configure(const Config& config) { config_ = config; }
  /// Single, first and consecutive frames; others are not for a receiver. As ISO 15765-2 has it,
  /// frames with too few bytes for their kind, and consecutive ones that nobody asked for, are
  /// ignored.
  void Frame(std::span<const std::uint8_t> frame);
  /// A flow control of TransmitFlowControl was not acknowledged.
  void FlowControlFailed();
  void Reset();

 private:
  void Single(std::span<const std::uint8_t> frame);
  void First(std::span<const std::uint8_t> frame);
  void Consecutive(std::span<const std::uint8_t> frame);
  void ScheduleFlowControl(Micros pause);
  void SendFlowControl();
  void AwaitConsecutive();
  void End(IsoTpError error);

  Scheduler& scheduler_;
  Host& host_;
  Config config_;
  Bytes message_;
  std::size_t length_ = 0;  ///< 0: nothing under way
  std::uint8_t sequence_ = 0;
  std::uint32_t blockLeft_ = 0;
  std::uint32_t waitsLeft_ = 0;
  bool flowControlDue_ = false;  ///< the timer is for it
  std::optional<Scheduler::Timer> timer_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_ISOTP_H_
