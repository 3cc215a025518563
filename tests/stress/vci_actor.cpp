#include "vci_actor.h"

#include <chrono>
#include <cstdio>
#include <thread>

#include "actors.h"

namespace passbridge::stress {

namespace {

constexpr std::uint32_t kMaxPause = 700;  // ms between two events
constexpr int kMaxOpens = 100;            // of a VCI that was lost, 20 ms apart

}  // namespace

void VciActor::OpenAll() {
  for (Device* const device : {&me_.world.First(), &me_.world.Second()}) {
    Open(*device);
    ConnectFirst(me_, *device);
  }
}

void VciActor::Run() {
  while (!me_.world.stop) {
    me_.choices.Pause(kMaxPause);
    Device& device = me_.world.At(me_.choices.OneIn(3) ? 1 : 0);
    switch (me_.choices.Below(4)) {
      case 0:
        Reopen(device, false);
        break;
      case 1:
        Reopen(device, true);
        break;
      default:
        Lose(device);
    }
  }
}

void VciActor::CloseAll() {
  for (Device* const device : {&me_.world.First(), &me_.world.Second()}) Close(*device);
}

void VciActor::Lose(Device& device) {
  Say("loses its VCI", device);
  ++device.losses;
  vci_.Unplug(device.Serial());
  me_.ExpectEnd(device);
  me_.choices.Pause(100);
  const bool plugFirst = me_.choices.OneIn(2);
  if (plugFirst) vci_.Plug(device.Serial());
  {
    const Standstill standstill(device);
    Close(device);
  }
  if (!plugFirst) vci_.Plug(device.Serial());
  // The library refuses every call of the process from a loss until an open. A call on the other
  // device that was refused, but not yet back, could have that go on; so everything stands still.
  Standstill first(me_.world.First());
  Standstill second(me_.world.Second());
  first.AwaitWaiting();
  second.AwaitWaiting();
  Open(device);
  ++device.losses;
  ConnectFirst(me_, device);
}

void VciActor::Reopen(Device& device, bool withOther) {
  Device& other = me_.world.At(1 - device.Number());
  {
    const Standstill standstill(device);
    Close(device);
  }
  if (withOther) {
    // The library lets go of the virtual VCI now.
    Standstill standstill(other);
    Close(other);
    standstill.AwaitWaiting();
    Open(other);
    ConnectFirst(me_, other);
  }
  Standstill standstill(device);
  standstill.AwaitWaiting();
  Open(device);
  ConnectFirst(me_, device);
}

void VciActor::Close(Device& device) {
  Say("closes", device);
  for (Channel& channel : device.channels) {
    if (channel.connected) ++channel.endings;
  }
  me_.MakeSerialised(Operation::Close, device, kNoChannel,
                     [&](j2534_ulong id) { return me_.library.PassThruClose(id); });
  device.open = false;
  for (Channel& channel : device.channels) channel.connected = false;
  me_.ExpectEnd(device);
}

void VciActor::Open(Device& device) {
  Say("opens", device);
  for (int attempt = 0; attempt < kMaxOpens; ++attempt) {
    const long status = me_.MakeSerialised(
        Operation::Open, device, kNoChannel,
        [&](j2534_ulong /*id*/) { return me_.library.PassThruOpen(device.Name(), &device.id); });
    device.open = status == STATUS_NOERROR;
    if (device.open) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  Fail("a VCI that is plugged in again can't be opened");
}

void VciActor::Say(const char* what, const Device& device) const {
  if (verbose_) std::printf("device %u %s\n", static_cast<unsigned>(device.Number()), what);
}

}  // namespace passbridge::stress
