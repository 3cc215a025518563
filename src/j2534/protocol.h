#ifndef PASSBRIDGE_J2534_PROTOCOL_H_
#define PASSBRIDGE_J2534_PROTOCOL_H_

#include <cstdint>

namespace passbridge {

/// The base protocol behind a ProtocolID, by which channel classes, names and parameters are
/// chosen: the J2534-1 ProtocolID of that protocol, or one of these where there is none.
using ProtocolType = std::uint32_t;

/// What is known of the ProtocolIDs `first` to `last`.
struct ProtocolRange {
  std::uint32_t first;
  std::uint32_t last;
  ProtocolType type;
};

/// Classifies a ProtocolID; null for one that the library does not know.
const ProtocolRange* FindProtocol(std::uint32_t protocolId);

/// Name of a ProtocolType, or null where it has none.
const char* ProtocolTypeName(ProtocolType type);

/// Whether messages of the type are carried by ISO 15765-2, with flow-control filters.
bool IsIso15765Type(ProtocolType type);

/// ProtocolID of the raw CAN frames on an ISO 15765 channel; its own for any other channel.
std::uint32_t RawFrameProtocol(std::uint32_t channelProtocolId);

/// Whether a message of the ProtocolID is a raw CAN frame on that ISO 15765 channel.
bool IsRawFrameOf(std::uint32_t channelProtocolId, std::uint32_t messageProtocolId);

/// Whether raw CAN frames on some ISO 15765 channel have the ProtocolID.
bool IsRawFrameProtocol(std::uint32_t protocolId);

/// Whether a channel of the ProtocolID waits for J1962_PINS before it connects.
bool IsPinSwitched(std::uint32_t protocolId);

}  // namespace passbridge

#endif  // PASSBRIDGE_J2534_PROTOCOL_H_
