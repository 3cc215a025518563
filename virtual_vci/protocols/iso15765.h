/// \file
/// ISO 15765 on a link: messages of up to 4095 bytes, each with its address in front of it.
#ifndef VIRTUAL_VCI_PROTOCOLS_ISO15765_H_
#define VIRTUAL_VCI_PROTOCOLS_ISO15765_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "virtual_vci/links/unique_resp.h"
#include "virtual_vci/protocols/can_protocol.h"
#include "virtual_vci/vehicle/isotp.h"

namespace virtual_vci {

/// A result of a raw frame on a link of this protocol has this response identifier.
inline constexpr UNUM32 kRawFrameRespId = 0x11898;

/// The response-identifier table is the list of conversations: a message arrives if it comes from a
/// conversation's response address (CP_CanRespUSDT…), flow control goes to its request address
/// (CP_CanPhysReq…); a message of more than one frame can only be sent to such a request address.
/// Single frames can be sent anywhere.
///
/// CP_CanMixedFormat 1: frames that belong to no conversation arrive as raw ones, if the link's
/// filters let them pass; 2: all do. A ComPrimitive with the raw-frame flag sends its bytes as a
/// frame.
class Iso15765 : public CanProtocol, private IsoTpSender::Host {
 public:
  Iso15765(const LinkContext& link, CanBus& bus);
  ~Iso15765() override;

  void GoOffline() override;
  void ParamsChanged(const ComParamSet& params) override;
  T_PDU_ERROR Check(const Cop& cop) const override;
  void StopSending() override;

 private:
  class Conversation;
  /// What the ComParams say, in the form in which it is needed.
  struct Settings {
    bool startIndication = false;
    UNUM32 mixedFormat = 0;
    std::optional<std::uint8_t> padding;
    Micros ar = 0;
    IsoTpSender::Config sender;
    IsoTpReceiver::Config receiver;
  };
  static Settings Read(const ComParamSet& params);
  void Rebuild();

  // CanProtocol
  bool IsMessage(const FlagBytes& flags, std::span<const UNUM8> bytes) const override;
  Form FormOf(const FlagBytes& flags) const override;
  void BeginSending(const FlagBytes& flags, const ComParamSet& params) override;
  void SendMessage(const FlagBytes& flags, std::span<const UNUM8> bytes) override;
  void FrameSent(bool acknowledged, FrameTimes times) override;
  void FrameAsideLost(const CanFrame& frame) override;
  // CanNode
  void Heard(const CanFrame& frame, FrameTimes times) override;
  // IsoTpSender::Host
  void Transmit(const CanFrame& frame) override { TransmitFrame(frame); }
  void SendEnded(IsoTpError error) override;

  using CanProtocol::Deliver;
  void Deliver(const Conversation& from, const Bytes& message);
  /// What a receiver sees of a message of which only the address has come.
  std::span<const UNUM8> Known(std::span<const UNUM8> header) const {
    return link_.rawMode ? header : std::span<const UNUM8>();
  }
  void IndicateStart(const Conversation& from);
  void DeliverFailure(const Conversation& from, IsoTpError error);

  Settings settings_;
  std::vector<UniqueRespEntry> entries_;
  std::vector<std::unique_ptr<Conversation>> conversations_;
  std::vector<std::unique_ptr<Conversation>>
      ended_;                 ///< of an earlier table, until nothing of theirs runs
  FrameTimes times_;          ///< of the frame that is being handled
  bool highVoltage_ = false;  ///< of the last frame

  IsoTpSender sender_;
  Settings sendSettings_;  ///< those of the ComPrimitive being sent
  bool raw_ = false;       ///< it sends raw frames
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_ISO15765_H_
