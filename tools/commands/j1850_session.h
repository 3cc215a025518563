// Diagnostics on J1850.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_J1850_SESSION_H_
#define PASSBRIDGE_TOOLS_COMMANDS_J1850_SESSION_H_

#include <cstdint>
#include <span>

#include "commands/header_session.h"

namespace passbridge::tool {

// What a PWM channel is to the bus: messages that it sends come from the node, those that it
// receives go to the node or to one of the functional addresses.
void BecomePwmNode(Channel& channel, std::uint8_t node, std::span<const std::uint8_t> functional);

class J1850Session final : public HeaderSession {
 public:
  // Opens the device and the channel. `header` says which of the two buses it is.
  J1850Session(const Target& target, ObdHeader header, Console& console);
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_J1850_SESSION_H_
