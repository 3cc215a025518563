#include "protocols/channel_swcan.h"

#include <array>

#include "protocols/can_common.h"
#include "protocols/message_sizes.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr SingleWireMethods kSwCanMethods{
    methods::channel_swcan::kGetPduResourceBusTypeId,
    methods::channel_swcan::kGetPduResourceProtocolId,
    methods::channel_swcan::kSetProtocolConnectionComParameters,
    methods::channel_swcan::kAdjustCop,
    methods::channel_swcan::kGetPduPinData,
    methods::channel_swcan::kExamineRequest,
    methods::channel_swcan::kHideSpeedChange,
    methods::channel_swcan::kPerformPostProcessing,
    methods::channel_swcan::kPassThruIoctlSetConfig,
    methods::channel_swcan::kPassThruIoctlSwCanHs,
    methods::channel_swcan::kPassThruIoctlSwCanNs,
    methods::channel_swcan::kUpdateSpeedChangeComParams};

constexpr std::size_t kFrameLengthByte = 1;  // before the request of a raw frame

constexpr MessageSizes kSwCanSizes{kCanIdSize, kMaxCanMessage, RX_SPD_CHG_EVENT | TX_DONE};

}  // namespace

CJ2534Channel_SWCAN::CJ2534Channel_SWCAN() : SingleWireCan(kSwCanMethods, kFrameLengthByte) {}

Status CJ2534Channel_SWCAN::ValidateMessage(std::uint32_t dataSize, const std::uint8_t* /*data*/,
                                            std::uint32_t rxStatus) {
  return Traced(methods::channel_swcan::kValidateMessage, [&](Exits& exit) -> Status {
    return CheckSize(*this, exit, kSwCanSizes, dataSize, rxStatus);
  });
}

Status CJ2534Channel_SWCAN::PassThruStartPeriodicMsg(const AppMessage& msg, const AppValue& msgId,
                                                     std::uint32_t interval) {
  static constexpr std::array<TakenOver, 3> kTakenOverOnSwCan{{
      {J1962_PINS, "Error connecting to Channel."},
      {LOOPBACK, "Error connecting to Channel."},
      {DATA_RATE, "Error setting data rate."},
  }};
  constexpr PeriodicChannelPlan kPlan{[] { return OwnedChannel(new CJ2534Channel_SWCAN); },
                                      kTakenOverOnSwCan};
  return Traced(methods::channel_swcan::kPassThruStartPeriodicMsg, [&](Exits& exit) -> Status {
    return StartOnPeriodicChannel(exit, kPlan, msg, msgId, interval);
  });
}

}  // namespace passbridge
