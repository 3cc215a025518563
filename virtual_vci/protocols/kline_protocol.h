/// \file
/// ISO 9141, ISO 14230 and UBP on a link: messages are the bytes on the line, checksum and all.
#ifndef VIRTUAL_VCI_PROTOCOLS_KLINE_PROTOCOL_H_
#define VIRTUAL_VCI_PROTOCOLS_KLINE_PROTOCOL_H_

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "virtual_vci/links/cop_engine.h"
#include "virtual_vci/links/protocol.h"
#include "virtual_vci/vehicle/kline_port.h"

namespace virtual_vci {

/// Why an initialisation failed: the extra information of its error item (PDU_ERR_EVT_INIT_ERROR).
enum class KLineInitError : UNUM32 {
  kNoSync = 1,         ///< no synchronisation byte came
  kWrongSync = 2,      ///< another byte came
  kNoKeyBytes = 3,     ///< one of the key bytes is missing
  kWrongKeyBytes = 4,  ///< they are neither equal, nor is the second one that of ISO 14230
  kNoAddress = 5,      ///< the inverted address is missing
  kWrongAddress = 6,   ///< another byte came
  kNoResponse = 7,     ///< StartCommunication was not answered
};

/// Starting the communication initialises the line as CP_InitializationSettings says: 1 at five
/// baud, 2 fast; its result holds the key bytes, or the response. Requests wait for P3, responses
/// end with a pause above P1.
class KLineProtocol : public Protocol, private SerialNode {
 public:
  KLineProtocol(const LinkContext& link, KLine& line);
  ~KLineProtocol() override;
  KLineProtocol(const KLineProtocol&) = delete;
  KLineProtocol& operator=(const KLineProtocol&) = delete;

  void GoOnline(const ComParamSet& params) override;
  void GoOffline() override;
  void ParamsChanged(const ComParamSet& params) override { settings_ = Read(params); }
  T_PDU_ERROR Check(const Cop& cop) const override;
  void Send(const Cop& cop) override;
  void StopSending() override;
  void StartCommunication(const Cop& cop) override;
  void StopCommunication(const Cop& cop) override;
  T_PDU_ERROR IoControl(IoCtl command, const PDU_DATA_ITEM* input, ItemPtr& output) override;

 private:
  struct Settings {
    SerialFormat format;
    bool loopback = false;
    bool transmitIndication = false;
    bool startIndication = false;
    UNUM32 initialisation = 0;
    UNUM32 fiveBaudMode = 0;
    std::uint8_t address = 0;
    bool alsoOnL = false;
    Micros p1Max = 0, p2Max = 0, p3Min = 0, p4Min = 0;
    Micros w1Max = 0, w2Max = 0, w3Max = 0, w4Min = 0, w4Max = 0;
    Micros tIdle = 0, tInil = 0, tWup = 0;
  };
  /// What an initialisation waits for.
  enum class Awaited { kNothing, kSync, kKey1, kKey2, kAddress, kResponse };

  static Settings Read(const ComParamSet& params);

  // SerialNode
  void Heard(std::uint8_t byte, const SerialFormat& format, FrameTimes times) override;
  void HeardAddress(std::uint8_t, bool, FrameTimes) override {}
  void HeardPulse(FrameTimes) override {}

  /// Does something when the line has been idle for so long.
  template <typename Action>
  void WhenIdle(Micros idle, Action action);
  template <typename Action>
  void AfterPause(Micros pause, Action action);

  void SendNext();
  void MessageSent(FrameTimes times);
  void Echo(const Cop& cop, FrameTimes times);

  void SendAddress();
  void WakeUp();
  void SendStartRequest();
  void Await(Awaited what, Micros patience, KLineInitError failure);
  void InitByteHeard(std::uint8_t byte);
  void KeyBytesComplete();
  void FailInit(KLineInitError error);
  void GiveStartResult(std::span<const std::uint8_t> bytes, Micros end);
  void EndInit(bool dataSent);

  void MessageBegins(FrameTimes times);
  void MessageHeard(const Bytes& bytes, FrameTimes times);
  void Deliver(const Bytes& bytes, FrameTimes times);
  EventHead HeadOf(const Cop& cop, Micros time) const {
    return {cop.handle, cop.tag, static_cast<UNUM32>(time)};
  }

  const LinkContext link_;
  KLine& line_;
  bool online_ = false;
  Settings settings_;
  SerialSender sender_;
  SerialReceiver receiver_;
  std::optional<Scheduler::Timer> timer_;
  UNUM32 held_ = PDU_HANDLE_UNDEF;  ///< who waits until the message is in

  UNUM32 sending_ = PDU_HANDLE_UNDEF;
  Settings sendSettings_;  ///< those of the ComPrimitive at work
  FlagBytes flags_{};
  std::vector<Bytes> messages_;
  std::size_t next_ = 0;

  Awaited awaited_ = Awaited::kNothing;
  std::array<std::uint8_t, 2> keyBytes_{};
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_KLINE_PROTOCOL_H_
