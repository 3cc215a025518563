#include "virtual_vci/links/cop.h"

#include <algorithm>

namespace virtual_vci {

namespace {

constexpr std::size_t kCountSize = 4;
constexpr UNUM32 kMaxMaskBytes = 4200;

bool Readable(UNUM32 count, const void* pointer) { return count == 0 || pointer != nullptr; }

bool ReadExpected(const PDU_EXP_RESP_DATA& data, ExpectedResponse& out) {
  if (data.NumMaskPatternBytes > kMaxMaskBytes ||
      !Readable(data.NumUniqueRespIds, data.pUniqueRespIds) ||
      !Readable(data.NumMaskPatternBytes, data.pMaskData) ||
      !Readable(data.NumMaskPatternBytes, data.pPatternData)) {
    return false;
  }
  out.acceptanceId = data.AcceptanceId;
  out.mask.assign(data.pMaskData, data.pMaskData + data.NumMaskPatternBytes);
  out.pattern.assign(data.pPatternData, data.pPatternData + data.NumMaskPatternBytes);
  out.uniqueRespIds.assign(data.pUniqueRespIds, data.pUniqueRespIds + data.NumUniqueRespIds);
  return true;
}

T_PDU_ERROR ReadControl(const PDU_COP_CTRL_DATA& control, Cop& cop) {
  if (control.NumSendCycles < PDU_CYCLES_INFINITE ||
      control.NumReceiveCycles < PDU_CYCLES_MULTIPLE ||
      !Readable(control.TxFlag.NumFlagBytes, control.TxFlag.pFlagData) ||
      !Readable(control.NumPossibleExpectedResponses, control.pExpectedResponseArray)) {
    return PDU_ERR_INVALID_PARAMETERS;
  }
  cop.time = Micros{control.Time} * 1000;
  cop.sendCycles = control.NumSendCycles;
  cop.receiveCycles = control.NumReceiveCycles;
  std::copy_n(control.TxFlag.pFlagData,
              std::min<std::size_t>(control.TxFlag.NumFlagBytes, cop.txFlags.size()),
              cop.txFlags.begin());
  cop.expected.resize(control.NumPossibleExpectedResponses);
  for (std::size_t i = 0; i < cop.expected.size(); ++i) {
    if (!ReadExpected(control.pExpectedResponseArray[i], cop.expected[i]))
      return PDU_ERR_INVALID_PARAMETERS;
  }
  return PDU_STATUS_NOERROR;
}

}  // namespace

bool ExpectedResponse::Matches(std::span<const UNUM8> bytes, UNUM32 uniqueRespId) const {
  return bytes.size() >= mask.size() && MayMatch(bytes, uniqueRespId);
}

bool ExpectedResponse::MayMatch(std::span<const UNUM8> bytes, UNUM32 uniqueRespId) const {
  if (!uniqueRespIds.empty() &&
      std::find(uniqueRespIds.begin(), uniqueRespIds.end(), uniqueRespId) == uniqueRespIds.end()) {
    return false;
  }
  for (std::size_t i = 0; i < std::min(mask.size(), bytes.size()); ++i) {
    if (((bytes[i] ^ pattern[i]) & mask[i]) != 0) return false;
  }
  return true;
}

T_PDU_ERROR ReadCop(T_PDU_COPT type, UNUM32 size, const UNUM8* data,
                    const PDU_COP_CTRL_DATA* control, Cop& cop) {
  if (type < PDU_COPT_STARTCOMM || type > PDU_COPT_RESTORE_PARAM || !Readable(size, data)) {
    return PDU_ERR_INVALID_PARAMETERS;
  }
  cop.type = type;
  const bool needsControl = type == PDU_COPT_SENDRECV || type == PDU_COPT_DELAY;
  if (control == nullptr) return needsControl ? PDU_ERR_INVALID_PARAMETERS : PDU_STATUS_NOERROR;
  cop.data.assign(data, data + size);
  if (const T_PDU_ERROR error = ReadControl(*control, cop)) return error;
  if (type != PDU_COPT_SENDRECV) return PDU_STATUS_NOERROR;
  if (cop.sendCycles == 0 && cop.receiveCycles == 0) return PDU_ERR_INVALID_PARAMETERS;
  return cop.Sends() && MessagesOf(cop).empty() ? T_PDU_ERROR{PDU_ERR_INVALID_PARAMETERS}
                                                : PDU_STATUS_NOERROR;
}

std::vector<std::span<const UNUM8>> MessagesOf(const Cop& cop) {
  std::span<const UNUM8> rest(cop.data);
  if (!Has(cop.txFlags, kTxPacked)) {
    if (rest.empty()) return {};
    return {rest};
  }
  if (rest.size() < kCountSize) return {};
  std::uint64_t count = 0;
  for (std::size_t i = 0; i < kCountSize; ++i) count |= std::uint64_t{rest[i]} << (8 * i);
  rest = rest.subspan(kCountSize);
  std::vector<std::span<const UNUM8>> messages;
  while (!rest.empty() && messages.size() < count) {
    const std::size_t length = rest[0];
    if (length == 0 || length >= rest.size()) return {};
    messages.push_back(rest.subspan(1, length));
    rest = rest.subspan(1 + length);
  }
  if (count == 0 || messages.size() != count || !rest.empty()) return {};
  return messages;
}

}  // namespace virtual_vci
