#ifndef PASSBRIDGE_PROTOCOLS_SINGLE_WIRE_CAN_H_
#define PASSBRIDGE_PROTOCOLS_SINGLE_WIRE_CAN_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "channel/channel.h"
#include "platform/mutex.h"
#include "protocols/speed_change.h"
#include "trace/method.h"

namespace passbridge {

/// How a class names itself in the trace.
struct SingleWireMethods {
  const Method& getPduResourceBusTypeId;
  const Method& getPduResourceProtocolId;
  const Method& setProtocolConnectionComParameters;
  const Method& adjustCop;
  const Method& getPduPinData;
  const Method& examineRequest;
  const Method& hideSpeedChange;
  const Method& performPostProcessing;
  const Method& setConfig;
  const Method& highSpeed;
  const Method& normalSpeed;
  const Method& updateSpeedChangeComParams;
};

/// SAE J2411, CAN on a single wire: what raw frames (`Base` is CJ2534Channel_CAN) and ISO 15765
/// (CJ2534Channel_ISO15765) have in common there. The bus has a normal speed, the channel's
/// BaudRate, and a high one for programming. It changes by ioctl; or the interface changes it by
/// itself behind a message that it was told before, or because others did: then the channel
/// follows, and the application sees nothing but DATA_RATE.
template <typename Base>
class SingleWireCan : public Base {
 public:
  /// High voltage, for nodes that sleep, holds for the message that asks for it.
  Status AdjustCop(const AppMessage& msg, CopData& data, CopControl& control) override;
  /// The low byte of the pins comes first, unless there is none.
  Status GetPduPinData(std::vector<PDU_PIN_DATA>& pins) override;
  /// Has the interface change its speed behind the requests that tell all nodes to; waits for it up
  /// to 2 s.
  Status PerformProtocolAdjustments(const AppMessage& msg) override;
  /// Takes the indication of a change of speed off, on the event thread.
  Status PerformProtocolAdjustments(CJ2534PassThruMsg* msg) override;
  /// Follows the change that the message told of, on the event thread.
  Status PerformPostProcessing(CJ2534PassThruMsg* msg) override;
  /// On a channel that awaits its pins values are stored only, and put in force with the pins.
  Status PassThruIoctl_SET_CONFIG(const AppPointer& input) override;
  Status PassThruIoctl_SW_CAN_HS() override;
  Status PassThruIoctl_SW_CAN_NS() override;
  Status GetPduResourceBusTypeId(PDU_RSC_DATA* resource) override;
  Status GetPduResourceProtocolId(PDU_RSC_DATA* resource) override;
  Status SetProtocolConnectionComParameters() override;

  /// Prepares the interface's change to the other speed; in force with the next update.
  Status UpdateSpeedChangeComParams();

 protected:
  /// @param lengthBytes  how many bytes of a message stand between identifier and request
  SingleWireCan(const SingleWireMethods& methods, std::size_t lengthBytes)
      : methods_(methods), lengthBytes_(lengthBytes) {}

 private:
  struct Rates {
    std::uint32_t high = 0;
    std::uint32_t current = 0;
  };

  Status SwitchSpeed(const Exits& exit, SpeedMode mode, UNUM32 termination);
  Status StoreParameters(const Exits& exit, const AppConfigList& list, bool& pinsSet);
  Status StoreParameter(const Exits& exit, std::uint32_t parameter, std::uint32_t value);
  Status SetSpeedChangeEnable(const Exits& exit, std::uint32_t enable);
  Status ApplyParameters(const Exits& exit, const AppConfigList& list);
  Status SetResistors(const Exits& exit, bool toHighSpeed);
  /// Tells the interface behind which message to change its speed.
  Status Announce(const Exits& exit, const SpeedRequest& request);
  Status ReadRates(const Exits& exit, std::uint16_t point, Rates& rates) const;
  Status FollowInterface(const Exits& exit);
  std::uint32_t RateAfterChange(const Rates& rates) const EXCLUDES(speedLock_);
  /// Notes that the link has this speed, so that no update gives it another.
  Status KeepLinkSpeed(const Exits& exit, std::uint16_t point, std::uint32_t rate);

  /// Reports its failure at `point`.
  Status Set(const Exits& exit, std::uint16_t point, const ComParamSetting& setting);
  Status SetDataRate(const Exits& exit, std::uint16_t point, std::uint32_t rate);
  Status Read(std::uint32_t parameter, std::uint32_t& value) const;
  /// The channel itself writes the ComParam of the parameter from now on.
  void KeepFromDownload(std::uint32_t parameter);

  SpeedMode Mode() const EXCLUDES(speedLock_);
  void SetMode(SpeedMode mode) EXCLUDES(speedLock_);

  const SingleWireMethods& methods_;
  const std::size_t lengthBytes_;

  // Settings that await a link; under the operation lock.
  bool speedChangeIsDue_ = false;
  // Between the two steps of a message on the event thread.
  bool speedHasChanged_ = false;

  std::atomic<std::uint32_t> speedChangeEnable_{0};
  // Set together with the ComParams it stands for, under their lock, but for None.
  mutable platform::Mutex speedLock_;  // held for this member only
  SpeedMode speedMode_ GUARDED_BY(speedLock_) = SpeedMode::None;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_SINGLE_WIRE_CAN_H_
