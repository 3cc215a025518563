/// \file
/// What raw CAN and ISO 15765 have in common.
#ifndef VIRTUAL_VCI_PROTOCOLS_CAN_PROTOCOL_H_
#define VIRTUAL_VCI_PROTOCOLS_CAN_PROTOCOL_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "virtual_vci/links/cop_engine.h"
#include "virtual_vci/links/protocol.h"
#include "virtual_vci/protocols/can_addressing.h"
#include "virtual_vci/vehicle/can_bus.h"

namespace virtual_vci {

/// Of single-wire CAN: the message after which the link changes its speed, and what it changes.
struct SpeedChange {
  bool enabled = false;
  Bytes message;
  std::uint32_t bitRate = 0;
  Micros pause = 0;        ///< until the next transmission
  UNUM32 termination = 0;  ///< CP_ChangeSpeedResCtrl
};

/// The node on the bus, the ComPrimitive being sent message by message, indications and echoes, the
/// delivery of frames. Derived classes say what a message is.
class CanProtocol : public Protocol, protected CanNode {
 public:
  ~CanProtocol() override;
  CanProtocol(const CanProtocol&) = delete;
  CanProtocol& operator=(const CanProtocol&) = delete;

  void GoOnline(const ComParamSet& params) override;
  void GoOffline() override;
  void ParamsChanged(const ComParamSet& params) override;
  T_PDU_ERROR Check(const Cop& cop) const override;
  void Send(const Cop& cop) override;
  void StopSending() override;
  // There is nothing to initialise on CAN.
  void StartCommunication(const Cop& cop) override;
  void StopCommunication(const Cop& cop) override;

 protected:
  /// How a message of a ComPrimitive looks in results.
  struct Form {
    std::size_t header = kIdentifierBytes;  ///< bytes of the message that are its address
    UNUM32 uniqueRespId = PDU_ID_UNDEF;
    bool packing = false;
  };

  /// `patience`: the ComParam that says how long a frame is tried.
  CanProtocol(const LinkContext& link, CanBus& bus, ComParam patience)
      : link_(link), bus_(bus), patienceParam_(patience) {}

  // Messages are as in raw mode here, address first; the flags are those of their ComPrimitive.
  virtual bool IsMessage(const FlagBytes& flags, std::span<const UNUM8> bytes) const = 0;
  virtual Form FormOf(const FlagBytes& flags) const = 0;
  /// A ComPrimitive is about to be sent with these ComParams.
  virtual void BeginSending(const FlagBytes& flags, const ComParamSet& params) = 0;
  /// Sends one message: TransmitFrame, then MessageSent or MessageFailed.
  virtual void SendMessage(const FlagBytes& flags, std::span<const UNUM8> bytes) = 0;
  /// A frame of Transmit was acknowledged or given up.
  virtual void FrameSent(bool acknowledged, FrameTimes times) = 0;

  /// A frame of the ComPrimitive being sent.
  void TransmitFrame(const CanFrame& frame);
  /// A frame beside it, of which only the loss is told.
  void TransmitAside(const CanFrame& frame, Micros patience);
  virtual void FrameAsideLost(const CanFrame&) {}
  void MessageSent(FrameTimes times);
  void MessageFailed(UNUM32 reason);
  /// Gives a frame to whoever receives it, if the filters let it pass and its identifier has a
  /// length that the link receives.
  void DeliverFrame(const CanFrame& frame, FrameTimes times, const Form& form);
  /// Gives a message, which begins with its address, as the link's mode has it: whole, or its
  /// payload with the address beside it.
  void Deliver(const CopEngine::Receiver& receiver, ResultInfo& info, FrameTimes times,
               std::span<const UNUM8> message, const Form& form);
  /// What a receiver sees of a message, and what its masks are compared with.
  std::span<const UNUM8> Visible(std::span<const UNUM8> message, const Form& form) const {
    return link_.rawMode ? message : message.subspan(form.header);
  }
  EventHead HeadOf(const Cop& cop, FrameTimes times) const;

  const LinkContext link_;

 private:
  struct Settings {
    std::uint32_t bitRate = 0;
    bool loopback = false;
    bool transmitIndication = false;
    UNUM32 identifiers = 0;  ///< CP_CanFuncReqFormat
    Micros patience = 0;
    bool highVoltage = false;
    UNUM32 repeats = 0;  ///< of what goes out with high voltage
    bool terminates = false;
    SpeedChange speedChange;
  };
  // CanNode
  void Sent(std::uint64_t token, const CanFrame& frame, bool acknowledged,
            FrameTimes times) override;
  std::uint32_t BitRate() const override { return settings_.bitRate; }
  bool Terminates() const override { return settings_.terminates; }

  Settings Read(const ComParamSet& params) const;
  OutgoingMessages OutgoingOf(const Cop& cop) const;
  bool Receives(bool extended) const;
  /// The next message, once the pause after a change of speed is over.
  void SendNext();
  void ChangeSpeed(FrameTimes times);
  void Push(const EventHead& head, ResultInfo& info, std::span<const UNUM8> message,
            const Form& form);
  void Echo(const Cop& cop, std::span<const UNUM8> message, FrameTimes times);

  CanBus& bus_;
  const ComParam patienceParam_;
  bool online_ = false;
  Settings settings_;

  UNUM32 sending_ = PDU_HANDLE_UNDEF;
  Settings sendSettings_;  ///< those of the ComPrimitive being sent
  OutgoingMessages outgoing_;
  std::optional<Scheduler::Timer> pause_;
  Micros mayTransmit_ = 0;            ///< from when on
  std::optional<bool> sentExtended_;  ///< whether the last frame had an identifier of 29 bits
  std::size_t next_ = 0;
  UNUM32 repeated_ = 0;
  std::uint64_t token_ = 0;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_CAN_PROTOCOL_H_
