#include "virtual_vci/protocols/can_addressing.h"

namespace virtual_vci {

namespace {

constexpr UNUM32 kFunctional = 2;  // CP_RequestAddrMode

}  // namespace

CanAddress AddressOf(UNUM32 id, UNUM32 format, UNUM32 extension) {
  CanAddress address{id, (format & kFormat29Bit) != 0, std::nullopt};
  if ((format & kFormatExtended) != 0) address.extension = static_cast<std::uint8_t>(extension);
  return address;
}

CanAddress RequestAddressOf(const UniqueRespEntry& entry) {
  return AddressOf(entry.Number(ComParam::CP_CanPhysReqId, 0),
                   entry.Number(ComParam::CP_CanPhysReqFormat, 0),
                   entry.Number(ComParam::CP_CanPhysReqExtAddr, 0));
}

CanAddress ResponseAddressOf(const UniqueRespEntry& entry) {
  return AddressOf(entry.Number(ComParam::CP_CanRespUSDTId, 0),
                   entry.Number(ComParam::CP_CanRespUSDTFormat, 0),
                   entry.Number(ComParam::CP_CanRespUSDTExtAddr, 0));
}

CanAddress RequestAddressOf(const ComParamSet& params, const UniqueRespTable& responses) {
  if (params.Number(ComParam::CP_RequestAddrMode) == kFunctional) {
    return AddressOf(params.Number(ComParam::CP_CanFuncReqId),
                     params.Number(ComParam::CP_CanFuncReqFormat),
                     params.Number(ComParam::CP_CanFuncReqExtAddr));
  }
  if (!responses.Entries().empty()) return RequestAddressOf(responses.Entries().front());
  return AddressOf(params.Number(ComParam::CP_CanPhysReqId),
                   params.Number(ComParam::CP_CanPhysReqFormat),
                   params.Number(ComParam::CP_CanPhysReqExtAddr));
}

Bytes HeaderOf(const CanAddress& address) {
  Bytes bytes;
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<std::uint8_t>(address.id >> shift));
  if (address.extension) bytes.push_back(*address.extension);
  return bytes;
}

FlagBytes RxFlagsOf(const CanAddress& address) {
  FlagBytes flags{};
  if (address.extended) Put(flags, kRx29BitId);
  if (address.extension) Put(flags, kRxExtendedAddress);
  return flags;
}

std::optional<std::uint8_t> FillerOf(const ComParamSet& params) {
  if (params.Number(ComParam::CP_CanFillerByteHandling) == 0) return std::nullopt;
  return static_cast<std::uint8_t>(params.Number(ComParam::CP_CanFillerByte));
}

OutgoingMessages Outgoing(const Cop& cop) {
  OutgoingMessages outgoing{cop.txFlags, {}};
  for (const auto& message : MessagesOf(cop))
    outgoing.messages.emplace_back(message.begin(), message.end());
  return outgoing;
}

OutgoingMessages Outgoing(const Cop& cop, const CanAddress& to) {
  OutgoingMessages outgoing{cop.txFlags, {}};
  outgoing.flags[kTx29BitId.byte] &= static_cast<UNUM8>(~kTx29BitId.bit);
  outgoing.flags[kTxExtendedAddress.byte] &= static_cast<UNUM8>(~kTxExtendedAddress.bit);
  if (to.extended) Put(outgoing.flags, kTx29BitId);
  if (to.extension) Put(outgoing.flags, kTxExtendedAddress);
  for (const auto& payload : MessagesOf(cop)) {
    Bytes message = HeaderOf(to);
    message.insert(message.end(), payload.begin(), payload.end());
    outgoing.messages.push_back(std::move(message));
  }
  return outgoing;
}

}  // namespace virtual_vci
