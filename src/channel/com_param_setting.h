#ifndef PASSBRIDGE_CHANNEL_COM_PARAM_SETTING_H_
#define PASSBRIDGE_CHANNEL_COM_PARAM_SETTING_H_

#include <cstddef>
#include <span>

#include "passbridge/d_pdu_api.h"
#include "pdu/com_param.h"

namespace passbridge {

/// A ComParam that a protocol sets when it connects, and what is reported when that fails.
class ComParamSetting {
 public:
  /// A number of 4 bytes.
  constexpr ComParamSetting(pdu::ComParam comParam, UNUM32 number, const char* ifItFails)
      : param(comParam), failure(ifItFails), number_(number) {}
  /// A byte field, which may be empty. The bytes are not copied.
  constexpr ComParamSetting(pdu::ComParam comParam, std::span<const UNUM8> bytes,
                            const char* ifItFails)
      : param(comParam), failure(ifItFails), bytes_(bytes), isByteField_(true) {}

  /// What SetPduComParam takes; an empty field is no null pointer.
  const void* Value() const {
    if (!isByteField_ || bytes_.empty()) return &number_;
    return bytes_.data();
  }
  std::size_t Size() const { return isByteField_ ? bytes_.size() : sizeof number_; }

  pdu::ComParam param;
  const char* failure;

 private:
  UNUM32 number_ = 0;
  std::span<const UNUM8> bytes_;
  bool isByteField_ = false;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_COM_PARAM_SETTING_H_
