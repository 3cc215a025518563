#include "channel/receive_buffer.h"

#include <array>
#include <utility>

#include "pdu/result_map.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

/// What of the data message's RxStatus an indication about the same identifier repeats.
constexpr std::uint32_t kIdentifierBits = ISO15765_ADDR_TYPE | CAN_29BIT_ID;

/// The indications besides TX_DONE, in the order in which they are stored.
constexpr std::array<std::uint32_t, 7> kFurtherIndications{
    RX_SPD_CHG_EVENT,   SW_CAN_HV_RX,         FT_ERROR, RX_BREAK, START_OF_MESSAGE,
    J1939_ADDRESS_LOST, J1939_ADDRESS_CLAIMED};

}  // namespace

Status CJ2534ReceiveBuffer::AddPassThruMsg(CJ2534PassThruMsg&& message) {
  return Traced(methods::receive_buffer::kAddPassThruMsg, [&](Exits& exit) -> Status {
    platform::MutexLock lock(lock_);
    if (suspended_) return exit.Normal();
    if (messageCount_ >= kCapacity) message.SetErrorInfo(ERR_BUFFER_OVERFLOW, 0, 0);

    const std::uint32_t rxStatus = message.GetRxStatus();
    const bool isData = message.IsTxDone() ? message.IsLoopback()
                                           : message.IsLoopback() || message.GetDataSize() != 0;
    if ((rxStatus & kIndicationBits) == 0) {
      if (isData) Store(std::move(message));
      return exit.Normal();
    }
    message.ClrRxStatusBit();
    if ((rxStatus & TX_DONE) != 0) {
      CJ2534PassThruMsg indication =
          message.MakeIndication(TX_MSG_TYPE | TX_DONE | (rxStatus & kIdentifierBits));
      indication.SetTxDoneData(message.TxDoneData().Bytes());
      Store(std::move(indication));
    }
    if (isData) Store(CJ2534PassThruMsg(message));
    StoreIndications(message, rxStatus);
    return exit.Normal();
  });
}

void CJ2534ReceiveBuffer::StoreIndications(const CJ2534PassThruMsg& message,
                                           std::uint32_t rxStatus) {
  for (const std::uint32_t bit : kFurtherIndications) {
    if ((rxStatus & bit) == 0) continue;
    CJ2534PassThruMsg indication = message.MakeIndication(bit);
    if (bit == START_OF_MESSAGE) {
      indication.SetRxStatusBit(rxStatus & kIdentifierBits);
      indication.SetStartOfMessageData(message.StartOfMessageData().Bytes());
    }
    Store(std::move(indication));
  }
}

void CJ2534ReceiveBuffer::Store(CJ2534PassThruMsg&& message) {
  if (!message.GetErrorFlag()) ++messageCount_;
  messages_.Add(std::move(message));
}

Status CJ2534ReceiveBuffer::ReadPassThruMsg(const AppMessage& out) {
  return Traced(methods::receive_buffer::kReadPassThruMsg, [&](Exits& exit) -> Status {
    CJ2534PassThruMsg message;
    if (!Take(message)) return exit.PassOn(1, ERR_BUFFER_EMPTY, "Receive Buffer was empty.");
    message.GetPassThruMsg(out);

    const T_PDU_ERROR destroyed = message.ReleaseEventItem();
    if (const Status status = pdu::kDestroyItemResults(destroyed)) {
      return exit.PassOn(6, status, "Error Destroying Event Item.", destroyed);
    }
    if (message.GetErrorFlag()) {
      // The text has no closing parenthesis; applications that show it expect it so.
      return exit.PassOn(5, message.ErrorReturnValue(),
                         Formatted("%s (0x%08X/0x%08X", "The D-PDU API returned Error Code/Info.",
                                   message.ErrorCode(), message.ErrorExtra()));
    }
    return exit.Normal();
  });
}

bool CJ2534ReceiveBuffer::Take(CJ2534PassThruMsg& message) {
  platform::MutexLock lock(lock_);
  if (messages_.IsEmpty()) {
    messageCount_ = 0;
    return false;
  }
  messages_.Take(message);
  if (!message.GetErrorFlag()) --messageCount_;
  return true;
}

std::size_t CJ2534ReceiveBuffer::Size() {
  platform::MutexLock lock(lock_);
  return messages_.Size();
}

Status CJ2534ReceiveBuffer::Clear() {
  return Traced(methods::receive_buffer::kClear, [&](Exits& exit) -> Status {
    MessageQueue dropped;  // whose items go back without the lock
    platform::MutexLock lock(lock_);
    dropped.Swap(messages_);
    messageCount_ = 0;
    return exit.Normal();
  });
}

Status CJ2534ReceiveBuffer::SetSuspended(const Method& method, bool suspended) {
  return Traced(method, [&](Exits& exit) -> Status {
    platform::MutexLock lock(lock_);
    suspended_ = suspended;
    return exit.Normal();
  });
}

Status CJ2534ReceiveBuffer::Suspend() {
  return SetSuspended(methods::receive_buffer::kSuspend, true);
}

Status CJ2534ReceiveBuffer::Resume() {
  return SetSuspended(methods::receive_buffer::kResume, false);
}

}  // namespace passbridge
