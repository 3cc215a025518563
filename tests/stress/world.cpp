#include "world.h"

namespace passbridge::stress {

namespace {

constexpr j2534_ulong kBusPins = 0x060E;    // where the ECUs are
constexpr j2534_ulong kQuietPins = 0x030B;  // where nobody is

}  // namespace

Device::Device(std::uint32_t number, std::uint32_t serial, const char* name, std::size_t threads)
    : number_(number), serial_(serial), name_(name), calls_(threads), waits_(threads) {
  channels[0].protocol = CAN;
  channels[1].protocol = CAN_PS;
  channels[1].pins = kBusPins;
  channels[2].protocol = CAN_PS;
  channels[2].pins = kQuietPins;
}

Standstill::Standstill(Device& device) : device_(device) {
  locks_.emplace_back(device.standstill_);
  for (std::mutex& calls : device.calls_) locks_.emplace_back(calls);
}

void Standstill::AwaitWaiting() {
  for (std::mutex& waits : device_.waits_) const std::lock_guard<std::mutex> ended(waits);
}

World::World(std::size_t threads)
    : first_(0, 4711, "J2534-2:SN='4711' CXN='USB'", threads),
      second_(1, 4712, "J2534-2:SN='4712' CXN='WIRELESS'", threads) {}

}  // namespace passbridge::stress
