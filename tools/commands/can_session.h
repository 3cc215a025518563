// A raw CAN channel as monitor and send use it: opened for the identifiers at hand.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_CAN_SESSION_H_
#define PASSBRIDGE_TOOLS_COMMANDS_CAN_SESSION_H_

#include <cstdint>
#include <optional>

#include "commands/bus_session.h"
#include "frames/can_frame.h"

namespace passbridge::tool {

// Which identifiers a channel is to carry.
struct IdWidths {
  bool standard = false;
  bool extended = false;

  bool Has(const CanId& id) const { return id.extended ? extended : standard; }
  void Add(const CanId& id) { (id.extended ? extended : standard) = true; }
};

class CanSession final : public BusSession {
 public:
  // Opens the device and the channel.
  CanSession(const Target& target, const BusOptions& options, IdWidths widths, Console& console);

  void PassId(const CanId& id);
  // All frames of the widths that the session was opened for.
  void PassAll();

 protected:
  std::optional<BusLine> LineOf(const Message& message) const override;

 private:
  // Frames whose identifier equals `pattern` in the bits of `mask`.
  void PassMasked(std::uint32_t mask, const CanId& pattern);

  IdWidths widths_;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_CAN_SESSION_H_
