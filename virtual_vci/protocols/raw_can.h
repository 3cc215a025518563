/// \file
/// Raw CAN: a message is a frame, four identifier bytes and the data.
#ifndef VIRTUAL_VCI_PROTOCOLS_RAW_CAN_H_
#define VIRTUAL_VCI_PROTOCOLS_RAW_CAN_H_

#include <cstddef>
#include <vector>

#include "virtual_vci/links/protocol.h"

namespace virtual_vci {

class RawCan : public Protocol, private BusNode {
 public:
  explicit RawCan(const LinkContext& link) : link_(link) {}
  ~RawCan() override { GoOffline(); }

  void GoOnline(CanBus& bus, const ComParamSet& params) override;
  void GoOffline() override;
  void ParamsChanged(const ComParamSet& params) override;
  T_PDU_ERROR Check(const Cop& cop) const override;
  void Send(const Cop& cop) override;
  void StopSending() override;

 private:
  struct Settings {
    std::uint32_t bitRate = 0;
    bool loopback = false;
    bool transmitIndication = false;
    Micros patience = 0;
  };
  static Settings Read(const ComParamSet& params);

  void Heard(const CanFrame& frame, FrameTimes times) override;
  void Sent(std::uint64_t token, const CanFrame& frame, bool acknowledged,
            FrameTimes times) override;
  std::uint32_t BitRate() const override { return settings_.bitRate; }
  void SendNext();
  void Echo(const Cop& cop, const CanFrame& frame, FrameTimes times);

  LinkContext link_;
  CanBus* bus_ = nullptr;
  Settings settings_;

  UNUM32 sending_ = PDU_HANDLE_UNDEF;
  Settings sendSettings_;         ///< those of the ComPrimitive being sent
  std::vector<CanFrame> frames_;  ///< of the ComPrimitive being sent
  std::size_t next_ = 0;
  std::uint64_t token_ = 0;
};

inline constexpr std::size_t kIdentifierBytes = 4;

/// A frame as applications see it, in a small buffer of its own.
struct FrameBytes {
  explicit FrameBytes(const CanFrame& frame);
  std::span<const UNUM8> All() const { return {bytes.data(), size}; }
  std::span<const UNUM8> Identifier() const { return {bytes.data(), 4}; }

  std::array<UNUM8, 12> bytes{};
  std::size_t size = 0;
};

/// The frame that message bytes stand for; none if they are none (fewer than 4 or more than 12
/// bytes, identifier too large for its format).
std::optional<CanFrame> FrameOf(std::span<const UNUM8> message, bool extended);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_RAW_CAN_H_
