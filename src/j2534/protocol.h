#ifndef PASSBRIDGE_J2534_PROTOCOL_H_
#define PASSBRIDGE_J2534_PROTOCOL_H_

#include <cstdint>
#include <optional>

#include "trace/location.h"

/// What distinguishes protocols from one another, by ProtocolID and by ProtocolType. Pure data:
/// nothing here reports a failure.
namespace passbridge {

/// The base protocol behind a ProtocolID, by which channel classes, names and parameters are
/// chosen: the J2534-1 ProtocolID of that protocol, or a J2534-2 one where there is none.
using ProtocolType = std::uint32_t;

// By ProtocolID.

/// Classifies a ProtocolID; nothing for one that the library does not know.
std::optional<ProtocolType> ProtocolTypeOf(std::uint32_t protocolId);

/// Whether a channel can be opened: ERR_NOT_SUPPORTED for a ProtocolID that J2534 knows and the
/// library does not carry out, ERR_INVALID_PROTOCOL_ID for any other.
Status OpeningStatus(std::uint32_t protocolId);

/// Whether a channel of the ProtocolID waits for J1962_PINS before it connects.
bool IsPinSwitched(std::uint32_t protocolId);

/// First pin in the second byte, second pin in the lowest. A pin-switched channel has none, 0.
std::uint32_t DefaultPins(std::uint32_t protocolId);

/// In bit/s; 0 for a ProtocolID that the library does not know.
std::uint32_t DefaultDataRate(std::uint32_t protocolId);

/// Whether the bus knows the speed. True where the protocol has no speeds of its own.
bool AdmitsDataRate(std::uint32_t protocolId, std::uint32_t dataRate);

/// How the messages of one write call become CoPs.
enum class Sending : std::uint8_t {
  OneByOne,  ///< a CoP each
  Packed,    ///< one CoP for as many as it can take
  Batched,   ///< single frames like that, longer messages one by one
};
Sending SendingOf(std::uint32_t protocolId);

/// ProtocolID of the raw CAN frames on an ISO 15765 channel; its own for any other channel.
std::uint32_t RawFrameProtocol(std::uint32_t channelProtocolId);

/// Whether a message of the ProtocolID is a raw CAN frame on that ISO 15765 channel.
bool IsRawFrameOf(std::uint32_t channelProtocolId, std::uint32_t messageProtocolId);

/// Whether raw CAN frames on some ISO 15765 channel, those of additional channels apart, have the
/// ProtocolID.
bool IsRawFrameProtocol(std::uint32_t protocolId);

/// Short names in the D-PDU API; null for a ProtocolID that the library does not know.
const char* PduProtocolName(std::uint32_t protocolId);
const char* PduBusTypeName(std::uint32_t protocolId);

// By ProtocolType.

/// Name of a ProtocolType, or null where it has none.
const char* ProtocolTypeName(ProtocolType type);

/// Whether messages of the type are CAN frames or carried by them.
bool IsCanType(ProtocolType type);

/// Whether messages of the type are carried by ISO 15765-2, with flow-control filters.
bool IsIso15765Type(ProtocolType type);

/// Whether filters of the type can have an extended address.
bool HasExtendedAddresses(ProtocolType type);

/// Whether connecting starts the communication. Elsewhere an initialisation ioctl does, or nothing
/// has to.
bool StartsCommunication(ProtocolType type);

/// The connect flags that a protocol admits, and how others are reported.
struct AdmittedFlags {
  std::uint32_t flags;
  std::uint16_t exitPoint;
  const char* failure;
};
const AdmittedFlags& AdmittedFlagsOf(ProtocolType type);

}  // namespace passbridge

#endif  // PASSBRIDGE_J2534_PROTOCOL_H_
