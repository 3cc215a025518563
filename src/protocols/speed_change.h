#ifndef PASSBRIDGE_PROTOCOLS_SPEED_CHANGE_H_
#define PASSBRIDGE_PROTOCOLS_SPEED_CHANGE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "channel/com_param_setting.h"
#include "passbridge/d_pdu_api.h"

/// The speeds of SAE J2411, single-wire CAN, and what changes them.
namespace passbridge {

/// The speed that the application last asked for.
enum class SpeedMode : std::uint16_t { None, High, Normal };

/// CP_TerminationType.
inline constexpr UNUM32 kNormalTermination = 0;
inline constexpr UNUM32 kHighSpeedTermination = 4;

/// The request to all nodes at which the interface changes its speed, unless it is told another:
/// identifier, extended address, service.
inline constexpr std::array<UNUM8, 7> kSpeedChangeMessage{0x00, 0x00, 0x01, 0x01, 0xFE, 0xA5, 0x03};

/// What a message to be sent means for the speed.
struct SpeedRequest {
  std::optional<SpeedMode> mode;  ///< none: it stays
  std::vector<UNUM8> message;     ///< the interface is to change its speed behind it; none if empty
};

/// @param message      identifier first
/// @param lengthBytes  how many bytes of a raw frame stand before the request
SpeedRequest ExamineRequest(std::span<const std::uint8_t> message, std::uint32_t txFlags,
                            std::size_t lengthBytes);

/// The resistors that SW_CAN_RES_SWITCH asks for.
struct ResistorSwitch {
  UNUM32 control;  ///< CP_ChangeSpeedResCtrl
  UNUM32 termination;
};

/// @param toHighSpeed  whether the next change goes to the high speed
ResistorSwitch ResistorsFor(std::uint32_t resSwitch, bool toHighSpeed);

/// Puts what is special about one wire where it belongs among the ComParams of a connection.
std::vector<ComParamSetting> WithSpeedChange(std::span<const ComParamSetting> common);

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_SPEED_CHANGE_H_
