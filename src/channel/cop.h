#ifndef PASSBRIDGE_CHANNEL_COP_H_
#define PASSBRIDGE_CHANNEL_COP_H_

#include <cstdint>
#include <vector>

#include "passbridge/d_pdu_api.h"
#include "pdu/flag_bytes.h"
#include "trace/location.h"

namespace passbridge {

struct CopWaiter;

/// The data of a ComPrimitive (CoP), which it owns: a protocol may change and lengthen them.
using CopData = std::vector<UNUM8>;

/// How a link is to be created, most significant byte first.
using CllCreateFlags = pdu::FlagBytes;

/// A ComParam that holds for one CoP only.
struct TemporaryComParam {
  UNUM32 id;
  UNUM32 value;
  const char* failure = nullptr;  ///< reported, and the CoP not started, if it can't be set; null:
                                  ///< the CoP goes without it

  bool operator==(const TemporaryComParam& other) const {
    return id == other.id && value == other.value;
  }
};

/// The control data of a CoP together with the TxFlag bytes that it points to.
struct CopControl {
  CopControl() {
    data.TxFlag.NumFlagBytes = static_cast<UNUM32>(txFlags.size());
    data.TxFlag.pFlagData = txFlags.data();
  }
  CopControl(const CopControl&) = delete;
  CopControl& operator=(const CopControl&) = delete;

  /// Has the CoP deliver every response.
  void ExpectEveryResponse(UNUM32 numMaskPatternBytes);
  /// Runs the CoP, and no other, with a ComParam of its own.
  void SetTemporarily(const TemporaryComParam& param);

  /// Whether one CoP can carry the messages of both.
  bool IsLike(const CopControl& other) const {
    return txFlags == other.txFlags && temporary == other.temporary;
  }

  pdu::FlagBytes txFlags{};
  PDU_COP_CTRL_DATA data{};
  std::vector<TemporaryComParam> temporary;

 private:
  UNUM8 mask_ = 0;
  UNUM8 pattern_ = 0;
  PDU_EXP_RESP_DATA response_{};
};

/// A CoP to be started.
struct CopStart {
  T_PDU_COPT type;
  CopData data;
  CopControl& control;
  CopWaiter* waiter = nullptr;  ///< told when the CoP ends
  bool isTransmit = false;
  std::uint32_t patience = 2000;  ///< ms that the start may wait for an update that is under way
};

/// What became of the start of a CoP.
struct CopOutcome {
  T_PDU_ERROR started = 0;
  Status registered = 0;
  bool isPending = false;  ///< the waiter will be told of its end
  Status prepared = 0;  ///< not 0: a temporary ComParam could not be set, and nothing was started
  const char* preparation = nullptr;  ///< what is said of that
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_COP_H_
