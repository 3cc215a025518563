/// \file
/// ISO 9141, ISO 14230 and UBP on a link: messages are the bytes on the line, checksum and all.
#ifndef VIRTUAL_VCI_PROTOCOLS_KLINE_PROTOCOL_H_
#define VIRTUAL_VCI_PROTOCOLS_KLINE_PROTOCOL_H_

#include <array>
#include <cstdint>

#include "virtual_vci/protocols/serial_protocol.h"
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
class KLineProtocol : public SerialProtocol {
 public:
  KLineProtocol(const LinkContext& link, KLine& line) : SerialProtocol(link, line) {}

  void ParamsChanged(const ComParamSet& params) override { settings_ = Read(params); }
  void StopSending() override;
  void StartCommunication(const Cop& cop) override;

 private:
  struct Settings {
    SerialFormat format;
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

  // MessageProtocol
  void BeginSending(const ComParamSet& params) override { sendSettings_ = Read(params); }
  void SendMessage(const Bytes& message) override;
  // SerialProtocol
  const SerialFormat& Format() const override { return Current().format; }
  Micros LongestPause() const override { return settings_.p1Max; }
  bool TakeByte(std::uint8_t byte) override;
  void MessageBegins(FrameTimes times) override;
  void MessageHeard(const Bytes& bytes, FrameTimes times) override;

  const Settings& Current() const { return IsWorking() ? sendSettings_ : settings_; }

  void SendAddress();
  void WakeUp();
  void SendStartRequest();
  void Await(Awaited what, Micros patience, KLineInitError failure);
  void InitByteHeard(std::uint8_t byte);
  void KeyBytesComplete();
  void FailInit(KLineInitError error);
  void GiveStartResult(std::span<const std::uint8_t> bytes, Micros end);
  void EndInit(bool dataSent);

  Settings settings_;
  Settings sendSettings_;  ///< those of the ComPrimitive at work
  Awaited awaited_ = Awaited::kNothing;
  std::array<std::uint8_t, 2> keyBytes_{};
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_KLINE_PROTOCOL_H_
