// How a channel sends messages.

#include <algorithm>
#include <optional>

#include "channel/channel.h"
#include "channel/message_space.h"
#include "j2534/protocol.h"
#include "platform/clock.h"
#include "platform/memory_probe.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

/// ISO 15765 messages of at most this many bytes are single frames, which are sent in batches.
constexpr std::uint32_t kMaxSingleFrame = 12;

/// Whether a message is a single frame of ISO 15765; one that cannot be read is none.
bool IsSingleFrame(const AppMessage& msg) {
  return platform::IsReadable(msg.Address(), msg.Size()) && msg.DataSize() <= kMaxSingleFrame;
}

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

/// One write call on its way: what is checked of it, sent and waited for.
class CJ2534Channel::WriteCall {
 public:
  WriteCall(CJ2534Channel& channel, const Exits& exit, const AppMessage& msgs,
            const AppValue& numMsgs, std::uint32_t timeout)
      : channel_(channel), exit_(exit), msgs_(msgs), sent_(numMsgs), clock_(timeout) {}

  /// Checks what was passed, and starts to count what is sent.
  Status Begin();
  /// How many messages were passed.
  std::uint32_t Count() const { return count_; }
  /// Of the message with an index below that count.
  Status CheckMessage(std::uint32_t index, bool& raw);
  /// Sends messages in one CoP and waits for it if there is a time-out.
  Status Send(const AppMessage& first, std::uint32_t count, bool raw);
  /// Sends single frames, which are waited for, in as few CoPs as they need.
  Status SendBatch(const AppMessage& first, std::uint32_t count);

 private:
  Status Finish(CopEnd end) const;

  CJ2534Channel& channel_;
  const Exits& exit_;
  const AppMessage& msgs_;
  const AppValue& sent_;
  const WriteClock clock_;
  std::uint32_t count_ = 0;
  std::optional<MessageSpace> space_;
};

Status CJ2534Channel::WriteCall::Begin() {
  if (!channel_.HasPins()) {
    return exit_.Fail(1, ERR_PIN_INVALID, "J1962 Pins has not been set.");
  }
  if (!msgs_) return exit_.Fail(2, ERR_NULL_PARAMETER, "NULL Message Pointer.");
  if (!platform::IsWritable(sent_.Address(), sent_.Size())) {
    return exit_.Fail(3, ERR_NULL_PARAMETER, "NULL Number of Messages Pointer.");
  }
  count_ = sent_.Load();
  sent_.Store(0);
  space_.emplace(msgs_, count_, platform::MemoryUse::Read);
  return STATUS_NOERROR;
}

