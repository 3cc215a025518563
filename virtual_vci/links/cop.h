/// \file
/// One ComPrimitive.
#ifndef VIRTUAL_VCI_LINKS_COP_H_
#define VIRTUAL_VCI_LINKS_COP_H_

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "passbridge/d_pdu_api.h"
#include "virtual_vci/items/items.h"
#include "virtual_vci/links/com_params.h"
#include "virtual_vci/links/unique_resp.h"
#include "virtual_vci/vehicle/scheduler.h"

namespace virtual_vci {

/// Transmit flags that protocols look at, as (byte, bit) of `TxFlag`.
struct TxFlagBit {
  std::size_t byte;
  UNUM8 bit;
};
inline constexpr TxFlagBit kTxRawFrame{0, 0x04};  ///< a raw frame on a segmenting protocol
inline constexpr TxFlagBit kTx29BitId{2, 0x01};
inline constexpr TxFlagBit kTxExtendedAddress{3, 0x80};
inline constexpr TxFlagBit kTxPacked{3, 0x20};

/// Receive flags.
inline constexpr TxFlagBit kRxHighVoltage{1, 0x01};
inline constexpr TxFlagBit kRxSpeedChange{1, 0x04};
inline constexpr TxFlagBit kRx29BitId{2, 0x01};
inline constexpr TxFlagBit kRxExtendedAddress{3, 0x80};
inline constexpr TxFlagBit kRxPaddingError{3, 0x10};
inline constexpr TxFlagBit kRxTxDone{3, 0x08};
inline constexpr TxFlagBit kRxBreak{3, 0x04};
inline constexpr TxFlagBit kRxStartOfMessage{3, 0x02};
inline constexpr TxFlagBit kRxLoopback{3, 0x01};

using FlagBytes = std::array<UNUM8, 4>;
inline bool Has(const FlagBytes& flags, TxFlagBit bit) { return (flags[bit.byte] & bit.bit) != 0; }
inline void Put(FlagBytes& flags, TxFlagBit bit) { flags[bit.byte] |= bit.bit; }

/// A response that a ComPrimitive takes.
struct ExpectedResponse {
  UNUM32 acceptanceId = 0;
  std::vector<UNUM8> mask;
  std::vector<UNUM8> pattern;
  std::vector<UNUM32> uniqueRespIds;  ///< empty: any

  /// Whether a response that begins with these bytes, and of which no more is known, may match.
  bool MayMatch(std::span<const UNUM8> bytes, UNUM32 uniqueRespId) const;
  bool Matches(std::span<const UNUM8> bytes, UNUM32 uniqueRespId) const;
};

struct Cop {
  UNUM32 handle = PDU_HANDLE_UNDEF;
  T_PDU_COPT type = 0;
  void* tag = nullptr;
  std::vector<UNUM8> data;
  FlagBytes txFlags{};
  Micros time = 0;
  SNUM32 sendCycles = 0;     ///< still to do; PDU_CYCLES_INFINITE
  SNUM32 receiveCycles = 0;  ///< of each send cycle; PDU_CYCLES_INFINITE, PDU_CYCLES_MULTIPLE
  std::vector<ExpectedResponse> expected;
  /// UPDATEPARAM: what becomes active; with temporary ComParams: what it runs with. Else null.
  std::shared_ptr<const ComParamSet> params;
  std::shared_ptr<const UniqueRespTable> responses;  ///< UPDATEPARAM: likewise

  enum class Phase { kWaiting, kInitialising, kSending, kReceiving, kResting };
  Phase phase = Phase::kWaiting;
  bool executing = false;  ///< the application has been told
  SNUM32 received = 0;     ///< in this cycle
  UNUM32 repeats = 0;      ///< how often it may still be sent again in this cycle if nobody answers
  std::optional<Scheduler::Timer> timer;
  Micros due = 0;                          ///< when the cycle was to begin
  ComParam patience = ComParam::CP_P2Max;  ///< how long a response is waited for
  UNUM32 holds = 0;  ///< responses that come in, during which the time stands still

  bool Sends() const { return sendCycles != 0; }
  bool SendsData() const { return Sends() && !data.empty(); }
  bool Receives() const { return type == PDU_COPT_SENDRECV && receiveCycles != 0; }
  /// Goes on for ever beside the others instead of taking its turn.
  bool ReceivesOnly() const { return type == PDU_COPT_SENDRECV && sendCycles == 0; }
};

/// Copies what the application passed. PDU_ERR_INVALID_PARAMETERS if it makes no sense.
T_PDU_ERROR ReadCop(T_PDU_COPT type, UNUM32 size, const UNUM8* data,
                    const PDU_COP_CTRL_DATA* control, Cop& cop);

/// Splits the data of a packed ComPrimitive (count of 4 bytes, least significant first; a length
/// byte and the data each) into its messages; the data itself is the only one if it isn't packed.
/// Empty if it is malformed.
std::vector<std::span<const UNUM8>> MessagesOf(const Cop& cop);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LINKS_COP_H_
