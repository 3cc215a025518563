// The protocols over which OBD can be spoken.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_OBD_PROTOCOLS_H_
#define PASSBRIDGE_TOOLS_COMMANDS_OBD_PROTOCOLS_H_

#include <memory>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/diagnostic_session.h"
#include "commands/iso15765_session.h"

namespace passbridge::tool {

// What the user chose.
struct ObdConnection {
  std::string protocol = "iso15765";
  IsoOptions iso{.padding = true};
  std::string to = "7DF";  // on ISO 15765
};

// Names that `protocol` may have.
std::vector<std::string> ObdProtocolNames();

// With "auto" it tries one protocol after the other until an ECU answers, and says so on the
// console. Throws if there is no session, or nobody to speak to.
std::unique_ptr<DiagnosticSession> OpenObdSession(const Target& target,
                                                  const ObdConnection& connection,
                                                  Console& console);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_OBD_PROTOCOLS_H_
