#include "channel/message.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "pdu/flag_bytes.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

/// A receive flag, and the RxStatus bit that it stands for.
struct FlagRow {
  pdu::Flag flag;
  std::uint32_t rxStatus;
};

constexpr std::array<FlagRow, 10> kReceiveFlags{{
    {{0, 0x01}, FT_ERROR},
    {{1, 0x01}, SW_CAN_HV_RX},
    {{1, 0x04}, RX_SPD_CHG_EVENT},
    {{2, 0x01}, CAN_29BIT_ID},
    {{3, 0x80}, ISO15765_ADDR_TYPE},
    {{3, 0x10}, ISO15765_PADDING_ERROR},
    {{3, 0x08}, TX_DONE},
    {{3, 0x04}, RX_BREAK},
    {{3, 0x02}, START_OF_MESSAGE},
    {{3, 0x01}, TX_MSG_TYPE},
}};

std::uint32_t RxStatusOf(const PDU_FLAG_DATA& flags) {
  std::uint32_t rxStatus = 0;
  for (const FlagRow& row : kReceiveFlags) {
    if (pdu::HasFlag(flags, row.flag)) rxStatus |= row.rxStatus;
  }
  return rxStatus;
}

/// The header bytes that came beside a result, or null where there is no extra information.
struct Header {
  explicit Header(const PDU_RESULT_DATA& result)
      : present(result.pExtraInfo != nullptr && (result.pExtraInfo->pHeaderBytes != nullptr ||
                                                 result.pExtraInfo->NumHeaderBytes == 0)) {
    if (present) bytes = {result.pExtraInfo->pHeaderBytes, result.pExtraInfo->NumHeaderBytes};
  }

  bool present;
  std::span<const std::uint8_t> bytes;
};

Status StoreHeader(const Method& method, HeaderBytes& area, std::span<const std::uint8_t> header) {
  return Traced(method, [&](Exits& exit) -> Status {
    if (header.data() == nullptr && !header.empty()) {
      return exit.PassOn(1, ERR_NULL_PARAMETER, "NULL Data pointer.");
    }
    if (!area.Assign(header)) return exit.PassOn(2, ERR_INVALID_MSG, "Too Much Data.");
    return exit.Normal();
  });
}

}  // namespace

bool HeaderBytes::Assign(std::span<const std::uint8_t> bytes) {
  if (bytes.size() > kCapacity) return false;
  std::copy(bytes.begin(), bytes.end(), bytes_.begin());
  size_ = static_cast<std::uint32_t>(bytes.size());
  return true;
}

Status CJ2534PassThruMsg::Initialize(std::uint32_t protocolId, pdu::SharedEventItem item,
                                     std::span<const std::uint8_t> payload,
                                     std::uint32_t timestamp) {
  return Traced(methods::message::kInitialize, [&](Exits& exit) -> Status {
    if (!item) return exit.Fail(1, ERR_NULL_PARAMETER, "NULL pointer.");
    const auto* const result = static_cast<const PDU_RESULT_DATA*>(item->pData);
    if (result == nullptr) return exit.Fail(2, ERR_NULL_PARAMETER, "NULL pointer.");
    if (payload.size() > kMaxMessageData) return exit.Fail(5, ERR_INVALID_MSG, "Too Much Data.");
    item_ = std::move(item);
    protocolId_ =
        result->UniqueRespIdentifier == kRawFrameRespId ? RawFrameProtocol(protocolId) : protocolId;
    rxStatus_ = RxStatusOf(result->RxFlag);
    timestamp_ = timestamp;
    data_ = payload;
    extraDataIndex_ = GetDataSize();

    if (IsTxDone()) {
      ProtocolType type = 0;
      if (const Status status = GetProtocolType(protocolId_, &type)) {
        return exit.PassOn(2, status, "NULL Invalid ProtocolID Type.");
      }
      if (!IsIso15765Type(type)) {
        ClrRxStatusBit(TX_DONE);
      } else if (data_.empty() && !Header(*result).present) {
        return exit.Fail(3, ERR_NULL_PARAMETER, "NULL ExtraInfo pointer.");
      } else if (const Status status = TakeTxDoneHeader(*result)) {
        return exit.Fail(4, status, "Data byte pointer failed.");
      }
    }
    if (IsStartOfMessage1stByte()) {
      const Header header(*result);
      if (!header.present) return exit.Fail(3, ERR_NULL_PARAMETER, "NULL ExtraInfo pointer.");
      if (const Status status = SetStartOfMessageData(header.bytes)) {
        return exit.Fail(4, status, "Data byte pointer failed.");
      }
    }
    return exit.Normal();
  });
}

