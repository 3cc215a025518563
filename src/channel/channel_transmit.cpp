// How a channel sends messages.

#include "channel/channel.h"
#include "platform/clock.h"
#include "platform/memory_probe.h"
#include "trace/last_error.h"
#include "trace/method.h"

namespace passbridge {

namespace {

/// ISO 15765 messages of at most this many bytes are single frames, which are sent in batches.
constexpr std::uint32_t kMaxSingleFrame = 12;

/// Protocols whose messages go into one CoP per call.
bool SendsPacked(std::uint32_t protocolId) {
  return protocolId == CAN || protocolId == CAN_PS || protocolId == J1850PWM ||
         protocolId == J1850PWM_PS;
}

bool BatchesSingleFrames(std::uint32_t protocolId) {
  return protocolId == ISO15765 || protocolId == ISO15765_PS;
}

/// A raw CAN message, and the ISO 15765 channels that send it in mixed format.
struct MixedFormatRow {
  std::uint32_t message;
  std::uint32_t channel;
};

constexpr std::array<MixedFormatRow, 6> kMixedFormat{{{CAN, ISO15765},
                                                      {CAN_PS, ISO15765_PS},
                                                      {CAN_PS, FGA7274},
                                                      {SW_CAN_PS, SW_ISO15765_PS},
                                                      {FT_CAN_PS, FT_ISO15765_PS},
                                                      {FT_CAN_PS, FT_FGA7274}}};

}  // namespace

/// The time-out of one write call.
class CJ2534Channel::WriteClock {
 public:
  explicit WriteClock(std::uint32_t timeout)
      : timeout_(timeout), start_(platform::MonotonicMicroseconds()) {}

  bool HasTimeout() const { return timeout_ != 0; }
  std::uint32_t Elapsed() const {
    return static_cast<std::uint32_t>((platform::MonotonicMicroseconds() - start_) / 1000);
  }
  bool IsOver() const { return Elapsed() > timeout_; }
  std::uint32_t Remaining() const {
    const std::uint32_t elapsed = Elapsed();
    return elapsed < timeout_ ? timeout_ - elapsed : 0;
  }

