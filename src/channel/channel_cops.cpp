// The ComPrimitives (CoPs) that a channel starts.

#include <algorithm>
#include <cstring>

#include "channel/channel.h"
#include "pdu/pdu_api.h"
#include "pdu/result_map.h"
#include "trace/method.h"

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
constexpr std::uint32_t kUpdateTimeout = 2000;     // ms

// TxFlag bits, by flag byte.
constexpr UNUM8 kRawFrame = 0x04;  // byte 0
constexpr UNUM8 kPacked = 0x20;    // byte 3

/// Identifier under which D-PDU libraries have the ComParam that pads frames; fixed, not looked up.
constexpr UNUM32 kPaddingComParam = 0x37;

void AppendBytes(std::vector<UNUM8>& packed, const AppMessage& message) {
  const std::span<const std::uint8_t> bytes = message.Bytes();
  packed.push_back(static_cast<UNUM8>(bytes.size()));
  packed.insert(packed.end(), bytes.begin(), bytes.end());
}

/// The data of a CoP for several messages: their number, little endian, then a length byte and the
/// bytes of each.
std::vector<UNUM8> PackMessages(const AppMessage& msgs, std::uint32_t count) {
  std::vector<UNUM8> packed;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    packed.push_back(static_cast<UNUM8>(count >> shift));
  }
  for (std::uint32_t i = 0; i < count; ++i) AppendBytes(packed, msgs[i]);
  return packed;
}

void SetStartFlags(CopControl& control, std::uint32_t txFlags) {
  if ((txFlags & WAIT_P3_MIN_ONLY) != 0) control.txFlags[2] |= 0x02;
  if ((txFlags & CAN_29BIT_ID) != 0) control.txFlags[2] |= 0x01;
  if ((txFlags & ISO15765_ADDR_TYPE) != 0) control.txFlags[3] |= 0x80;
  if ((txFlags & ISO15765_FRAME_PAD) != 0) control.txFlags[3] |= 0x40;
}

}  // namespace

struct CJ2534Channel::CopStart {
  T_PDU_COPT type;
  std::span<UNUM8> data;
  CopControl& control;
  CJ2534Event* waiter = nullptr;
  bool isTransmit = false;
};

struct CJ2534Channel::CopOutcome {
  T_PDU_ERROR started;
  Status registered;
};

CJ2534Channel::CopOutcome CJ2534Channel::StartCop(const CopStart& start, UNUM32* hCop) {
  platform::RecursiveMutexLock lock(pdu::PduApiLock());
  *hCop = PDU_HANDLE_UNDEF;
  const T_PDU_ERROR result = pdu::Api().PDUStartComPrimitive(
      moduleHandle_, cllHandle_, start.type, static_cast<UNUM32>(start.data.size()),
      start.data.empty() ? nullptr : start.data.data(), &start.control.data, nullptr, hCop);
  if (result != PDU_STATUS_NOERROR || eventProcessor_ == nullptr) return {result, STATUS_NOERROR};
  return {result, eventProcessor_->AddCopCondition(*hCop, start.waiter, start.isTransmit)};
}

