/// \file
/// What buses have in common whose messages are given whole, as they are on the wire.
#ifndef VIRTUAL_VCI_PROTOCOLS_MESSAGE_PROTOCOL_H_
#define VIRTUAL_VCI_PROTOCOLS_MESSAGE_PROTOCOL_H_

#include <cstddef>
#include <span>
#include <vector>

#include "virtual_vci/links/cop_engine.h"
#include "virtual_vci/links/protocol.h"

namespace virtual_vci {

/// The ComPrimitive at work and its messages, one by one; echoes, indications and the delivery of
/// what comes in. Derived classes send a message and say what they hear.
class MessageProtocol : public Protocol {
 public:
  T_PDU_ERROR Check(const Cop& cop) const override;
  void Send(const Cop& cop) override;
  void StopSending() override;
  // There is nothing to initialise, unless a derived class knows better.
  void StartCommunication(const Cop& cop) override { link_.cops.CommunicationDone(cop.handle); }
  void StopCommunication(const Cop& cop) override { link_.cops.CommunicationDone(cop.handle); }

 protected:
  explicit MessageProtocol(const LinkContext& link) : link_(link) {}

  virtual bool IsMessage(std::span<const UNUM8> bytes) const = 0;
  /// A ComPrimitive is about to be sent with these ComParams.
  virtual void BeginSending(const ComParamSet& params) = 0;
  /// Answer with MessageSent or MessageFailed.
  virtual void SendMessage(const Bytes& message) = 0;
  /// Forgets the message under way.
  virtual void AbortMessage() = 0;

  /// A ComPrimitive, which may hold no message, is at work from now on until Release.
  void Begin(const Cop& cop);
  bool IsWorking() const { return working_ != PDU_HANDLE_UNDEF; }
  /// Null if it has gone.
  const Cop* Working() const { return link_.cops.Find(working_); }
  UNUM32 Release();
  const FlagBytes& Flags() const { return flags_; }
  void MessageSent(FrameTimes times);
  void MessageFailed(UNUM32 reason);

  /// Gives a message to whoever receives it, if the filters let it pass.
  void Deliver(std::span<const UNUM8> bytes, FrameTimes times);
  /// Tells whoever receives of something that has no bytes.
  void Indicate(TxFlagBit what, FrameTimes times);
  static EventHead HeadOf(const Cop& cop, Micros time) {
    return {cop.handle, cop.tag, static_cast<UNUM32>(time)};
  }

  const LinkContext link_;

 private:
  void Echo(const Cop& cop, FrameTimes times);

  UNUM32 working_ = PDU_HANDLE_UNDEF;
  bool loopback_ = false;
  bool transmitIndication_ = false;
  FlagBytes flags_{};
  std::vector<Bytes> messages_;
  std::size_t next_ = 0;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_MESSAGE_PROTOCOL_H_
