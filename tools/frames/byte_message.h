// Messages that are bytes as the bus carries them, without their checksums: all but those of CAN.
#ifndef PASSBRIDGE_TOOLS_FRAMES_BYTE_MESSAGE_H_
#define PASSBRIDGE_TOOLS_FRAMES_BYTE_MESSAGE_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "client/message.h"

namespace passbridge::tool {

// How a message begins that is to be let through: as many bytes as a J2534 filter compares, 12.
// Throws std::invalid_argument with a text for the user.
std::vector<std::uint8_t> ParseBeginning(std::string_view text);

bool BeginsWith(std::span<const std::uint8_t> message, std::span<const std::uint8_t> beginning);

// Whether another node of the bus sent it: neither an indication nor an echo.
bool IsFromBus(const Message& message);

// The bytes and what the RxStatus says of them, "68 6A F1 01 0C [echo]"; an indication may be a
// note alone, "[break]". The notes: "echo" (this side sent it), "sent" (an own message has gone),
// "start" (one begins to arrive), "break" (one was received).
std::string FormatReceived(const Message& message);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_FRAMES_BYTE_MESSAGE_H_
