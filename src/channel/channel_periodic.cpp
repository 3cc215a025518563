// Periodic messages: CoPs that the interface repeats by itself.

#include <utility>

#include "channel/channel.h"
#include "pdu/result_map.h"
#include "platform/memory_probe.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr std::uint32_t kMaxPeriodicData = 12;
constexpr std::uint32_t kMinInterval = 5;  // ms
constexpr std::uint32_t kMaxInterval = 65535;

constexpr pdu::ResultMap kCancelResults{ERR_FAILED,
                                        {{PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
                                         {PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID}}};

}  // namespace

Status CJ2534Channel::PassThruStartPeriodicMsg(const AppMessage& msg, const AppValue& msgId,
                                               std::uint32_t interval) {
  platform::MutexLock lock(operationLock_);
  if (periodicChannel_ == nullptr) periodicChannel_ = this;
  return periodicChannel_->StartPeriodicMsgEx(msg, msgId, interval);
}

Status CJ2534Channel::CheckPeriodic(const Exits& exit, const AppMessage& msg, const AppValue& msgId,
                                    std::uint32_t interval) {
  if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, "J1962 Pins has not been set.");
  if (!platform::IsReadable(msg.Address(), msg.Size())) {
    return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Message pointer.");
  }
  if (ValidatePointer(msgId) != STATUS_NOERROR) {
    return exit.Fail(3, ERR_NULL_PARAMETER, "NULL Message ID pointer.");
  }
  if (interval < kMinInterval || interval > kMaxInterval) {
    return exit.Fail(4, ERR_INVALID_TIME_INTERVAL, "Time Interval Invalid.");
  }
  if (msg.DataSize() > kMaxPeriodicData) return exit.Fail(4, ERR_INVALID_MSG, "Invalid Message.");
  if (periodicMessages_.IsFull()) {
    return exit.Fail(6, ERR_EXCEEDED_LIMIT, "Too Many Periodic Messages.");
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::StartPeriodicMsgEx(const AppMessage& msg, const AppValue& msgId,
                                         std::uint32_t interval) {
  return Traced(methods::channel::kStartPeriodicMsgEx, [&](Exits& exit) -> Status {
    if (const Status status = CheckPeriodic(exit, msg, msgId, interval)) return status;
    if (const Status status = ValidateMessageWrite(msg.DataSize(), msg.Data(), msg.RxStatus())) {
      return exit.PassOn(7, status, "Invalid Message.");
    }
    bool raw = false;
    if (const Status status = ValidateMessageProtocolID(msg.ProtocolId(), raw)) {
      return exit.PassOn(8, status, "Msg ProtocolID doesn't match the ProtocolID of ChannelID.");
    }
    UNUM32 hCop = PDU_HANDLE_UNDEF;
    if (const Status status = SendSendOnlyComPrimitive(msg, &hCop, interval, nullptr, raw, 1)) {
      const Status reported = status == ERR_BUFFER_FULL ? Status{ERR_EXCEEDED_LIMIT} : status;
      return exit.PassOn(9, reported, "Error starting Periodic Message.");
    }
    periodicMessages_.Add(hCop);
    msgId.Store(hCop);
    return exit.Normal();
  });
}

Status CJ2534Channel::PassThruStopPeriodicMsg(std::uint32_t msgId) {
  return Traced(methods::channel::kPassThruStopPeriodicMsg, [&](Exits& exit) -> Status {
    platform::MutexLock lock(operationLock_);
    if (periodicChannel_ == nullptr) {
      return exit.Fail(1, ERR_INVALID_MSG_ID, "StartPeriodic was not called.");
    }
    return periodicChannel_->StopPeriodicMsgEx(msgId);
  });
}

Status CJ2534Channel::StopPeriodicMsgEx(std::uint32_t msgId) {
  return Traced(methods::channel::kPassThruStopPeriodicMsg, [&](Exits& exit) -> Status {
    if (!HasPins()) {
      return exit.Fail(1, ERR_PIN_INVALID, "J1962 Pins value has not been set.");
    }
    if (msgId == 0) return exit.PassOn(2, ERR_INVALID_MSG_ID, "Invalid MsgID.");
    if (!periodicMessages_.Remove(msgId)) {
      return exit.PassOn(5, ERR_INVALID_MSG_ID, "Message ID was not found.");
    }
    const T_PDU_ERROR result = GetLink().CancelCop(msgId);
    if (const Status status = kCancelResults(result)) {
      return exit.Fail(3, status, "Error cancelling ComPrimitive.", result);
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::StartOnPeriodicChannel(const Exits& exit, const PeriodicChannelPlan& plan,
                                             const AppMessage& msg, const AppValue& msgId,
                                             std::uint32_t interval) {
  platform::MutexLock lock(operationLock_);
  // Without pins there is nothing that the second link could be connected to.
  if (!HasPins()) return StartPeriodicMsgEx(msg, msgId, interval);
  if (periodicChannel_ == nullptr) {
    if (const Status status = MakePeriodicChannel(exit, plan)) return status;
  }
  return periodicChannel_->StartPeriodicMsgEx(msg, msgId, interval);
}

Status CJ2534Channel::MakePeriodicChannel(const Exits& exit, const PeriodicChannelPlan& plan) {
  OwnedChannel channel = plan.make();
  channel->SetJ2534ReceiveBuffer(&GetJ2534ReceiveBuffer());
  channel->CSingleThreadSync(&GetRxEvent());
  if (const Status status =
          channel->Initialize(ModuleHandle(), ProtocolId(), ConnectFlags(), BaudRate())) {
    return exit.PassOn(2, status, "Error initializing Channel.");
  }
  if (const Status status = channel->PassThruConnect(ProtocolId(), ConnectFlags(), BaudRate())) {
    return exit.PassOn(3, status, "Error connecting to Channel.");
  }
  for (const TakenOver& taken : plan.takenOver) {
    if (const Status status = TakeOver(*channel, taken)) {
      channel->PassThruDisconnect();
      return exit.PassOn(4, status, taken.failure);
    }
  }
  ownPeriodicChannel_ = std::move(channel);
  periodicChannel_ = ownPeriodicChannel_.get();
  CJ2534Event nobodySets;
  if (plan.settlingTime != 0) nobodySets.TimedWait(plan.settlingTime);
  return STATUS_NOERROR;
}

Status CJ2534Channel::TakeOver(CJ2534Channel& periodic, const TakenOver& taken) {
  if (taken.parameter == J1962_PINS) {
    return IsPinSwitched(ProtocolId()) ? periodic.SetOneParameter(J1962_PINS, J1962Pins())
                                       : Status{STATUS_NOERROR};
  }
  std::uint32_t value = 0;
  const auto parameters = Parameters();
  const Status status = parameters != nullptr
                            ? parameters->GetJ2534ParameterValue(taken.parameter, &value)
                            : Status{ERR_FAILED};
  return status != STATUS_NOERROR ? status : periodic.SetOneParameter(taken.parameter, value);
}

void CJ2534Channel::EndPeriodicMessages() {
  periodicMessages_.Clear();
  periodicChannel_ = nullptr;
  if (ownPeriodicChannel_ == nullptr) return;
  ownPeriodicChannel_->PassThruDisconnect();
  ownPeriodicChannel_.reset();
}

}  // namespace passbridge