Status CJ2534Channel::WriteCall::CheckMessage(std::uint32_t index, bool& raw) {
  const AppMessage msg = msgs_[index];
  if (!channel_.IsVehicleConnected()) return channel_.ReportNotConnected(exit_, 5);
  if (!space_->Has(index, [&] { return count_ - index; })) {
    return exit_.Fail(2, ERR_NULL_PARAMETER, "NULL Message Pointer.");
  }
  if (const Status status =
          channel_.ValidateMessageWrite(msg.DataSize(), msg.Data(), msg.RxStatus())) {
    return exit_.PassOn(7, status, "Invalid Message Received.");
  }
  if (const Status status = channel_.ValidateMessageProtocolID(msg.ProtocolId(), raw)) {
    return exit_.PassOn(8, status, "Msg ProtocolID doesn't match the ProtocolID of ChannelID.");
  }
  if (const Status status = channel_.PerformProtocolAdjustments(msg)) {
    return exit_.PassOn(0x0C, status, "Error perform any Protocol-specific adjustments.");
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::WriteCall::Finish(CopEnd end) const {
  if (!clock_.HasTimeout()) return STATUS_NOERROR;
  const Exits ofCop = exit_.At(methods::channel::kSendSendOnlyComPrimitive);
  if (end == CopEnd::Abandoned) return channel_.ReportNotConnected(exit_, 5);
  if (end == CopEnd::Pending) return ofCop.Fail(3, ERR_TIMEOUT, "Error Timeout.");
  if (clock_.IsOver()) {
    return exit_.Fail(0x0E, ERR_TIMEOUT, "Timeout PassThruWriteMsgs took too long.");
  }
  if (const UNUM32 code = channel_.LastPduErrorCode()) {
    return ofCop.PassOn(3, ERR_FAILED, "CoP Error.", code);
  }
  return STATUS_NOERROR;
}

Status CJ2534Channel::WriteCall::Send(const AppMessage& first, std::uint32_t count, bool raw) {
  channel_.ClearLastPduErrorCode();
  CopWait wait(clock_.HasTimeout() ? channel_.GetLink().Processor() : nullptr, clock_.Remaining());
  UNUM32 hCop = PDU_HANDLE_UNDEF;
  if (const Status status = channel_.SendSendOnlyComPrimitive(
          first, &hCop, 0, clock_.HasTimeout() ? &wait : nullptr, raw, count)) {
    return exit_.PassOn(0x0D, status, "Error starting Message.");
  }
  sent_.Store(sent_.Load() + count);
  return Finish(clock_.HasTimeout() ? channel_.WaitForCop(wait, hCop) : CopEnd::Completed);
}

Status CJ2534Channel::WriteCall::SendBatch(const AppMessage& first, std::uint32_t count) {
  std::uint32_t batched = count;
  // 0 would mean not to wait at all.
  const std::uint32_t timeout = clock_.HasTimeout() ? std::max(clock_.Remaining(), 1U) : 0;
  const Status status = channel_.PassThruWriteMsgsMultiple(first, AppValue(batched), timeout);
  sent_.Store(sent_.Load() + batched);
  if (status != STATUS_NOERROR) {
    return exit_.PassOn(0x1D, status, "Error sending single frames Message.");
  }
  return Finish(CopEnd::Completed);
}

Status CJ2534Channel::PassThruWriteMsgsMultiple(const AppMessage& msgs, const AppValue& numMsgs,
                                                std::uint32_t timeout) {
  return Traced(methods::channel::kPassThruWriteMsgsMultiple, [&](Exits& exit) -> Status {
    WriteCall call(*this, exit, msgs, numMsgs, timeout);
    if (const Status status = call.Begin()) return status;
    const std::uint32_t count = call.Count();
    for (std::uint32_t i = 0; i < count; ++i) {
      bool raw = false;
      if (const Status status = call.CheckMessage(i, raw)) return status;
    }
    for (std::uint32_t i = 0; i < count;) {
      const std::uint32_t alike = CountForOneCop(msgs[i], count - i);
      const bool raw = msgs[i].ProtocolId() != ProtocolId();
      if (const Status status = call.Send(msgs[i], alike, raw)) return status;
      i += alike;
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::PassThruWriteMsgs(const AppMessage& msgs, const AppValue& numMsgs,
                                        std::uint32_t timeout) {
  const Sending sending = SendingOf(ProtocolId());
  if (sending == Sending::Packed) return PassThruWriteMsgsMultiple(msgs, numMsgs, timeout);
  return Traced(methods::channel::kPassThruWriteMsgs, [&](Exits& exit) -> Status {
    WriteCall call(*this, exit, msgs, numMsgs, timeout);
    if (const Status status = call.Begin()) return status;
    const std::uint32_t count = call.Count();
    std::uint32_t batch = 0;  // single frames before message i that wait to be sent
    for (std::uint32_t i = 0; i < count; ++i) {
      bool raw = false;
      if (const Status status = call.CheckMessage(i, raw)) return status;
      if (sending != Sending::Batched || msgs[i].DataSize() > kMaxSingleFrame) {
        if (const Status status = call.Send(msgs[i], 1, raw)) return status;
        continue;
      }
      ++batch;
      if (i + 1 < count && IsSingleFrame(msgs[i + 1])) continue;
      if (const Status status = call.SendBatch(msgs[i + 1 - batch], batch)) return status;
      batch = 0;
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::ValidateDataSize(std::uint32_t size, std::uint32_t minimum,
                                       std::uint32_t maximum) {
  return Traced(methods::channel::kValidateDataSize, [&](Exits& exit) -> Status {
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
  return Traced(methods::channel::kValidateMessage, [&](Exits& exit) -> Status {
    return exit.Fail(0, ERR_FAILED, "This function must be overloaded!");
  });
}

Status CJ2534Channel::ValidateMessageWrite(std::uint32_t dataSize, const std::uint8_t* data,
                                           std::uint32_t rxStatus) {
  return ValidateMessage(dataSize, data, rxStatus);
}

Status CJ2534Channel::ValidateMessageProtocolID(std::uint32_t protocolId, bool& raw) {
  return Traced(methods::channel::kValidateMessageProtocolID, [&](Exits& exit) -> Status {
    raw = false;
    if (protocolId == ProtocolId()) return exit.Normal();
    if (IsRawFrameOf(ProtocolId(), protocolId) && IsMixedFormat()) {
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
