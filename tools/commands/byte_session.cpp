#include "commands/byte_session.h"

#include <algorithm>
#include <utility>

#include "commands/j1850_session.h"
#include "frames/byte_message.h"

namespace passbridge::tool {
namespace {

std::vector<std::uint8_t> FunctionalAddresses(const BusOptions& options) {
  if (options.functional.empty()) return {kFunctionalAnswers};
  std::vector<std::uint8_t> addresses;
  for (const unsigned address : options.functional) {
    addresses.push_back(static_cast<std::uint8_t>(address));
  }
  return addresses;
}

}  // namespace

ByteSession::ByteSession(const Target& target, const BusOptions& options, ByteSelection selection,
                         Console& console)
    : BusSession(target, options, 0, options.protocol, console), selection_(std::move(selection)) {
  if (options.Has(BusFeature::PwmNode)) {
    BecomePwmNode(OpenChannel(), selection_.node, FunctionalAddresses(options));
  }
  for (const auto& beginning : selection_.beginnings) PassBeginning(beginning);
  // Last, for the bus begins to speak with it.
  if (options.master) OpenChannel().BecomeMaster(static_cast<std::uint8_t>(*options.master));
}

void ByteSession::PassBeginning(const std::vector<std::uint8_t>& beginning) {
  Message pattern;
  pattern.protocolId = OpenChannel().ProtocolId();
  pattern.data = beginning.empty() ? std::vector<std::uint8_t>{0} : beginning;
  Message mask = pattern;
  std::fill(mask.data.begin(), mask.data.end(), beginning.empty() ? 0 : 0xFF);
  OpenChannel().StartPassFilter(mask, pattern);
}

std::optional<BusLine> ByteSession::LineOf(const Message& message) const {
  // Indications, and what the functional addresses of J1850 PWM let through, pass any filter.
  const bool isSelected =
      std::any_of(selection_.beginnings.begin(), selection_.beginnings.end(),
                  [&](const auto& beginning) { return BeginsWith(message.data, beginning); });
  if (!isSelected) return std::nullopt;
  return BusLine{FormatReceived(message), IsFromBus(message)};
}

}  // namespace passbridge::tool
