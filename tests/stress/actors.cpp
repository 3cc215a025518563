#include "actors.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "messages.h"

namespace passbridge::stress {

namespace {

constexpr std::uint32_t kPause = 5;  // ms, the longest between two calls of a thread

/// A channel by chance, that on which the ECUs talk more often than others.
struct Spot {
  explicit Spot(Caller& me)
      : device(me.world.At(me.choices.OneIn(4) ? 1 : 0)),
        channel(me.choices.OneIn(2) ? 0 : me.choices.Below(kChannels)) {}
  Spot(Device& theDevice, std::size_t theChannel) : device(theDevice), channel(theChannel) {}

  Device& device;
  std::size_t channel;
};

void Repeat(Caller& me, const std::function<void(const Spot&)>& act) {
  while (!me.world.stop) {
    act(Spot(me));
    me.choices.Pause(kPause);
  }
}

/// None, a short or a long one, in ms. A wait that should have ended shows by the longest even
/// where much slack is given.
std::uint32_t ChooseTimeout(Choices& choices) {
  constexpr std::array<std::uint32_t, 8> kScale{0, 0, 1, 1, 1, 10, 10, 50};
  return kScale[choices.Below(kScale.size())] * choices.Between(1, 50);
}

void CheckReceived(const std::vector<PASSTHRU_MSG>& messages, j2534_ulong count) {
  if (count > messages.size()) Fail("PassThruReadMsgs gave more messages than there was room for");
  for (j2534_ulong i = 0; i < count; ++i) {
    const PASSTHRU_MSG& message = messages[i];
    const bool isCan = message.ProtocolID == CAN || message.ProtocolID == CAN_PS;
    const bool isIndication = (message.RxStatus & TX_INDICATION) != 0;
    if (!isCan || message.DataSize > 12 || (message.DataSize < 4 && !isIndication)) {
      Fail("PassThruReadMsgs gave a message that is none");
    }
  }
}

/// The identifiers of what a thread has started, and may have lost: to stop one of them.
class Started {
 public:
  void Keep(j2534_ulong id) {
    if (ids_.size() == 64) ids_.erase(ids_.begin());
    ids_.push_back(id);
  }
  j2534_ulong Choose(Choices& choices) const {
    const std::uint32_t choice = choices.Below(1024);
    return ids_.empty() ? 1 + choice : ids_[choice % ids_.size()];
  }

