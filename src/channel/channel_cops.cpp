// The ComPrimitives (CoPs) that a channel starts.

#include <span>

#include "channel/channel.h"
#include "pdu/result_map.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

constexpr pdu::ResultMap kSendResults{ERR_FAILED,
                                      {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_DEVICE_NOT_CONNECTED},
                                       {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
                                       {PDU_ERR_CLL_NOT_CONNECTED, ERR_INVALID_CHANNEL_ID},
                                       {PDU_ERR_CLL_NOT_STARTED, ERR_INVALID_CHANNEL_ID},
                                       {PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID},
                                       {PDU_ERR_TX_QUEUE_FULL, ERR_BUFFER_FULL}}};

/// The CoPs that belong to the link itself: start of communication, update, reception.
constexpr pdu::ResultMap kLinkCopResults{
    ERR_FAILED,
    {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_NOT_SUPPORTED},
     {PDU_ERR_INVALID_PARAMETERS, ERR_NOT_SUPPORTED},
     {PDU_ERR_TX_QUEUE_FULL, ERR_NOT_SUPPORTED},
     {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_CLL_NOT_CONNECTED, ERR_INVALID_CHANNEL_ID},
     {PDU_ERR_CLL_NOT_STARTED, ERR_INVALID_CHANNEL_ID},
     {PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID}}};

constexpr std::uint32_t kStartCommTimeout = 5000;  // ms

/// The TxFlags that a start of communication passes on.
constexpr std::uint32_t kStartFlags =
    WAIT_P3_MIN_ONLY | CAN_29BIT_ID | ISO15765_ADDR_TYPE | ISO15765_FRAME_PAD;

/// Identifier under which D-PDU libraries have the ComParam that pads frames; fixed, not looked up.
constexpr UNUM32 kPaddingComParam = 0x37;

void AppendBytes(CopData& packed, const AppMessage& message) {
  const std::span<const std::uint8_t> bytes = message.Bytes();
  packed.push_back(static_cast<UNUM8>(bytes.size()));
  packed.insert(packed.end(), bytes.begin(), bytes.end());
}

/// The data of a CoP for several messages: their number, little endian, then a length byte and the
/// bytes of each.
CopData PackMessages(const AppMessage& msgs, std::uint32_t count) {
  std::size_t size = sizeof count;
  for (std::uint32_t i = 0; i < count; ++i) size += 1 + msgs[i].Bytes().size();
  CopData packed;
  packed.reserve(size);
  for (unsigned shift = 0; shift < 32; shift += 8) {
    packed.push_back(static_cast<UNUM8>(count >> shift));
  }
  for (std::uint32_t i = 0; i < count; ++i) AppendBytes(packed, msgs[i]);
  return packed;
}

/// Reports what went wrong with a CoP: its start, or its registration at the next exit.
Status ReportCop(const Exits& exit, std::uint16_t point, const CopOutcome& outcome, Status mapped,
                 const char* message, bool firstCause) {
  if (mapped != STATUS_NOERROR) {
    return firstCause ? exit.Fail(point, mapped, message, outcome.started)
                      : exit.PassOn(point, mapped, message, outcome.started);
  }
  if (outcome.registered != STATUS_NOERROR) {
    const auto next = static_cast<std::uint16_t>(point + 1);
    return exit.PassOn(next, outcome.registered, "Error adding CoP to Event Processor.");
  }
  return STATUS_NOERROR;
}

}  // namespace

Status CJ2534Channel::DescribeSend(const AppMessage& msg, bool raw, CopData& data,
                                   CopControl& control) {
  const std::span<const std::uint8_t> bytes = msg.Bytes();
  data.assign(bytes.begin(), bytes.end());
  if ((msg.TxFlags() & ISO15765_FRAME_PAD) != 0) control.SetTemporarily({kPaddingComParam, 1});
  if (const Status status = AdjustCop(msg, data, control)) return status;
  if (raw) pdu::SetFlag(control.txFlags, pdu::kRawFrame);
  return STATUS_NOERROR;
}

std::uint32_t CJ2534Channel::CountForOneCop(const AppMessage& msgs, std::uint32_t count) {
  std::uint32_t alike = 1;
  // The CoPs of such messages are alike, whatever they are.
  const auto isLikeFirst = [&](const AppMessage& msg) {
    return msg.TxFlags() == msgs.TxFlags() && msg.ProtocolId() == msgs.ProtocolId();
  };
  while (alike < count && isLikeFirst(msgs[alike])) ++alike;
  if (alike == count) return alike;

  CopData data;
  CopControl first;
  const auto describe = [&](const AppMessage& msg, CopControl& control) {
    return DescribeSend(msg, msg.ProtocolId() != ProtocolId(), data, control) == STATUS_NOERROR;
  };
  if (!describe(msgs, first)) return 1;  // which fails when it is sent
  for (; alike < count; ++alike) {
    CopControl next;
    if (!describe(msgs[alike], next) || !next.IsLike(first)) break;
  }
  return alike;
}

