#ifndef PASSBRIDGE_PDU_RESULT_MAP_H_
#define PASSBRIDGE_PDU_RESULT_MAP_H_

#include <array>
#include <cstddef>

#include "passbridge/d_pdu_api.h"
#include "passbridge/j2534.h"
#include "trace/location.h"

namespace passbridge::pdu {

struct Mapping {
  T_PDU_ERROR result;
  Status status;
};

/// How the results of one D-PDU call become statuses. Each call site has a table of its own, for
/// each call expects results of its own; success is success everywhere.
///
///   constexpr pdu::ResultMap kConnectResults{ERR_FAILED, {{PDU_ERR_INVALID_HANDLE, …}, …}};
///   const Status status = kConnectResults(result);
template <std::size_t N>
class ResultMap {
 public:
  constexpr ResultMap(Status otherwise, const Mapping (&rows)[N]) : otherwise_(otherwise) {
    for (std::size_t i = 0; i < N; ++i) rows_[i] = rows[i];
  }

  constexpr Status operator()(T_PDU_ERROR result) const {
    if (result == PDU_STATUS_NOERROR) return STATUS_NOERROR;
    for (const Mapping& row : rows_) {
      if (row.result == result) return row.status;
    }
    return otherwise_;
  }

 private:
  std::array<Mapping, N> rows_{};
  Status otherwise_;
};

/// The mapping of a PDUDestroyItem on a link's event item.
inline constexpr ResultMap kDestroyItemResults{
    ERR_FAILED,
    {{PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID},
     {PDU_ERR_ID_NOT_SUPPORTED, ERR_NOT_SUPPORTED}}};

}  // namespace passbridge::pdu

#endif  // PASSBRIDGE_PDU_RESULT_MAP_H_
