// A channel of messages of bytes as monitor and send use it.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_BYTE_SESSION_H_
#define PASSBRIDGE_TOOLS_COMMANDS_BYTE_SESSION_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "commands/bus_session.h"
#include "frames/obd_message.h"

namespace passbridge::tool {

struct ByteSelection {
  // Messages that begin so are shown; an empty beginning is that of all. None: nothing is received.
  std::vector<std::vector<std::uint8_t>> beginnings;
  // This side's address, on J1850 PWM.
  std::uint8_t node = kTesterAddress;
};

class ByteSession final : public BusSession {
 public:
  // Opens the device and the channel, and does what the protocol needs beyond: the node of J1850
  // PWM with its functional addresses, or the master of GM UART.
  ByteSession(const Target& target, const BusOptions& options, ByteSelection selection,
              Console& console);

 protected:
  std::optional<BusLine> LineOf(const Message& message) const override;

 private:
  void PassBeginning(const std::vector<std::uint8_t>& beginning);

  const ByteSelection selection_;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_BYTE_SESSION_H_
