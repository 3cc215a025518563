#ifndef PASSBRIDGE_CHANNEL_EVENT_SINK_H_
#define PASSBRIDGE_CHANNEL_EVENT_SINK_H_

#include "passbridge/d_pdu_api.h"
#include "pdu/item.h"
#include "trace/location.h"

namespace passbridge {

/// What an event thread tells the channel whose link it serves. Called on that thread, with no lock
/// held, and never after the thread was stopped.
class EventSink {
 public:
  /// Makes messages of a result item and stores them.
  virtual Status AddResultData(pdu::SharedEventItem item) = 0;
  /// The D-PDU library reported an error; `code` is a T_PDU_ERR_EVT.
  virtual void NotePduError(UNUM32 code) = 0;
  /// The VCI cannot be reached any more.
  virtual void LoseVehicle() = 0;

 protected:
  ~EventSink() = default;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_EVENT_SINK_H_
