#include "protocols/speed_change.h"

#include <algorithm>

#include "passbridge/j2534.h"
#include "protocols/can_common.h"

namespace passbridge {

namespace {

constexpr std::uint8_t kReturnToNormalMode = 0x20;
constexpr std::uint8_t kTesterPresent = 0x3E;
constexpr std::uint8_t kProgrammingMode = 0xA5;
constexpr std::uint8_t kRequestHighSpeed = 0x02;
constexpr std::uint8_t kEnable = 0x03;

/// Requests to this identifier have an extended address, flagged or not.
constexpr std::array<std::uint8_t, kCanIdSize> kAllNodes{0, 0, 1, 1};

struct RequestRow {
  std::uint8_t service;
  std::optional<std::uint8_t> level;  // none: any
  std::optional<SpeedMode> mode;
  bool changesSpeed;
};

/// All other requests end the change of speed.
constexpr std::array<RequestRow, 4> kSpeedRequests{{
    {kReturnToNormalMode, std::nullopt, SpeedMode::Normal, true},
    {kTesterPresent, std::nullopt, std::nullopt, false},
    {kProgrammingMode, kRequestHighSpeed, SpeedMode::High, true},
    {kProgrammingMode, kEnable, std::nullopt, false},
}};

bool HasAddressByte(std::span<const std::uint8_t> message, std::uint32_t txFlags) {
  return (txFlags & ISO15765_ADDR_TYPE) != 0 ||
         (message.size() >= kCanIdSize &&
          std::equal(kAllNodes.begin(), kAllNodes.end(), message.begin()));
}

bool Matches(const RequestRow& row, std::span<const std::uint8_t> request) {
  if (request.empty() || request[0] != row.service) return false;
  return !row.level || (request.size() > 1 && request[1] == *row.level);
}

}  // namespace

SpeedRequest ExamineRequest(std::span<const std::uint8_t> message, std::uint32_t txFlags,
                            std::size_t lengthBytes) {
  const std::size_t at = std::min(
      kCanIdSize + (HasAddressByte(message, txFlags) ? 1 : 0) + lengthBytes, message.size());
  const std::span<const std::uint8_t> request = message.subspan(at);
  const auto* const row =
      std::find_if(kSpeedRequests.begin(), kSpeedRequests.end(),
                   [request](const RequestRow& candidate) { return Matches(candidate, request); });
  if (row == kSpeedRequests.end()) return {SpeedMode::None, {}};
  SpeedRequest found{row->mode, {}};
  if (row->changesSpeed) found.message.assign(message.begin(), message.end());
  // The nodes are asked first, and change when they are told to.
  if (row->mode == SpeedMode::High) found.message[at + 1] = kEnable;
  return found;
}

ResistorSwitch ResistorsFor(std::uint32_t resSwitch, bool toHighSpeed) {
  constexpr std::uint32_t kAlways = 1;
  constexpr std::uint32_t kAutomatic = 2;
  constexpr UNUM32 kSwitchOn = 1;
  constexpr UNUM32 kSwitchOff = 2;
  if (resSwitch == kAlways) return {0, kHighSpeedTermination};
  if (resSwitch != kAutomatic) return {0, kNormalTermination};
  return toHighSpeed ? ResistorSwitch{kSwitchOn, kHighSpeedTermination}
                     : ResistorSwitch{kSwitchOff, kNormalTermination};
}

std::vector<ComParamSetting> WithSpeedChange(std::span<const ComParamSetting> common) {
  using pdu::ComParam;
  std::vector<ComParamSetting> settings(common.begin(), common.end());
  const auto format =
      std::find_if(settings.begin(), settings.end(), [](const ComParamSetting& setting) {
        return setting.param == ComParam::CP_CanFuncReqFormat;
      });
  settings.insert(
      std::next(format),
      {{ComParam::CP_ChangeSpeedMessage, std::span<const UNUM8>(kSpeedChangeMessage),
        "Error setting CP_CHANGE_SPEED_MESSAGE."},
       {ComParam::CP_TerminationType, kNormalTermination, "Error setting CP_TERMINATION_TYPE."}});
  return settings;
}

}  // namespace passbridge
