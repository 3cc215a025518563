#include "protocols/channel_swiso15765.h"

#include <array>

#include "protocols/message_sizes.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr SingleWireMethods kSwIso15765Methods{
    methods::channel_swiso15765::kGetPduResourceBusTypeId,
    methods::channel_swiso15765::kGetPduResourceProtocolId,
    methods::channel_swiso15765::kSetProtocolConnectionComParameters,
    methods::channel_swiso15765::kAdjustCop,
    methods::channel_swiso15765::kGetPduPinData,
    methods::channel_swiso15765::kExamineRequest,
    methods::channel_swiso15765::kHideSpeedChange,
    methods::channel_swiso15765::kPerformPostProcessing,
    methods::channel_swiso15765::kPassThruIoctlSetConfig,
    methods::channel_swiso15765::kPassThruIoctlSwCanHs,
    methods::channel_swiso15765::kPassThruIoctlSwCanNs,
    methods::channel_swiso15765::kUpdateSpeedChangeComParams};

constexpr std::uint32_t kSettlingTime = 20;  // ms, of a new link

}  // namespace

CJ2534Channel_SWISO15765::CJ2534Channel_SWISO15765() : SingleWireCan(kSwIso15765Methods, 0) {}

Status CJ2534Channel_SWISO15765::ValidateMessage(std::uint32_t dataSize,
                                                 const std::uint8_t* /*data*/,
                                                 std::uint32_t rxStatus) {
  return Traced(methods::channel_swiso15765::kValidateMessage, [&](Exits& exit) -> Status {
    MessageSizes sizes = Sizes();
    sizes.indications |= RX_SPD_CHG_EVENT;
    return CheckSize(*this, exit, sizes, dataSize, rxStatus);
  });
}

Status CJ2534Channel_SWISO15765::PassThruStartPeriodicMsg(const AppMessage& msg,
                                                          const AppValue& msgId,
                                                          std::uint32_t interval) {
  static constexpr std::array<TakenOver, 3> kTakenOverOnSwIso15765{{
      {J1962_PINS, "Error connecting to Channel."},
      {LOOPBACK, "Error setting loopback."},
      {DATA_RATE, "Error setting data rate."},
  }};
  constexpr PeriodicChannelPlan kPlan{[] { return OwnedChannel(new CJ2534Channel_SWISO15765); },
                                      kTakenOverOnSwIso15765, kSettlingTime};
  return Traced(methods::channel_swiso15765::kPassThruStartPeriodicMsg, [&](Exits& exit) -> Status {
    return StartOnPeriodicChannel(exit, kPlan, msg, msgId, interval);
  });
}

}  // namespace passbridge
