#ifndef PASSBRIDGE_CHANNEL_MESSAGE_H_
#define PASSBRIDGE_CHANNEL_MESSAGE_H_

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "j2534/app_memory.h"
#include "j2534/cj2534.h"
#include "passbridge/j2534.h"
#include "pdu/item.h"

namespace passbridge {

/// The RxStatus bits that tell of an event on the bus. Each reaches the application as a message
/// of its own.
inline constexpr std::uint32_t kIndicationBits = START_OF_MESSAGE | RX_BREAK | TX_DONE |
                                                 SW_CAN_HV_RX | FT_ERROR | RX_SPD_CHG_EVENT |
                                                 J1939_ADDRESS_LOST | J1939_ADDRESS_CLAIMED;

/// UniqueRespIdentifier of a raw CAN frame that arrived on a link of ISO 15765 type.
inline constexpr UNUM32 kRawFrameRespId = 0x11898;

/// The header of an indication: a CAN identifier, and an extended address where there is one.
class HeaderBytes {
 public:
  static constexpr std::size_t kCapacity = 12;

  /// False, and unchanged, when there are more bytes than fit.
  bool Assign(std::span<const std::uint8_t> bytes);
  std::span<const std::uint8_t> Bytes() const { return {bytes_.data(), size_}; }

 private:
  std::array<std::uint8_t, kCapacity> bytes_{};
  std::uint32_t size_ = 0;
};

/// One received message (data, indication or error) from the arrival of its D-PDU event item until
/// an application reads it. The payload stays in the item, which the messages made from it share;
/// the last of them destroys it. Used by one thread at a time.
class CJ2534PassThruMsg : public CJ2534 {
 public:
  /// Fills the message from a result event item.
  /// @param protocolId  of the channel; a raw CAN frame on an ISO 15765 channel gets its own
  /// @param payload     the item's data bytes, or one record of a packed result; not copied
  /// @param timestamp   microseconds
  /// ERR_INVALID_MSG when an indication's header has more than 12 bytes or the payload more than
  /// a PASSTHRU_MSG holds; a message that failed is discarded.
  Status Initialize(std::uint32_t protocolId, pdu::SharedEventItem item,
                    std::span<const std::uint8_t> payload, std::uint32_t timestamp);
  /// Makes an error message, which reads as ERR_FAILED.
  Status Initialize(std::uint32_t protocolId, const PDU_ERROR_DATA* error, std::uint32_t timestamp);

  std::uint32_t GetProtocolID() const { return protocolId_; }
  std::uint32_t GetRxStatus() const { return rxStatus_; }
  std::uint32_t GetDataSize() const { return static_cast<std::uint32_t>(data_.size()); }
  std::span<const std::uint8_t> GetData() const { return data_; }

  void SetRxStatusBit(std::uint32_t mask) { rxStatus_ |= mask; }
  void ClrRxStatusBit(std::uint32_t mask = kIndicationBits) { rxStatus_ &= ~mask; }
  /// Shortens the payload; 0 drops it.
  void SetDataSize(std::uint32_t size) {
    data_ = data_.first(std::min<std::size_t>(size, data_.size()));
  }
  void SetExtraDataIndex(std::uint32_t index) { extraDataIndex_ = index; }

  // Tests of RxStatus bits.
  bool IsLoopback() const;
  bool IsTxDone() const;
  bool IsSpdChgEvent() const;
  bool IsStartOfMessage1stByte() const;

  /// Header bytes of the two indications that carry a header. ERR_INVALID_MSG, and nothing
  /// changed, when they are too many.
  Status SetTxDoneData(std::span<const std::uint8_t> header);
  Status SetStartOfMessageData(std::span<const std::uint8_t> header);
  const HeaderBytes& TxDoneData() const { return txDoneData_; }
  const HeaderBytes& StartOfMessageData() const { return startOfMessageData_; }

  bool GetErrorFlag() const { return errorReturnValue_ != STATUS_NOERROR; }
  /// Makes the message one that reads as `returnValue`; its content is still delivered.
  void SetErrorInfo(Status returnValue, std::uint32_t errorCode, std::uint32_t errorExtra);
  Status ErrorReturnValue() const { return errorReturnValue_; }
  std::uint32_t ErrorCode() const { return errorCode_; }
  std::uint32_t ErrorExtra() const { return errorExtra_; }

  /// An indication made from this message: its fields and headers, but no payload, no error, and
  /// no item while the payload's own message keeps it.
  CJ2534PassThruMsg MakeIndication(std::uint32_t rxStatus) const;

  /// Gives the message away. What stays are its fields, without the payload and the item.
  CJ2534PassThruMsg HandOver();

  /// Copies the message to the application. An indication's header takes the place of the payload.
  void GetPassThruMsg(const AppMessage& out) const;

  /// Lets go of the event item; the result of PDUDestroyItem where this was its last user.
  T_PDU_ERROR ReleaseEventItem();

 private:
  bool Has(std::uint32_t bits) const { return (rxStatus_ & bits) != 0; }
  Status TakeTxDoneHeader(const PDU_RESULT_DATA& result);
  std::span<const std::uint8_t> OutputBytes() const;

  std::uint32_t protocolId_ = 0;
  std::uint32_t rxStatus_ = 0;
  std::uint32_t timestamp_ = 0;
  std::uint32_t extraDataIndex_ = 0;
  std::span<const std::uint8_t> data_;  // in the event item
  HeaderBytes txDoneData_;
  HeaderBytes startOfMessageData_;
  pdu::SharedEventItem item_;
  Status errorReturnValue_ = STATUS_NOERROR;
  std::uint32_t errorCode_ = 0;
  std::uint32_t errorExtra_ = 0;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_MESSAGE_H_
