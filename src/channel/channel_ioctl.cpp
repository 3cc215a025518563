// The ioctls of a channel: one table from identifier to handler, and the handlers of the base.

#include <algorithm>
#include <array>

#include "channel/channel.h"
#include "pdu/io_control.h"
#include "pdu/result_map.h"
#include "platform/memory_probe.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr const char* kNoPins = "Error getting J1962 Pins value to use.";

/// The two clearing I/O controls of a link.
constexpr pdu::ResultMap kClearResults{ERR_FAILED,
                                       {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
                                        {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
                                        {PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID},
                                        {PDU_ERR_ID_NOT_SUPPORTED, ERR_NOT_SUPPORTED}}};

using Handler = Status (*)(CJ2534Channel&, const AppPointer& input, const AppPointer& output);

struct IoctlRow {
  std::uint32_t ioctlId;
  Handler handler;
  bool alsoOnPeriodicChannel = false;
};

// One adapter for each shape of handler.
template <Status (CJ2534Channel::*Target)()>
Status Plain(CJ2534Channel& channel, const AppPointer& /*input*/, const AppPointer& /*output*/) {
  return (channel.*Target)();
}
template <Status (CJ2534Channel::*Target)(const AppPointer&)>
Status WithInput(CJ2534Channel& channel, const AppPointer& input, const AppPointer& /*output*/) {
  return (channel.*Target)(input);
}
template <Status (CJ2534Channel::*Target)(const AppPointer&, const AppPointer&)>
Status WithBoth(CJ2534Channel& channel, const AppPointer& input, const AppPointer& output) {
  return (channel.*Target)(input, output);
}

using C = CJ2534Channel;

constexpr std::array<IoctlRow, 20> kIoctls{{
    {GET_CONFIG, WithInput<&C::PassThruIoctl_GET_CONFIG>},
    {SET_CONFIG, WithInput<&C::PassThruIoctl_SET_CONFIG>, true},
    {FIVE_BAUD_INIT, WithBoth<&C::PassThruIoctl_FIVE_BAUD_INIT>},
    {FAST_INIT, WithBoth<&C::PassThruIoctl_FAST_INIT>},
    {CLEAR_TX_BUFFER, Plain<&C::PassThruIoctl_CLEAR_TX_BUFFER>, true},
    {CLEAR_RX_BUFFER, Plain<&C::PassThruIoctl_CLEAR_RX_BUFFER>, true},
    {CLEAR_PERIODIC_MSGS, Plain<&C::PassThruIoctl_CLEAR_PERIODIC_MSGS>, true},
    {CLEAR_MSG_FILTERS, Plain<&C::PassThruIoctl_CLEAR_MSG_FILTERS>},
    {CLEAR_FUNCT_MSG_LOOKUP_TABLE, Plain<&C::PassThruIoctl_CLEAR_FUNCT_MSG_LOOKUP_TABLE>},
    {ADD_TO_FUNCT_MSG_LOOKUP_TABLE, WithInput<&C::PassThruIoctl_ADD_TO_FUNCT_MSG_LOOKUP_TABLE>},
    {DELETE_FROM_FUNCT_MSG_LOOKUP_TABLE,
     WithInput<&C::PassThruIoctl_DELETE_FROM_FUNCT_MSG_LOOKUP_TABLE>},
    {SW_CAN_HS, Plain<&C::PassThruIoctl_SW_CAN_HS>, true},
    {SW_CAN_NS, Plain<&C::PassThruIoctl_SW_CAN_NS>, true},
    {SET_POLL_RESPONSE, WithInput<&C::PassThruIoctl_SET_POLL_RESPONSE>},
    {BECOME_MASTER, WithInput<&C::PassThruIoctl_BECOME_MASTER>},
    {START_REPEAT_MESSAGE, WithBoth<&C::PassThruIoctl_START_REPEAT_MESSAGE>},
    {QUERY_REPEAT_MESSAGE, WithBoth<&C::PassThruIoctl_QUERY_REPEAT_MESSAGE>},
    {STOP_REPEAT_MESSAGE, WithInput<&C::PassThruIoctl_STOP_REPEAT_MESSAGE>},
    {PROTECT_J1939_ADDR, WithInput<&C::PassThruIoctl_PROTECT_J1939_ADDR>},
    {J1850PWM_TERMINATION, WithInput<&C::PassThruIoctl_J1850PWM_TERMINATION>},
}};

Status NotSupported(const Method& method) {
  return Traced(method, [](Exits& exit) -> Status {
    return exit.PassOn(0, ERR_NOT_SUPPORTED, "Not Supported.");
  });
}

}  // namespace

Status CJ2534Channel::PassThruIoctl(std::uint32_t ioctlId, const AppPointer& input,
                                    const AppPointer& output) {
  return Traced(methods::channel::kPassThruIoctl, [&](Exits& exit) -> Status {
    GetLink().ServeQueued();  // what came before the ioctl does not come after it
    platform::MutexLock lock(operationLock_);
    const auto* const row =
        std::find_if(kIoctls.begin(), kIoctls.end(),
                     [ioctlId](const IoctlRow& candidate) { return candidate.ioctlId == ioctlId; });
    const Status status =
        row != kIoctls.end() ? row->handler(*this, input, output) : Status{ERR_INVALID_IOCTL_ID};
    if (row != kIoctls.end() && row->alsoOnPeriodicChannel && ownPeriodicChannel_ != nullptr) {
      row->handler(*ownPeriodicChannel_, input, output);
    }
    if (status != STATUS_NOERROR) return exit.PassOn(1, status, "Error performing IOCTL");
    return exit.Normal();
  });
}

