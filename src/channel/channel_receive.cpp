// How a channel receives messages: from the event thread into the buffer, and out to applications.

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "channel/channel.h"
#include "channel/message_space.h"
#include "platform/clock.h"
#include "platform/memory_probe.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

/// A packed result: the number of records, then records of a time stamp, a length and data, each
/// of the same size; numbers in this machine's byte order.
constexpr std::size_t kPackedHeaderSize = 4;
constexpr std::size_t kRecordSize = 17;
constexpr std::size_t kRecordDataOffset = 5;
constexpr std::size_t kMaxRecordData = kRecordSize - kRecordDataOffset;

UNUM32 LoadNative(std::span<const std::uint8_t> bytes) {
  UNUM32 value = 0;
  std::memcpy(&value, bytes.data(), sizeof value);
  return value;
}

bool IsPacked(const PDU_RESULT_DATA& result) {
  return pdu::HasFlag(result.RxFlag, pdu::kPacked) && result.pDataBytes != nullptr;
}

/// The time-out of one read, 0 for none. Messages that are there already take no time to speak of:
/// the clock is looked at before and after each wait, and now and then.
class ReadClock {
 public:
  explicit ReadClock(std::uint32_t timeout) : timeout_(timeout) {}

  bool IsOver() {
    if (timeout_ == 0 || ++looks_ % kLooksForEach != 0) return false;
    return Elapsed() > timeout_;
  }
  /// What is left for a wait, ms. After that IsOver looks at the clock, whatever it did last.
  std::uint32_t Remaining() {
    looks_ = kLooksForEach - 1;
    const std::uint64_t elapsed = Elapsed();
    return elapsed < timeout_ ? timeout_ - static_cast<std::uint32_t>(elapsed) : 0;
  }

 private:
  static constexpr std::uint32_t kLooksForEach = 32;

  /// Since this was asked first, ms.
  std::uint64_t Elapsed() {
    const std::uint64_t now = platform::MonotonicMicroseconds();
    if (start_ == 0) start_ = now;
    return (now - start_) / 1000;
  }

  std::uint32_t timeout_;    // ms
  std::uint64_t start_ = 0;  // 0: not looked at yet
  std::uint32_t looks_ = 0;
};

/// One message event releases one reader, which may leave messages for others that wait.
class NextReader {
 public:
  NextReader(CJ2534ReceiveBuffer& buffer, CJ2534Event& event) : buffer_(buffer), event_(event) {}
  NextReader(const NextReader&) = delete;
  NextReader& operator=(const NextReader&) = delete;
  ~NextReader() {
    if (buffer_.HasMessages()) event_.Set();
  }

 private:
  CJ2534ReceiveBuffer& buffer_;
  CJ2534Event& event_;
};

Status ReportReadTimeout(const Exits& exit, std::uint32_t count, bool sawEmptyBuffer) {
  if (count != 0) return exit.Fail(6, ERR_TIMEOUT, "Error Timeout.");
  if (sawEmptyBuffer) return exit.Fail(7, ERR_BUFFER_EMPTY, "Error Empty Receive Buffer.");
  return exit.Fail(8, ERR_TIMEOUT, "Error Timeout.");
}

}  // namespace

Status CJ2534Channel::PassThruReadMsgs(const AppMessage& msgs, const AppValue& numMsgs,
                                       std::uint32_t timeout) {
  return Traced(methods::channel::kPassThruReadMsgs, [&](Exits& exit) -> Status {
    if (!platform::IsWritable(numMsgs.Address(), numMsgs.Size())) {
      return exit.Fail(3, ERR_NULL_PARAMETER, "NULL Number of Messages pointer.");
    }
    const std::uint32_t requested = numMsgs.Load();
    numMsgs.Store(0);
    if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, "J1962 Pins has not been set.");
    MessageSpace space(msgs, requested, platform::MemoryUse::Write);
    const auto waiting = [this] { return GetJ2534ReceiveBuffer().Size(); };
    if (!msgs || (requested != 0 && !space.Has(0, waiting))) {
      return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Message pointer.");
    }

    ReadClock clock(timeout);
    bool sawEmptyBuffer = false;
    std::optional<NextReader> nextReader;
    for (std::uint32_t count = 0; count < requested;) {
      if (clock.IsOver()) return ReportReadTimeout(exit, count, sawEmptyBuffer);
      if (!space.Has(count, waiting)) {
        return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Message pointer.");
      }
      const Status status = GetJ2534ReceiveBuffer().ReadPassThruMsg(msgs[count]);
      if (status == STATUS_NOERROR) {
        numMsgs.Store(++count);
        continue;
      }
      if (status == ERR_BUFFER_EMPTY && timeout == 0 && HasMoreQueued()) continue;
      if (!IsVehicleConnected()) return ReportNotConnected(exit, 8);
      if (status != ERR_BUFFER_EMPTY || timeout == 0) {
        if (count == 0) {
          return exit.PassOn(9, status, "Error reading message from Receive Buffer.");
        }
        return Exits::NormalAs(
            "CJ2534Channel::PassThruReadMsgs() - Request number of messages were not returned "
            "with Timeout=0.");
      }
      sawEmptyBuffer = true;
      nextReader.emplace(GetJ2534ReceiveBuffer(), GetRxEvent());
      if (const std::uint32_t rest = clock.Remaining()) GetLink().Await(GetRxEvent(), rest);
    }
    return exit.Normal();
  });
}

