#include "caller.h"

#include <algorithm>
#include <cstdio>

namespace passbridge::stress {

namespace {

std::string Hex(long number) {
  std::array<char, 20> text{};
  std::snprintf(text.data(), text.size(), "0x%02lX", static_cast<unsigned long>(number));
  return text.data();
}

}  // namespace

Caller::Before Caller::Observe(const Device& device, std::size_t channel) const {
  Before before{{world.First().losses, world.Second().losses}, nullptr, 0, !device.open};
  if (channel == kNoChannel) return before;
  before.channel = &device.channels[channel];
  before.endings = before.channel->endings;
  before.absent = !before.channel->connected;
  return before;
}

long Caller::Judge(Operation operation, const Device& device, const Before& before, long status) {
  worstDelay_ = std::max(worstDelay_, flight_.End());
  Circumstances around;
  for (std::uint32_t number = 0; number < before.losses.size(); ++number) {
    const std::uint32_t losses = before.losses[number];
    if (losses % 2 == 0 && losses == world.At(number).losses) continue;
    around.anyLoss = true;
    if (number == device.Number()) around.ownLoss = true;
  }
  around.ended = before.channel != nullptr && before.endings != before.channel->endings;
  around.absent = before.absent && operation != Operation::Open && operation != Operation::Connect;
  if (!IsPlausible(operation, status, around)) {
    Fail(flight_.Thread() + ": " + NameOf(operation) + " gave " + Hex(status) + " " + LastError() +
         (around.ownLoss   ? ", its VCI lost"
          : around.anyLoss ? ", another VCI lost"
                           : "") +
         (around.ended    ? ", its channel ended meanwhile"
          : around.absent ? ", without a channel"
                          : ""));
  }
  tally_.Count(operation, status);
  return status;
}

std::string Caller::LastError() {
  std::array<char, J2534_TEXT_SIZE> text{};
  library.PassThruGetLastError(text.data());
  const std::string line = text.data();
  return line.substr(0, line.find('\n'));
}

}  // namespace passbridge::stress