Status CJ2534Channel::SendSendOnlyComPrimitive(const AppMessage& msgs, UNUM32* hCop,
                                               std::uint32_t interval, CopWait* wait, bool raw,
                                               std::uint32_t count) {
  return Traced(methods::channel::kSendSendOnlyComPrimitive, [&](Exits& exit) -> Status {
    CopControl control;
    control.data.Time = interval;
    control.data.NumSendCycles = interval == 0 ? 1 : PDU_CYCLES_INFINITE;
    CopStart start{PDU_COPT_SENDRECV, {}, control, nullptr, true};
    if (wait != nullptr) {
      start.waiter = wait->Waiter();
      start.patience = wait->Remaining();
    }
    if (const Status status = DescribeSend(msgs, raw, start.data, control)) {
      return exit.PassOn(1, status, "Adjusting CoP.");
    }
    if (count > 1) {
      start.data = PackMessages(msgs, count);
      pdu::SetFlag(control.txFlags, pdu::kPacked);
    }
    const CopOutcome outcome = GetLink().StartCop(start, hCop);
    if (outcome.prepared != STATUS_NOERROR) {
      return exit.PassOn(1, outcome.prepared, outcome.preparation);
    }
    if (const Status status = ReportCop(exit, 2, outcome, kSendResults(outcome.started),
                                        "Error starting Message.", true)) {
      return status;
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::SendStartComComPrimitive(const AppMessage& msg, bool expectResponse) {
  return Traced(methods::channel::kSendStartComComPrimitive, [&](Exits& exit) -> Status {
    CopControl control;
    CopWait wait(GetLink().Processor(), kStartCommTimeout);
    CopStart start{PDU_COPT_STARTCOMM, {}, control, wait.Waiter()};
    if (expectResponse) {
      control.data.NumReceiveCycles = 1;
      control.ExpectEveryResponse(1);
    }
    if (msg) {
      const std::span<const std::uint8_t> bytes = msg.Bytes();
      start.data.assign(bytes.begin(), bytes.end());
      control.data.NumSendCycles = 1;
      pdu::SetFlags(control.txFlags, msg.TxFlags() & kStartFlags);
      if (const Status status = AdjustCop(msg, start.data, control)) {
        return exit.PassOn(1, status, "Adjusting CoP.");
      }
    }
    UNUM32 hCop = PDU_HANDLE_UNDEF;
    const CopOutcome outcome = GetLink().StartCop(start, &hCop);
    if (const Status status = ReportCop(exit, 2, outcome, kLinkCopResults(outcome.started),
                                        "Error starting Message.", true)) {
      return status;
    }
    WaitForCop(wait, hCop);
    return exit.Normal();
  });
}

CopEnd CJ2534Channel::WaitForCop(CopWait& wait, UNUM32 hCop) {
  // A loss, or an end, that came before the CoP was registered has woken nobody.
  return GetLink().IsAlive() ? wait.Wait(hCop) : CopEnd::Abandoned;
}

Status CJ2534Channel::SendUpdateComPrimitive(bool wait) {
  return Traced(methods::channel::kSendUpdateComPrimitive, [&](Exits& exit) -> Status {
    CopControl control;
    control.data.TxFlag = {};
    CopStart start{PDU_COPT_UPDATEPARAM, {}, control};
    UNUM32 hCop = PDU_HANDLE_UNDEF;
    const CopOutcome outcome = GetLink().StartCop(start, &hCop);
    if (const Status status = ReportCop(exit, 1, outcome, kLinkCopResults(outcome.started),
                                        "Error starting Update ComParameter.", false)) {
      return status;
    }
    if (wait) GetLink().WaitForUpdates(kUpdateTimeout);
    return exit.Normal();
  });
}

Status CJ2534Channel::SetAndCommit(const Exits& exit, std::uint16_t point,
                                   const ComParamSetting& setting, const char* commitFailure) {
  {
    // In one step: a CoP in between would set the link's working values back.
    const platform::RecursiveMutexLock lock(GetLink().ComParams().Lock());
    if (const Status status = SetPduComParam(pdu::ComParamId(setting.param), setting.Value(),
                                             static_cast<std::uint32_t>(setting.Size()))) {
      return exit.PassOn(point, status, setting.failure);
    }
    if (const Status status = SendUpdateComPrimitive(false)) {
      const auto next = static_cast<std::uint16_t>(point + 1);
      return exit.PassOn(next, status, commitFailure);
    }
  }
  GetLink().WaitForUpdates(kUpdateTimeout);  // without the lock, which the event thread may need
  return STATUS_NOERROR;
}

Status CJ2534Channel::SendRecvOnlyPrimitive() {
  return Traced(methods::channel::kSendRecvOnlyPrimitive, [&](Exits& exit) -> Status {
    CopControl control;
    control.data.NumReceiveCycles = PDU_CYCLES_INFINITE;
    control.ExpectEveryResponse(0);
    if (const Status status = GetPduCllCreateFlags(control.txFlags)) {
      return exit.At(methods::channel::kConnectToVehicle)
          .PassOn(1, status, "Error getting PDU CLL Create Flags.");
    }
    CopStart start{PDU_COPT_SENDRECV, {}, control};
    UNUM32 hCop = PDU_HANDLE_UNDEF;
    const CopOutcome outcome = GetLink().StartCop(start, &hCop);
    if (const Status status = ReportCop(exit, 2, outcome, kLinkCopResults(outcome.started),
                                        "Creating RecvOnly CoP.", false)) {
      return status;
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::AdjustCop(const AppMessage& /*msg*/, CopData& /*data*/,
                                CopControl& /*control*/) {
  return STATUS_NOERROR;
}

}  // namespace passbridge
