#ifndef PASSBRIDGE_PROTOCOLS_CAN_COMMON_H_
#define PASSBRIDGE_PROTOCOLS_CAN_COMMON_H_

#include <array>
#include <cstdint>

#include "channel/channel.h"
#include "passbridge/d_pdu_api.h"
#include "passbridge/j2534.h"
#include "pdu/flag_bytes.h"

/// What raw CAN and ISO 15765 have in common.
namespace passbridge {

inline constexpr std::uint32_t kCanIdSize = 4;
inline constexpr std::uint32_t kMaxCanMessage = kCanIdSize + 8;

/// CP_CanFuncReqFormat: which identifiers the link receives.
constexpr UNUM32 CanFuncReqFormat(std::uint32_t connectFlags) {
  constexpr UNUM32 kOneIdentifierLength = 0x20;
  constexpr UNUM32 kBothIdentifierLengths = 0x80;
  return (connectFlags & CAN_ID_BOTH) != 0 ? kBothIdentifierLengths : kOneIdentifierLength;
}

/// Passes those transmit flags on that say how a frame looks.
inline void AddCanFlags(pdu::FlagBytes& bytes, std::uint32_t txFlags) {
  constexpr std::uint32_t kFrameFlags = CAN_29BIT_ID | ISO15765_ADDR_TYPE | ISO15765_FRAME_PAD;
  pdu::SetFlags(bytes, txFlags & kFrameFlags);
}

/// In the first flag byte of every ComPrimitive that carries ISO 15765 messages.
inline constexpr UNUM8 kIso15765CopFlags = 0x20;

/// What the channel for periodic messages takes over.
inline constexpr std::array<TakenOver, 2> kTakenOverOnCan{{
    {LOOPBACK, "Error connecting to Channel."},
    {J1962_PINS, "Error connecting to Channel."},
}};

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_CAN_COMMON_H_
