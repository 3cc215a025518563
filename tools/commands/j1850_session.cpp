#include "commands/j1850_session.h"

#include <passbridge/j2534.h>

namespace passbridge::tool {
namespace {

constexpr std::uint32_t kVpwBitRate = 10400;
constexpr std::uint32_t kPwmBitRate = 41600;

bool IsPwm(ObdHeader header) { return header == ObdHeader::J1850Pwm; }

}  // namespace

void BecomePwmNode(Channel& channel, std::uint8_t node, std::span<const std::uint8_t> functional) {
  channel.SetConfig(NODE_ADDRESS, node);
  channel.AddFunctionalAddresses(functional);
}

J1850Session::J1850Session(const Target& target, ObdHeader header, Console& console)
    : HeaderSession(target, header, IsPwm(header) ? J1850PWM : J1850VPW,
                    IsPwm(header) ? kPwmBitRate : kVpwBitRate, console) {
  if (IsPwm(header)) BecomePwmNode(OpenChannel(), kTesterAddress, {&kFunctionalAnswers, 1});
}

}  // namespace passbridge::tool