Status CJ2534Channel::ReportCop(const Exits& exit, std::uint16_t point, const CopOutcome& outcome,
                                Status mapped, const char* message, bool firstCause) {
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

CJ2534EventProcessor* CJ2534Channel::Processor() {
  platform::RecursiveMutexLock lock(pdu::PduApiLock());
  return eventProcessor_;
}

Status CJ2534Channel::SendSendOnlyComPrimitive(const AppMessage& msgs, UNUM32* hCop,
                                               std::uint32_t interval, CJ2534Event* waiter,
                                               bool raw, std::uint32_t count) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::SendSendOnlyComPrimitive()", 0x1E);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    CopControl control;
    control.data.Time = interval;
    control.data.NumSendCycles = interval == 0 ? 1 : PDU_CYCLES_INFINITE;
    if ((msgs.TxFlags() & ISO15765_FRAME_PAD) != 0) {
      constexpr UNUM32 kPad = 1;
      control.data.TempParamUpdate = 1;
      SetPduComParam(kPaddingComParam, &kPad, sizeof kPad);
    }
    std::span<std::uint8_t> data = msgs.Bytes();
    auto size = static_cast<UNUM32>(data.size());
    if (const Status status = AdjustCop(msgs, size, data.data(), control)) {
      return exit.PassOn(1, status, "Adjusting CoP.");
    }
    data = data.first(std::min<std::size_t>(size, data.size()));
    if (raw) control.txFlags[0] |= kRawFrame;
    std::vector<UNUM8> packed;
    if (count > 1) {
      packed = PackMessages(msgs, count);
      data = packed;
      control.txFlags[3] |= kPacked;
    }
    const CopOutcome outcome = StartCop({PDU_COPT_SENDRECV, data, control, waiter, true}, hCop);
    if (const Status status = ReportCop(exit, 2, outcome, kSendResults(outcome.started),
                                        "Error starting Message.", true)) {
      return status;
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::SendStartComComPrimitive(const AppMessage& msg, bool expectResponse) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::SendStartComComPrimitive()", 0x1F);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    std::array<UNUM8, kMaxMessageData> data{};
    UNUM32 size = 0;
    CopControl control;
    if (expectResponse) {
      control.data.NumReceiveCycles = 1;
      control.ExpectEveryResponse(1);
    }
    if (msg) {
      const std::span<const std::uint8_t> bytes = msg.Bytes();
      std::copy(bytes.begin(), bytes.end(), data.begin());
      size = static_cast<UNUM32>(bytes.size());
      control.data.NumSendCycles = 1;
      SetStartFlags(control, msg.TxFlags());
      if (const Status status = AdjustCop(msg, size, data.data(), control)) {
        return exit.PassOn(1, status, "Adjusting CoP.");
      }
    }
    CopWait wait(Processor());
    UNUM32 hCop = PDU_HANDLE_UNDEF;
    const CopOutcome outcome = StartCop(
        {PDU_COPT_STARTCOMM, std::span(data).first(std::min<std::size_t>(size, data.size())),
         control, wait.Waiter()},
        &hCop);
    {
      platform::MutexLock lock(startCommLock_);
      startCommCop_ = hCop;
    }
    if (const Status status = ReportCop(exit, 2, outcome, kLinkCopResults(outcome.started),
                                        "Error starting Message.", true)) {
      return status;
    }
    wait.Wait(hCop, kStartCommTimeout);
    return exit.Normal();
  });
}

Status CJ2534Channel::SendUpdateComPrimitive(bool wait) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::SendUpdateComPrimitive()", 0x20);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    CopControl control;
    control.data.TxFlag = {};
    CopWait ended(Processor());
    UNUM32 hCop = PDU_HANDLE_UNDEF;
    const CopOutcome outcome =
        StartCop({PDU_COPT_UPDATEPARAM, {}, control, wait ? ended.Waiter() : nullptr}, &hCop);
    if (const Status status = ReportCop(exit, 1, outcome, kLinkCopResults(outcome.started),
                                        "Error starting Update ComParameter.", false)) {
      return status;
    }
    if (wait) ended.Wait(hCop, kUpdateTimeout);
    return exit.Normal();
  });
}

Status CJ2534Channel::SendRecvOnlyPrimitive() {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::SendRecvOnlyPrimitive()", 0x21);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    CopControl control;
    control.data.NumReceiveCycles = PDU_CYCLES_INFINITE;
    control.ExpectEveryResponse(0);
    if (const Status status = GetPduCllCreateFlags(control.txFlags)) {
      return ReportError(exit.Name(), "Error getting PDU CLL Create Flags.", status,
                         MakeLocation(Module::Channel, 0x0D, 1), 0, false);
    }
    const CopOutcome outcome = StartCop({PDU_COPT_SENDRECV, {}, control}, &recvOnlyCop_);
    if (const Status status = ReportCop(exit, 2, outcome, kLinkCopResults(outcome.started),
                                        "Creating RecvOnly CoP.", false)) {
      return status;
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::AdjustCop(const AppMessage& /*msg*/, UNUM32& /*size*/, UNUM8* /*data*/,
                                CopControl& /*control*/) {
  return STATUS_NOERROR;
}

}  // namespace passbridge
