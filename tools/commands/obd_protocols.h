// The protocols over which OBD can be spoken.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_OBD_PROTOCOLS_H_
#define PASSBRIDGE_TOOLS_COMMANDS_OBD_PROTOCOLS_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/diagnostic_session.h"

namespace passbridge::tool {

// What the user chose.
struct ObdConnection {
  std::string protocol = "iso15765";
  std::optional<std::uint32_t> bitRate;  // bit/s, on ISO 15765
  std::string to;                        // on ISO 15765; empty: all ECUs
};

// Throws std::invalid_argument with a text for the user if something was chosen that the protocol
// doesn't have.
void CheckObdConnection(const ObdConnection& connection);

// Names that `protocol` may have.
std::vector<std::string> ObdProtocolNames();

// With "auto" it tries one protocol after the other until an ECU answers, and says so on the
// console. Throws if there is no session, or nobody to speak to.
std::unique_ptr<DiagnosticSession> OpenObdSession(const Target& target,
                                                  const ObdConnection& connection,
                                                  Console& console);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_OBD_PROTOCOLS_H_
