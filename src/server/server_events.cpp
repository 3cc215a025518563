#include "passbridge/j2534.h"
#include "pdu/item.h"
#include "platform/cancellation.h"
#include "server/device.h"
#include "server/server.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

using EventItem = pdu::Item<PDU_EVENT_ITEM>;

/// Fetches the next item of a module's own queue. A success without an item counts as a failure,
/// for it would never end.
T_PDU_ERROR FetchItem(UNUM32 hMod, EventItem& item) {
  const T_PDU_ERROR result =
      item.Checked(pdu::Api().PDUGetEventItem(hMod, PDU_HANDLE_UNDEF, item.Out()));
  return result == PDU_STATUS_NOERROR && !item ? T_PDU_ERROR{PDU_ERR_FCT_FAILED} : result;
}

bool TellsLostVci(const PDU_EVENT_ITEM& item) {
  if (item.ItemType != PDU_IT_ERROR || item.pData == nullptr) return false;
  const auto* const error = static_cast<const PDU_ERROR_DATA*>(item.pData);
  return error->ErrorCodeId == PDU_ERR_EVT_LOST_COMM_TO_VCI;
}

/// Throws the queue's items away up to the call that fails, whose result this is.
T_PDU_ERROR Drain(UNUM32 hMod) {
  for (;;) {
    EventItem item;
    if (const T_PDU_ERROR result = FetchItem(hMod, item)) return result;
  }
}

T_PDU_ERROR LoseVci(UNUM32 hMod) {
  DevicePtr device;
  if (CJ2534Server::Instance().GetDeviceFromModuleHandle(hMod, &device) == STATUS_NOERROR) {
    device->SetConnected(false);
  }
  const T_PDU_ERROR result = Drain(hMod);
  pdu::Api().PDUModuleDisconnect(hMod);
  return result;
}

void HandleModuleEvents(UNUM32 hMod) {
  T_PDU_ERROR result = PDU_STATUS_NOERROR;
  while (result != PDU_ERR_EVENT_QUEUE_EMPTY) {
    EventItem item;
    if (FetchItem(hMod, item) != PDU_STATUS_NOERROR) return;
    const bool lost = TellsLostVci(*item.get());
    item.Destroy();
    if (lost) result = LoseVci(hMod);
  }
}

}  // namespace

void PDUAPI CJ2534Server::ModuleEventCallback(T_PDU_EVT_DATA eventType, UNUM32 hMod, UNUM32 hCll,
                                              void* /*pCllTag*/, void* /*pApiTag*/) {
  const platform::CancellationGuard cancellation;
  // The D-PDU library wants to know nothing of the outcome.
  Traced(methods::server::kModuleEventCallback, [&](Exits& exit) {
    const bool isOurs = eventType == PDU_EVT_DATA_AVAILABLE && hCll == PDU_HANDLE_UNDEF;
    if (isOurs) HandleModuleEvents(hMod);
    return exit.Normal();
  });
}

}  // namespace passbridge