Status CJ2534PassThruMsg::TakeTxDoneHeader(const PDU_RESULT_DATA& result) {
  if (data_.empty()) return SetTxDoneData(Header(result).bytes);
  const std::size_t size = Has(ISO15765_ADDR_TYPE) ? 5 : 4;
  return SetTxDoneData(data_.first(std::min(size, data_.size())));
}

Status CJ2534PassThruMsg::Initialize(std::uint32_t protocolId, const PDU_ERROR_DATA* error,
                                     std::uint32_t timestamp) {
  return Traced(methods::message::kInitializeError, [&](Exits& exit) -> Status {
    if (error == nullptr) return exit.PassOn(1, ERR_NULL_PARAMETER, "NULL ErrorData pointer.");
    *this = CJ2534PassThruMsg();
    protocolId_ = protocolId;
    timestamp_ = timestamp;
    SetErrorInfo(ERR_FAILED, error->ErrorCodeId, error->ExtraErrorInfoId);
    return exit.Normal();
  });
}

// The tests differ in their bits and in what they trace.
#define PASSBRIDGE_RX_STATUS_TEST(method, bits, yes, no)        \
  bool CJ2534PassThruMsg::method() const {                      \
    TraceEnter("CJ2534PassThruMsg::" #method "()");             \
    const bool set = Has(bits);                                 \
    TraceLeave(set ? "CJ2534PassThruMsg::" #method "() - " yes  \
                   : "CJ2534PassThruMsg::" #method "() - " no); \
    return set;                                                 \
  }
PASSBRIDGE_RX_STATUS_TEST(IsLoopback, TX_MSG_TYPE, "This is a Loopback message.",
                          "This is not a Loopback message.")
PASSBRIDGE_RX_STATUS_TEST(IsTxDone, TX_DONE, "The TX_DONE Flag is set.",
                          "The TX_DONE Flag is not set.")
PASSBRIDGE_RX_STATUS_TEST(IsSpdChgEvent, RX_SPD_CHG_EVENT, "The RX_SPD_CHG_EVENT Flag is set.",
                          "The RX_SPD_CHG_EVENT Flag is not set.")
PASSBRIDGE_RX_STATUS_TEST(IsStartOfMessage1stByte, START_OF_MESSAGE,
                          "The START_OF_MESSAGE_1ST_BYTE Flag is set.",
                          "The START_OF_MESSAGE_1ST_BYTE Flag is not set.")
#undef PASSBRIDGE_RX_STATUS_TEST

Status CJ2534PassThruMsg::SetTxDoneData(std::span<const std::uint8_t> header) {
  return StoreHeader(methods::message::kSetTxDoneData, txDoneData_, header);
}

Status CJ2534PassThruMsg::SetStartOfMessageData(std::span<const std::uint8_t> header) {
  return StoreHeader(methods::message::kSetStartOfMessageData, startOfMessageData_, header);
}

void CJ2534PassThruMsg::SetErrorInfo(Status returnValue, std::uint32_t errorCode,
                                     std::uint32_t errorExtra) {
  errorReturnValue_ = returnValue;
  errorCode_ = errorCode;
  errorExtra_ = errorExtra;
}

CJ2534PassThruMsg CJ2534PassThruMsg::MakeIndication(std::uint32_t rxStatus) const {
  CJ2534PassThruMsg indication;
  indication.protocolId_ = protocolId_;
  indication.rxStatus_ = rxStatus;
  indication.timestamp_ = timestamp_;
  if (data_.empty()) indication.item_ = item_;
  return indication;
}

CJ2534PassThruMsg CJ2534PassThruMsg::HandOver() {
  CJ2534PassThruMsg given = std::move(*this);
  data_ = {};
  return given;
}

std::span<const std::uint8_t> CJ2534PassThruMsg::OutputBytes() const {
  if (!data_.empty()) return data_;
  if (!txDoneData_.Bytes().empty()) return txDoneData_.Bytes();
  return startOfMessageData_.Bytes();
}

void CJ2534PassThruMsg::GetPassThruMsg(const AppMessage& out) const {
  const std::span<const std::uint8_t> bytes = OutputBytes();
  out.SetProtocolId(protocolId_);
  out.SetRxStatus(rxStatus_);
  out.SetTxFlags(0);
  out.SetTimestamp(timestamp_);
  out.SetDataSize(static_cast<std::uint32_t>(bytes.size()));
  out.SetExtraDataIndex(extraDataIndex_);
  if (!bytes.empty()) std::memcpy(out.Data(), bytes.data(), bytes.size());
}

T_PDU_ERROR CJ2534PassThruMsg::ReleaseEventItem() {
  data_ = {};
  return item_.Release();
}

}  // namespace passbridge
