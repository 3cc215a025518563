/// \file
/// ISO 15765 on a link: messages of up to 4095 bytes, each with its address in front of it.
#ifndef VIRTUAL_VCI_PROTOCOLS_ISO15765_H_
#define VIRTUAL_VCI_PROTOCOLS_ISO15765_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "virtual_vci/links/protocol.h"
#include "virtual_vci/links/unique_resp.h"
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
class Iso15765 : public Protocol, private BusNode, private IsoTpSender::Host {
 public:
  explicit Iso15765(const LinkContext& link);
  ~Iso15765() override;

  void GoOnline(CanBus& bus, const ComParamSet& params) override;
  void GoOffline() override;
  void ParamsChanged(const ComParamSet& params) override;
  T_PDU_ERROR Check(const Cop& cop) const override;
  void Send(const Cop& cop) override;
  void StopSending() override;

 private:
  class Conversation;
  /// What the ComParams say, in the form in which it is needed.
  struct Settings {
    std::uint32_t bitRate = 0;
    bool loopback = false;
    bool transmitIndication = false;
    bool startIndication = false;
    UNUM32 mixedFormat = 0;
    Micros as = 0;
    std::optional<std::uint8_t> padding;
    IsoTpSender::Config sender;
    IsoTpReceiver::Config receiver;
  };
  static Settings Read(const ComParamSet& params);
  void Rebuild();

  // BusNode
  void Heard(const CanFrame& frame, FrameTimes times) override;
  void Sent(std::uint64_t token, const CanFrame& frame, bool acknowledged,
            FrameTimes times) override;
  std::uint32_t BitRate() const override { return settings_.bitRate; }
  // IsoTpSender::Host
  void Transmit(const CanFrame& frame) override;
  void SendEnded(IsoTpError error) override;

  void SendNext();
  void SendFailed(IsoTpError error);
  void MessageSent();
  void SendFlowControl(const CanFrame& frame);
  void HeardRaw(const CanFrame& frame, FrameTimes times);
  void Deliver(const Conversation& from, const Bytes& message);
  void IndicateStart(const Conversation& from);
  void DeliverFailure(const Conversation& from, IsoTpError error);
  EventHead HeadFor(const Cop& cop) const;

  LinkContext link_;
  CanBus* bus_ = nullptr;
  Settings settings_;
  std::vector<UniqueRespEntry> entries_;
  std::vector<std::unique_ptr<Conversation>> conversations_;
  std::vector<std::unique_ptr<Conversation>>
      ended_;         ///< of an earlier table, until nothing of theirs runs
  FrameTimes times_;  ///< of the frame that is being handled

  IsoTpSender sender_;
  UNUM32 sending_ = PDU_HANDLE_UNDEF;
  Settings sendSettings_;        ///< those of the ComPrimitive being sent
  bool raw_ = false;             ///< it sends raw frames
  std::vector<Bytes> messages_;  ///< it consists of
  std::size_t next_ = 0;
  std::uint64_t token_ = 1;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_ISO15765_H_