 private:
  std::uint32_t timeout_;  // ms
  std::uint64_t start_;
};

Status CJ2534Channel::CheckWrite(const Exits& exit, const AppMessage& msgs,
                                 const AppValue& numMsgs) {
  if (j1962Pins_ == 0) return exit.Fail(1, ERR_PIN_INVALID, "J1962 Pins has not been set.");
  if (!msgs) return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Message Pointer.");
  if (!platform::IsWritable(numMsgs.Address(), numMsgs.Size())) {
    return exit.Fail(3, ERR_NULL_PARAMETER, "NULL Number of Messages Pointer.");
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::DeviceNotConnected(const Exits& exit, std::uint16_t point) {
  LastErrorRecord::Instance().SetLastStatus(ERR_DEVICE_NOT_CONNECTED);
  return exit.Fail(point, ERR_DEVICE_NOT_CONNECTED, "The Device is not connected.");
}

Status CJ2534Channel::CheckMessageToSend(const Exits& exit, const AppMessage& msg, bool& raw) {
  if (!vehicleConnected_) return DeviceNotConnected(exit, 5);
  if (!platform::IsReadable(msg.Address(), msg.Size())) {
    return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Message Pointer.");
  }
  if (const Status status = ValidateMessageWrite(msg.DataSize(), msg.Data(), msg.RxStatus())) {
    return exit.PassOn(7, status, "Invalid Message Received.");
  }
  if (const Status status = ValidateMessageProtocolID(msg.ProtocolId(), raw)) {
    return exit.PassOn(8, status, "Msg ProtocolID doesn't match the ProtocolID of ChannelID.");
  }
  if (const Status status = PerformProtocolAdjustments(msg)) {
    return exit.PassOn(0x0C, status, "Error perform any Protocol-specific adjustments.");
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::FinishWrite(const Exits& exit, const WriteClock& clock, bool ended) {
  if (!clock.HasTimeout()) return STATUS_NOERROR;
  constexpr Location kCopLocation = MakeLocation(Module::Channel, 0x1E, 3);
  if (!ended) return ReportError(exit.Name(), "Error Timeout.", ERR_TIMEOUT, kCopLocation, 0, true);
  if (clock.IsOver()) {
    return exit.Fail(0x0E, ERR_TIMEOUT, "Timeout PassThruWriteMsgs took too long.");
  }
  if (const UNUM32 code = lastPduErrorCode_) {
    return ReportError(exit.Name(), "CoP Error.", ERR_FAILED, kCopLocation, code, false);
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::SendAndWait(const Exits& exit, const AppMessage& msgs, std::uint32_t count,
                                  bool raw, const WriteClock& clock, const AppValue& sent) {
  lastPduErrorCode_ = 0;
  CopWait wait(clock.HasTimeout() ? Processor() : nullptr);
  UNUM32 hCop = PDU_HANDLE_UNDEF;
  if (const Status status = SendSendOnlyComPrimitive(
          msgs, &hCop, 0, clock.HasTimeout() ? wait.Waiter() : nullptr, raw, count)) {
    return exit.PassOn(0x0D, status, "Error starting Message.");
  }
  sent.Store(sent.Load() + count);
  const bool ended = !clock.HasTimeout() || wait.Wait(hCop, clock.Remaining());
  return FinishWrite(exit, clock, ended);
}

Status CJ2534Channel::PassThruWriteMsgsMultiple(const AppMessage& msgs, const AppValue& numMsgs,
                                                std::uint32_t timeout) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::PassThruWriteMsgsMultiple()", 0x26);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    const WriteClock clock(timeout);
    if (const Status status = CheckWrite(exit, msgs, numMsgs)) return status;
    const std::uint32_t count = numMsgs.Load();
    numMsgs.Store(0);
    if (count == 0) return exit.Normal();
    bool raw = false;
    for (std::uint32_t i = 0; i < count; ++i) {
      if (const Status status = CheckMessageToSend(exit, msgs[i], raw)) return status;
    }
    if (const Status status = SendAndWait(exit, msgs, count, raw, clock, numMsgs)) return status;
    return exit.Normal();
  });
}

Status CJ2534Channel::SendBatch(const Exits& exit, const AppMessage& first, std::uint32_t count,
                                const WriteClock& clock, const AppValue& sent) {
  std::uint32_t batched = count;
  const Status status = PassThruWriteMsgsMultiple(first, AppValue(batched), clock.Remaining());
  sent.Store(sent.Load() + batched);
  if (status != STATUS_NOERROR) {
    return exit.PassOn(0x1D, status, "Error sending single frames Message.");
  }
  return FinishWrite(exit, clock, true);
}

Status CJ2534Channel::PassThruWriteMsgs(const AppMessage& msgs, const AppValue& numMsgs,
                                        std::uint32_t timeout) {
  if (SendsPacked(protocolId_)) return PassThruWriteMsgsMultiple(msgs, numMsgs, timeout);
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::PassThruWriteMsgs()", 0x26);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    const WriteClock clock(timeout);
    if (const Status status = CheckWrite(exit, msgs, numMsgs)) return status;
    const std::uint32_t count = numMsgs.Load();
    numMsgs.Store(0);
    std::uint32_t batch = 0;  // single frames before message i that wait to be sent
    for (std::uint32_t i = 0; i < count; ++i) {
      bool raw = false;
      if (const Status status = CheckMessageToSend(exit, msgs[i], raw)) return status;
      if (!BatchesSingleFrames(protocolId_) || msgs[i].DataSize() > kMaxSingleFrame) {
        const Status status = SendAndWait(exit, msgs[i], 1, raw, clock, numMsgs);
        if (status != STATUS_NOERROR) return status;
        continue;
      }
      ++batch;
      if (i + 1 < count && IsSingleFrame(msgs[i + 1])) continue;
      const Status status = SendBatch(exit, msgs[i + 1 - batch], batch, clock, numMsgs);
      if (status != STATUS_NOERROR) return status;
      batch = 0;
    }
    return exit.Normal();
  });
}

bool CJ2534Channel::IsSingleFrame(const AppMessage& msg) {
  return platform::IsReadable(msg.Address(), msg.Size()) && msg.DataSize() <= kMaxSingleFrame;
}

Status CJ2534Channel::ValidateDataSize(std::uint32_t size, std::uint32_t minimum,
                                       std::uint32_t maximum) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::ValidateDataSize()", 0x06);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    if (size < minimum) {
      return exit.Fail(1, ERR_INVALID_MSG,
                       Formatted("%s (%u < %u)", "Too little data.", size, minimum));
    }
    if (size > maximum) {
      return exit.Fail(2, ERR_INVALID_MSG,
                       Formatted("%s (%u < %u)", "Too much data.", maximum, size));
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::ValidateMessage(std::uint32_t /*dataSize*/, const std::uint8_t* /*data*/,
                                      std::uint32_t /*rxStatus*/) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::ValidateMessage()", 0x32);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    return exit.Fail(0, ERR_FAILED, "This function must be overloaded!");
  });
}

Status CJ2534Channel::ValidateMessageWrite(std::uint32_t dataSize, const std::uint8_t* data,
                                           std::uint32_t rxStatus) {
  return ValidateMessage(dataSize, data, rxStatus);
}

bool CJ2534Channel::IsMixedFormat() {
  std::uint32_t format = 0;
  return parameterList_ != nullptr &&
         parameterList_->GetJ2534ParameterValue(CAN_MIXED_FORMAT, &format) == STATUS_NOERROR &&
         format != 0;
}

Status CJ2534Channel::ValidateMessageProtocolID(std::uint32_t protocolId, bool& raw) {
  constexpr Method kMethod = ChannelMethod("CJ2534Channel::ValidateMessageProtocolID()", 0x34);
  return Traced(kMethod, [&](Exits& exit) -> Status {
    raw = false;
    if (protocolId == protocolId_) return exit.Normal();
    for (const MixedFormatRow& row : kMixedFormat) {
      if (row.message != protocolId || row.channel != protocolId_ || !IsMixedFormat()) continue;
      raw = true;
      return exit.Normal();
    }
    return exit.Fail(0, ERR_MSG_PROTOCOL_ID,
                     "Msg ProtocolID doesn't match the ProtocolID of ChannelID.");
  });
}

Status CJ2534Channel::PerformProtocolAdjustments(const AppMessage& /*msg*/) {
  return STATUS_NOERROR;
}

}  // namespace passbridge
