#include "commands/can_session.h"

#include <passbridge/j2534.h>

namespace passbridge::tool {
namespace {

// Of any CAN channel: log lines keep the columns that CAN tools read.
constexpr const char* kCanLogName = "can0";
constexpr std::uint32_t kExactMask = 0xFFFFFFFF;

std::uint32_t ConnectFlagsOf(IdWidths widths) {
  if (widths.standard && widths.extended) return CAN_ID_BOTH;
  return widths.extended ? CAN_29BIT_ID : 0;
}

}  // namespace

CanSession::CanSession(const Target& target, const BusOptions& options, IdWidths widths,
                       Console& console)
    : BusSession(target, options, ConnectFlagsOf(widths), kCanLogName, console), widths_(widths) {}

void CanSession::PassMasked(std::uint32_t mask, const CanId& pattern) {
  const std::uint32_t protocolId = OpenChannel().ProtocolId();
  OpenChannel().StartPassFilter(IdMessage({mask, pattern.extended}, protocolId),
                                IdMessage(pattern, protocolId));
}

void CanSession::PassId(const CanId& id) { PassMasked(kExactMask, id); }

void CanSession::PassAll() {
  if (widths_.standard) PassMasked(0, {0, false});
  if (widths_.extended) PassMasked(0, {0, true});
}

std::optional<BusLine> CanSession::LineOf(const Message& message) const {
  // It comes behind its frame.
  if ((message.rxStatus & SW_CAN_HV_RX) != 0) return BusLine{"[high voltage]", false};
  const auto frame = ToCanFrame(message);
  // Some libraries let identifiers of the other width through a filter of equal bits.
  if (!frame || !widths_.Has(frame->id)) return std::nullopt;
  return BusLine{FormatCanFrame(*frame)};
}

}  // namespace passbridge::tool