 private:
  std::vector<j2534_ulong> ids_;
};

void SetConfig(Caller& me, const Spot& spot, SCONFIG* entries, j2534_ulong count) {
  me.Make(Operation::SetConfig, spot.device, spot.channel, [&](j2534_ulong id) {
    SCONFIG_LIST list{count, entries};
    return me.library.PassThruIoctl(id, SET_CONFIG, &list, nullptr);
  });
}

void GetDataRate(Caller& me, const Spot& spot) {
  std::array<SCONFIG, 2> entries{{{DATA_RATE, 0}, {LOOPBACK, 9}}};
  const long status = me.Make(Operation::GetConfig, spot.device, spot.channel, [&](j2534_ulong id) {
    SCONFIG_LIST list{entries.size(), entries.data()};
    return me.library.PassThruIoctl(id, GET_CONFIG, &list, nullptr);
  });
  if (status == STATUS_NOERROR && (entries[0].Value != kBaudRate || entries[1].Value > 1)) {
    Fail("GET_CONFIG gave values that nobody set");
  }
}

void GetVersionAndVoltage(Caller& me, Device& device) {
  std::array<char, J2534_TEXT_SIZE> firmware{};
  std::array<char, J2534_TEXT_SIZE> dll{};
  std::array<char, J2534_TEXT_SIZE> api{};
  me.Make(Operation::ReadVersion, device, kNoChannel, [&](j2534_ulong id) {
    return me.library.PassThruReadVersion(id, firmware.data(), dll.data(), api.data());
  });
  j2534_ulong millivolts = 0;
  me.Make(Operation::ReadVoltage, device, kNoChannel, [&](j2534_ulong id) {
    return me.library.PassThruIoctl(id, READ_VBATT, nullptr, &millivolts);
  });
}

/// Starts a filter that lets everything pass, or one identifier.
long StartFilter(Caller& me, const Spot& spot, j2534_ulong type, std::uint32_t mask,
                 j2534_ulong* filter, bool alone) {
  const j2534_ulong protocol = spot.device.channels[spot.channel].protocol;
  PASSTHRU_MSG maskMessage = MakeMessage(protocol, {mask, 0}, 0);
  PASSTHRU_MSG pattern = MakeMessage(protocol, {0x7E8 & mask, 0}, 0);
  const auto start = [&](j2534_ulong id) {
    return me.library.PassThruStartMsgFilter(id, type, &maskMessage, &pattern, nullptr, filter);
  };
  return alone ? me.MakeSerialised(Operation::StartFilter, spot.device, spot.channel, start)
               : me.Make(Operation::StartFilter, spot.device, spot.channel, start);
}

void Disconnect(Caller& me, const Spot& spot) {
  Channel& channel = spot.device.channels[spot.channel];
  ++channel.endings;
  const long status =
      me.MakeSerialised(Operation::Disconnect, spot.device, spot.channel,
                        [&](j2534_ulong id) { return me.library.PassThruDisconnect(id); });
  if (status != STATUS_NOERROR) return;  // its VCI is lost
  channel.connected = false;
  me.ExpectEnd(spot.device, spot.channel);
}

void Connect(Caller& me, const Spot& spot) {
  Channel& channel = spot.device.channels[spot.channel];
  const long connected = me.MakeSerialised(Operation::Connect, spot.device, kNoChannel,
                                           [&](j2534_ulong id) {
    return me.library.PassThruConnect(id, channel.protocol, CAN_ID_BOTH, kBaudRate, &channel.id);
  });
  if (connected != STATUS_NOERROR) return;
  channel.connected = true;
  if (channel.pins != 0) {
    SCONFIG pins{J1962_PINS, channel.pins};
    SCONFIG_LIST list{1, &pins};
    const long set = me.MakeSerialised(
        Operation::SetPins, spot.device, spot.channel,
        [&](j2534_ulong id) { return me.library.PassThruIoctl(id, SET_CONFIG, &list, nullptr); });
    if (set != STATUS_NOERROR) {
      // As for a VCI that is lost, this one or another: a channel without pins is of no use. It
      // goes with its device.
      channel.connected = false;
      channel.id = 0;  // nobody has that
      return;
    }
  }
  j2534_ulong filter = 0;
  StartFilter(me, spot, PASS_FILTER, 0, &filter, true);
}

}  // namespace

void ConnectFirst(Caller& me, Device& device) { Connect(me, Spot(device, 0)); }

void Connector(Caller& me) {
  Repeat(me, [&](const Spot& spot) {
    if (&spot.device == &me.world.First() && spot.channel == 0) return;
    Standstill standstill(spot.device);
    if (!spot.device.open) return;
    if (spot.device.channels[spot.channel].connected) {
      Disconnect(me, spot);
    } else {
      Connect(me, spot);
    }
  });
}

void Reader(Caller& me) {
  std::vector<PASSTHRU_MSG> messages(20);
  Repeat(me, [&](const Spot& spot) {
    auto count = static_cast<j2534_ulong>(me.choices.Between(1, 20));
    const std::uint32_t timeout = ChooseTimeout(me.choices);
    const auto read = [&](j2534_ulong id) {
      return me.library.PassThruReadMsgs(id, messages.data(), &count, timeout);
    };
    const long status = timeout == 0 ? me.Make(Operation::Read, spot.device, spot.channel, read)
                                     : me.MakeWaiting(Operation::ReadWaiting, spot.device,
                                                      spot.channel, timeout, read);
    // Of other statuses some leave the count alone.
    if (status == STATUS_NOERROR || status == ERR_TIMEOUT) CheckReceived(messages, count);
  });
}

void Writer(Caller& me) {
  std::vector<PASSTHRU_MSG> messages(12);
  Repeat(me, [&](const Spot& spot) {
    auto count = static_cast<j2534_ulong>(me.choices.OneIn(2) ? 1 : me.choices.Between(2, 12));
    const j2534_ulong written = count;
    for (PASSTHRU_MSG& message : messages) {
      message = ChooseMessage(me.choices, spot.device.channels[spot.channel].protocol);
    }
    const std::uint32_t timeout = ChooseTimeout(me.choices);
    const auto write = [&](j2534_ulong id) {
      return me.library.PassThruWriteMsgs(id, messages.data(), &count, timeout);
    };
    const long status = timeout == 0 ? me.Make(Operation::Write, spot.device, spot.channel, write)
                                     : me.MakeWaiting(Operation::WriteWaiting, spot.device,
                                                      spot.channel, timeout, write);
    if (status == STATUS_NOERROR && count != written) Fail("PassThruWriteMsgs wrote a part");
  });
}

void Filterer(Caller& me) {
  Started filters;
  Repeat(me, [&](const Spot& spot) {
    j2534_ulong id = filters.Choose(me.choices);
    const j2534_ulong type = me.choices.OneIn(4) ? BLOCK_FILTER : PASS_FILTER;
    const std::uint32_t mask = me.choices.OneIn(2) ? 0x7F0 : 0x1FFFFFFF;
    if (me.choices.OneIn(2)) {
      if (StartFilter(me, spot, type, mask, &id, false) == STATUS_NOERROR) filters.Keep(id);
    } else {
      me.Make(Operation::StopFilter, spot.device, spot.channel,
              [&](j2534_ulong channel) { return me.library.PassThruStopMsgFilter(channel, id); });
    }
  });
}

void PeriodicSender(Caller& me) {
  Started periodic;
  Repeat(me, [&](const Spot& spot) {
    j2534_ulong id = periodic.Choose(me.choices);
    PASSTHRU_MSG message = ChooseMessage(me.choices, spot.device.channels[spot.channel].protocol);
    const j2534_ulong interval = me.choices.Between(5, 200);
    if (me.choices.OneIn(2)) {
      const long status =
          me.Make(Operation::StartPeriodic, spot.device, spot.channel, [&](j2534_ulong channel) {
            return me.library.PassThruStartPeriodicMsg(channel, &message, &id, interval);
          });
      if (status == STATUS_NOERROR) periodic.Keep(id);
    } else {
      me.Make(Operation::StopPeriodic, spot.device, spot.channel,
              [&](j2534_ulong channel) { return me.library.PassThruStopPeriodicMsg(channel, id); });
    }
  });
}

void Configurer(Caller& me) {
  Repeat(me, [&](const Spot& spot) {
    const Channel& channel = spot.device.channels[spot.channel];
    std::array<SCONFIG, 2> entries{
        {{LOOPBACK, me.choices.Below(2)}, {BIT_SAMPLE_POINT, me.choices.Between(70, 80)}}};
    SCONFIG samePins{J1962_PINS, channel.pins != 0 ? channel.pins : 0x060E};
    switch (me.choices.Below(5)) {
      case 0:
        return SetConfig(me, spot, entries.data(), 0);
      case 1:
        return SetConfig(me, spot, &samePins, 1);
      case 2:
        return GetVersionAndVoltage(me, spot.device);
      case 3:
        return GetDataRate(me, spot);
      default:
        return SetConfig(me, spot, entries.data(), entries.size());
    }
  });
}

void Clearer(Caller& me) {
  struct Row {
    Operation operation;
    j2534_ulong ioctl;
  };
  constexpr std::array<Row, 5> kClear{{{Operation::ClearTx, CLEAR_TX_BUFFER},
                                       {Operation::ClearRx, CLEAR_RX_BUFFER},
                                       {Operation::ClearRx, CLEAR_RX_BUFFER},
                                       {Operation::ClearPeriodic, CLEAR_PERIODIC_MSGS},
                                       {Operation::ClearFilters, CLEAR_MSG_FILTERS}}};
  Repeat(me, [&](const Spot& spot) {
    me.choices.Pause(10 * kPause);
    const Row& row = kClear[me.choices.Below(kClear.size())];
    me.Make(row.operation, spot.device, spot.channel, [&](j2534_ulong id) {
      return me.library.PassThruIoctl(id, row.ioctl, nullptr, nullptr);
    });
    if (row.operation != Operation::ClearFilters) return;
    j2534_ulong filter = 0;
    StartFilter(me, spot, PASS_FILTER, 0, &filter, false);
  });
}

}  // namespace passbridge::stress
