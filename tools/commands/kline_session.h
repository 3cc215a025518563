// Diagnostics on a K line.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_KLINE_SESSION_H_
#define PASSBRIDGE_TOOLS_COMMANDS_KLINE_SESSION_H_

#include <cstdint>
#include <vector>

#include "commands/command.h"
#include "commands/header_session.h"

namespace passbridge::tool {

// How the communication with ECUs begins.
struct KLineInit {
  ObdHeader header = ObdHeader::Iso14230;
  bool fast = false;
  std::uint8_t address =
      0x33;  // for five baud; of a fast one: the target of its request, 0x33 is all
};

struct KLineStart {
  std::vector<std::uint8_t> response;  // of a fast initialisation
  std::vector<std::uint8_t> keyBytes;
};

class KLineSession final : public HeaderSession {
 public:
  // Opens the device and the channel, and initialises; throws std::runtime_error that says what may
  // have been missing if that fails.
  KLineSession(const Target& target, const KLineInit& init, Console& console);

  const KLineStart& Start() const { return start_; }

 private:
  void InitialiseAtFiveBaud(std::uint8_t address);
  void InitialiseFast(std::uint8_t address);

  KLineStart start_;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_KLINE_SESSION_H_