/// Handles what is in the link's queue, and tells whether there are messages to read now.
bool CJ2534Channel::HasMoreQueued() {
  GetLink().ServeQueued();
  return GetJ2534ReceiveBuffer().HasMessages();
}

Status CJ2534Channel::AddResultData(pdu::SharedEventItem item) {
  return Traced(methods::channel::kAddResultData, [&](Exits& exit) -> Status {
    if (!item) return exit.Fail(1, ERR_NULL_PARAMETER, "NULL Event Item pointer.");
    const auto* const result = static_cast<const PDU_RESULT_DATA*>(item->pData);
    if (result == nullptr) return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Result Data pointer.");
    std::span<const std::uint8_t> data;
    if (result->pDataBytes != nullptr) data = {result->pDataBytes, result->NumDataBytes};

    bool stored = false;
    const UNUM32 timestamp = item->Timestamp;
    const Status status = IsPacked(*result) ? AddPackedRecords(item, data, stored)
                                            : AddMessage(std::move(item), data, timestamp, stored);
    if (!stored) return exit.Fail(3, status, "Could not process data.");
    GetRxEvent().Set();
    return exit.Normal();
  });
}

Status CJ2534Channel::AddPackedRecords(const pdu::SharedEventItem& item,
                                       std::span<const std::uint8_t> packed, bool& stored) {
  // What runs past the item, or past its record, is refused; the records before it are good.
  if (packed.size() < kPackedHeaderSize) return ERR_INVALID_MSG;
  Status last = ERR_INVALID_MSG;
  const UNUM32 count = LoadNative(packed);
  packed = packed.subspan(kPackedHeaderSize);
  for (UNUM32 i = 0; i < count; ++i) {
    if (packed.size() < kRecordSize) return ERR_INVALID_MSG;
    const std::span<const std::uint8_t> record = packed.first(kRecordSize);
    packed = packed.subspan(kRecordSize);
    const std::size_t length = record[kRecordDataOffset - 1];
    last = length <= kMaxRecordData ? AddMessage(item, record.subspan(kRecordDataOffset, length),
                                                 LoadNative(record), stored)
                                    : Status{ERR_INVALID_MSG};
  }
  return last;
}

Status CJ2534Channel::AddMessage(pdu::SharedEventItem item, std::span<const std::uint8_t> payload,
                                 std::uint32_t timestamp, bool& stored) {
  return Traced(methods::channel::kAddResultData, [&](Exits& exit) -> Status {
    CJ2534PassThruMsg msg;
    if (const Status status = msg.Initialize(ProtocolId(), std::move(item), payload, timestamp)) {
      return exit.PassOn(5, status, "Error initializing J2534 PassThruMsg object.");
    }
    if (const Status status =
            ValidateMessageRead(msg.GetDataSize(), msg.GetData().data(), msg.GetRxStatus())) {
      return exit.PassOn(6, status, "Error initializing J2534 PassThruMsg object.");
    }
    if (const Status status = PerformProtocolAdjustments(&msg)) {
      return exit.PassOn(7, status, "Error performing Protocol-specific adjustments.");
    }
    if (const Status status = GetJ2534ReceiveBuffer().AddPassThruMsg(msg.HandOver())) {
      return exit.PassOn(8, status, "Error adding J2534 PassThruMsg object to Receive Buffer.");
    }
    stored = true;  // whatever becomes of the rest
    if (const Status status = PerformPostProcessing(&msg)) {
      return exit.PassOn(9, status, "Error performing Protocol-specific adjustments.");
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::ValidateMessageRead(std::uint32_t dataSize, const std::uint8_t* data,
                                          std::uint32_t rxStatus) {
  return ValidateMessage(dataSize, data, rxStatus);
}

Status CJ2534Channel::PerformProtocolAdjustments(CJ2534PassThruMsg* /*msg*/) {
  return STATUS_NOERROR;
}

Status CJ2534Channel::PerformPostProcessing(CJ2534PassThruMsg* msg) {
  return Traced(methods::channel::kPerformPostProcessing, [&](Exits& exit) -> Status {
    if (msg == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL CJ2534PassThruMsg pointer.");
    }
    return msg->IsSpdChgEvent() ? FollowLinkSpeed(exit) : exit.Normal();
  });
}

Status CJ2534Channel::FollowLinkSpeed(const Exits& exit) {
  const UNUM32 comParamId = pdu::ComParamId(pdu::ComParam::CP_Baudrate);
  UNUM32 baudRate = 0;
  Status status = GetPDUComParam(comParamId);
  if (status == STATUS_NOERROR) status = GetPDUValue(comParamId, &baudRate);
  if (status != STATUS_NOERROR) {
    return exit.PassOn(2, status, "Error finding J2534 SW_CAN_HS_DATA_RATE parameter.");
  }
  SetBaudRate(baudRate);
  CJ2534Parameter* dataRate = nullptr;
  const auto parameters = Parameters();
  if (parameters == nullptr) return exit.Fail(4, ERR_FAILED, "Null pointer to CJ2534Parameter.");
  if (const Status missing = parameters->GetJ2534Parameter(DATA_RATE, &dataRate)) {
    return exit.PassOn(3, missing, "Error getting pointer to CJ2534Parameter.");
  }
  if (const Status refused = dataRate->SetValue(ProtocolId(), baudRate)) {
    return exit.PassOn(5, refused, "Error setting J2534 Parameter value.");
  }
  dataRate->ClearModified();  // the link has it already
  return exit.Normal();
}

}  // namespace passbridge
