#ifndef PASSBRIDGE_CONFIG_PARAMETER_H_
#define PASSBRIDGE_CONFIG_PARAMETER_H_

#include <atomic>
#include <cstdint>

#include "j2534/cj2534.h"
#include "passbridge/d_pdu_api.h"
#include "trace/location.h"

namespace passbridge {

/// One J2534 configuration parameter of one channel. Values are in J2534 units until
/// GetConvertedPDUValue. Used by the thread that runs the channel's J2534 operations; no locks.
class CJ2534Parameter : public CJ2534 {
 public:
  CJ2534Parameter();
  explicit CJ2534Parameter(std::uint32_t parameterId);

  /// The object identifier of the ComParam that a parameter drives; 0 for none, and for a parameter
  /// that is not known (ERR_NOT_SUPPORTED).
  static Status GetPduComParamId(std::uint32_t parameterId, UNUM32* comParamId);
  /// The value on a new channel; 0xFFFFFFFF for a parameter that is not known
  /// (ERR_NOT_SUPPORTED).
  static Status GetDefaultValue(std::uint32_t protocolId, std::uint32_t parameterId,
                                std::uint32_t* value);
  /// ERR_INVALID_IOCTL_VALUE unless a channel of the ProtocolID can have the value.
  static Status ValidateValue(std::uint32_t protocolId, std::uint32_t parameterId,
                              std::uint32_t value);

  /// Looks up ComParam and default, and marks the parameter as modified.
  /// @param protocolId of the channel
  Status Initialize(std::uint32_t protocolId);

  /// A value that is not accepted changes nothing; an equal one leaves the mark as it was.
  Status SetValue(std::uint32_t protocolId, std::uint32_t value);
  Status GetValue(std::uint32_t* value) const;

  Status SetParameter(std::uint32_t parameterId);
  Status GetParameter(std::uint32_t* parameterId) const;

  /// The value as its ComParam takes it; times are in microseconds then.
  /// @param currentPduValue the ComParam's value on the link: PARITY and DATA_BITS each replace
  ///        their share of it. A configuration that does not exist is refused with ERR_FAILED.
  Status GetConvertedPDUValue(UNUM32* pduValue, UNUM32 currentPduValue) const;

  /// 0 for a parameter that drives no ComParam.
  UNUM32 PduComParamId() const { return pduComParamId_; }
  /// Whether the next download writes the value to the link.
  bool Modified() const { return modified_; }
  /// For a value that was read from the link.
  void ClearModified() { modified_ = false; }

 private:
  std::uint32_t parameterId_ = 0;
  UNUM32 pduComParamId_ = 0;
  std::atomic<std::uint32_t> value_{0};
  std::atomic<bool> modified_{false};
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CONFIG_PARAMETER_H_
