#ifndef PASSBRIDGE_CONFIG_FILTER_H_
#define PASSBRIDGE_CONFIG_FILTER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "j2534/app_memory.h"
#include "j2534/cj2534.h"
#include "passbridge/d_pdu_api.h"
#include "trace/location.h"

namespace passbridge {

/// Most bytes that a filter compares.
inline constexpr std::size_t kFilterBytes = PDU_FILTER_BYTES;

/// One J2534 message filter of a channel. It keeps copies of what it needs of the application's
/// messages. Used by the thread that runs the channel's J2534 operations; no locks.
class CJ2534Filter : public CJ2534 {
 public:
  CJ2534Filter();
  CJ2534Filter(const CJ2534Filter&) = delete;
  CJ2534Filter& operator=(const CJ2534Filter&) = delete;
  ~CJ2534Filter();

  /// Checks what the application passed and keeps it. A message at a null address, or whose bytes
  /// cannot be read, counts as null.
  /// @param protocolId    of the channel
  /// @param filterType    PASS_FILTER, BLOCK_FILTER or FLOW_CONTROL_FILTER
  /// @param flowControl   with FLOW_CONTROL_FILTER only; else null
  /// @param noMixedFormat whether the channel's CAN_MIXED_FORMAT is off
  Status Initialize(std::uint32_t protocolId, std::uint32_t filterType, const AppMessage& mask,
                    const AppMessage& pattern, const AppMessage& flowControl, bool noMixedFormat);

  /// ERR_NOT_UNIQUE when both are flow-control filters of one size with the same pattern, or the
  /// same flow-control message. Masks play no part.
  Status IsUnique(const CJ2534Filter& other) const;
  /// Whether both are of one type and size with the same mask and pattern.
  bool Equals(const CJ2534Filter& other) const;

  /// PDU_FLT_PASS or PDU_FLT_BLOCK; ERR_FAILED for a filter that is none to the D-PDU library.
  Status GetPduFilterType(T_PDU_FILTER* filterType) const;
  Status GetPduFilterNumber(UNUM32* filterNumber) const;
  Status GetPduFilterCompareSize(UNUM32* compareSize) const;
  /// All kFilterBytes bytes; those beyond the compare size are 0.
  Status GetPduFilterMask(UNUM8* mask) const;
  Status GetPduFilterPattern(UNUM8* pattern) const;
  /// CAN identifier of the pattern, that is, of the responses.
  Status GetPduRespCanId(UNUM32* canId) const;
  /// CAN identifier of the flow-control message, that is, of the requests.
  Status GetPduFlowControlCanId(UNUM32* canId) const;
  /// Frame format of both, as CP_CanRespUSDTFormat and CP_CanPhysReqFormat take it.
  Status GetPduRespCanFormat(UNUM32* canFormat) const;
  /// Extended addresses of pattern and flow-control message; 0 without extended addressing.
  Status GetPduRespCanExtAddr(UNUM32* extAddr) const;
  Status GetPduFlowControlExtAddr(UNUM32* extAddr) const;

  /// 0 until the filter list gives one.
  std::uint32_t FilterId() const { return filterId_; }
  void SetFilterId(std::uint32_t filterId) { filterId_ = filterId; }
  /// Whether the filter list held an equal pass or block filter before this one.
  bool IsDuplicate() const { return isDuplicate_; }
  void SetDuplicate() { isDuplicate_ = true; }

  std::uint32_t FilterType() const { return filterType_; }
  bool IsPassOrBlock() const;
  bool IsFlowControl() const;
  bool NoMixedFormat() const { return noMixedFormat_; }
  std::uint32_t DataSize() const { return dataSize_; }
  /// The DataSize bytes that are compared.
  std::span<const std::uint8_t> Mask() const { return Significant(mask_); }
  std::span<const std::uint8_t> Pattern() const { return Significant(pattern_); }
  std::span<const std::uint8_t> FlowControl() const { return Significant(flowControl_); }

 private:
  using Bytes = std::array<std::uint8_t, kFilterBytes>;

  std::span<const std::uint8_t> Significant(const Bytes& bytes) const {
    return std::span(bytes).first(dataSize_);
  }
  std::uint32_t ExtendedAddress(const Bytes& bytes) const;
  std::uint32_t CanFormat() const;

  std::uint32_t filterId_ = 0;
  std::uint32_t dataSize_ = 0;
  std::uint32_t filterType_ = 0;
  std::uint32_t txFlags_ = 0;
  Bytes mask_{};
  Bytes pattern_{};
  Bytes flowControl_{};
  bool noMixedFormat_ = false;
  bool isDuplicate_ = false;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CONFIG_FILTER_H_