Status CJ2534Channel::PassThruIoctl_CLEAR_TX_BUFFER() {
  return Traced(methods::channel::kPassThruIoctlClearTxBuffer, [&](Exits& exit) -> Status {
    if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, kNoPins);
    if (GetLink().PendingTransmitCops() == 0) return exit.Normal();
    const T_PDU_ERROR result = GetLink().IoCtl(pdu::IoControl::ClearTxPending);
    if (const Status status = kClearResults(result)) {
      return exit.Fail(2, status, "Error Clearing TX Buffer.", result);
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::PassThruIoctl_CLEAR_RX_BUFFER() {
  return Traced(methods::channel::kPassThruIoctlClearRxBuffer, [&](Exits& exit) -> Status {
    if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, kNoPins);
    const T_PDU_ERROR result =
        HasLink() ? GetLink().IoCtl(pdu::IoControl::ClearRxQueue) : T_PDU_ERROR{PDU_STATUS_NOERROR};
    if (const Status status = kClearResults(result)) {
      return exit.Fail(2, status, "Error clearing PDU Receive Queue.", result);
    }
    GetRxEvent().Reset();  // first: what comes after the clearing is announced
    if (const Status status = GetJ2534ReceiveBuffer().Clear()) {
      return exit.PassOn(3, status, "Error clearing J2534 Receive Buffer.");
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::PassThruIoctl_CLEAR_PERIODIC_MSGS() {
  return Traced(methods::channel::kPassThruIoctlClearPeriodicMsgs, [&](Exits& exit) -> Status {
    if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, kNoPins);
    while (const std::optional<UNUM32> first = periodicMessages_.First()) {
      const Status status = StopPeriodicMsgEx(*first);
      if (status == ERR_INVALID_MSG_ID) return exit.PassOn(2, ERR_FAILED, "Invalid Message ID.");
      if (status != STATUS_NOERROR) {
        return exit.PassOn(3, status, "Error stopping Periodic Message.");
      }
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::PassThruIoctl_CLEAR_MSG_FILTERS() {
  return Traced(methods::channel::kPassThruIoctlClearMsgFilters, [&](Exits& exit) -> Status {
    if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, kNoPins);
    if (const auto filters = Filters()) {
      if (const Status status = filters->ClearJ2534Filters()) {
        return exit.PassOn(2, status, "Error clearing J2534 filters.");
      }
    }
    return exit.Normal();
  });
}

// What only some protocols have.

Status CJ2534Channel::PassThruIoctl_FIVE_BAUD_INIT(const AppPointer& /*input*/,
                                                   const AppPointer& /*output*/) {
  return ERR_INVALID_IOCTL_ID;
}
Status CJ2534Channel::PassThruIoctl_FAST_INIT(const AppPointer& /*input*/,
                                              const AppPointer& /*output*/) {
  return ERR_INVALID_IOCTL_ID;
}
Status CJ2534Channel::PassThruIoctl_CLEAR_FUNCT_MSG_LOOKUP_TABLE() { return ERR_INVALID_IOCTL_ID; }
Status CJ2534Channel::PassThruIoctl_ADD_TO_FUNCT_MSG_LOOKUP_TABLE(const AppPointer& /*input*/) {
  return ERR_INVALID_IOCTL_ID;
}
Status CJ2534Channel::PassThruIoctl_DELETE_FROM_FUNCT_MSG_LOOKUP_TABLE(
    const AppPointer& /*input*/) {
  return ERR_INVALID_IOCTL_ID;
}
Status CJ2534Channel::PassThruIoctl_SW_CAN_HS() { return ERR_INVALID_IOCTL_ID; }
Status CJ2534Channel::PassThruIoctl_SW_CAN_NS() { return ERR_INVALID_IOCTL_ID; }
Status CJ2534Channel::PassThruIoctl_SET_POLL_RESPONSE(const AppPointer& /*input*/) {
  return ERR_INVALID_IOCTL_ID;
}
Status CJ2534Channel::PassThruIoctl_BECOME_MASTER(const AppPointer& /*input*/) {
  return ERR_INVALID_IOCTL_ID;
}

// What no protocol has.

Status CJ2534Channel::PassThruIoctl_START_REPEAT_MESSAGE(const AppPointer& /*input*/,
                                                         const AppPointer& /*output*/) {
  return NotSupported(methods::channel::kPassThruIoctlStartRepeatMessage);
}
Status CJ2534Channel::PassThruIoctl_QUERY_REPEAT_MESSAGE(const AppPointer& /*input*/,
                                                         const AppPointer& /*output*/) {
  return NotSupported(methods::channel::kPassThruIoctlQueryRepeatMessage);
}
Status CJ2534Channel::PassThruIoctl_STOP_REPEAT_MESSAGE(const AppPointer& /*input*/) {
  return NotSupported(methods::channel::kPassThruIoctlStopRepeatMessage);
}
Status CJ2534Channel::PassThruIoctl_PROTECT_J1939_ADDR(const AppPointer& /*input*/) {
  return NotSupported(methods::channel::kPassThruIoctlProtectJ1939Addr);
}
Status CJ2534Channel::PassThruIoctl_J1850PWM_TERMINATION(const AppPointer& /*input*/) {
  return NotSupported(methods::channel::kPassThruIoctlJ1850pwmTermination);
}

}  // namespace passbridge
