// I/O controls of links.
#include "virtual_vci/links/link.h"

namespace virtual_vci {

namespace {

T_PDU_ERROR StartFilters(FilterList& filters, const PDU_DATA_ITEM* input) {
  const auto* list = DataOf<PDU_IO_FILTER_LIST>(input, PDU_IT_IO_FILTER);
  return list == nullptr ? T_PDU_ERROR{PDU_ERR_INVALID_PARAMETERS} : filters.Start(*list);
}

T_PDU_ERROR StopFilter(FilterList& filters, const PDU_DATA_ITEM* input) {
  const auto* number = DataOf<UNUM32>(input, PDU_IT_IO_UNUM32);
  return number != nullptr && filters.Stop(*number) ? PDU_STATUS_NOERROR
                                                    : PDU_ERR_INVALID_PARAMETERS;
}

}  // namespace

T_PDU_ERROR Link::IoControl(IoCtl command, const PDU_DATA_ITEM* input, ItemPtr& output) {
  switch (command) {
    case IoCtl::kReset:
      Reset();
      return PDU_STATUS_NOERROR;
    case IoCtl::kClearTxQueue:
      cops_.CancelSending(false);
      return PDU_STATUS_NOERROR;
    case IoCtl::kClearTxPending:
      cops_.CancelSending(true);
      return PDU_STATUS_NOERROR;
    case IoCtl::kSuspendTxQueue:
    case IoCtl::kResumeTxQueue:
      cops_.Suspend(command == IoCtl::kSuspendTxQueue);
      return PDU_STATUS_NOERROR;
    case IoCtl::kClearRxQueue:
      events_.Queue().DropResults();
      site_.flood.Refill();
      return PDU_STATUS_NOERROR;
    case IoCtl::kStartMsgFilter:
      return StartFilters(filters_, input);
    case IoCtl::kStopMsgFilter:
      return StopFilter(filters_, input);
    case IoCtl::kClearMsgFilter:
      filters_.Clear();
      return PDU_STATUS_NOERROR;
    case IoCtl::kSetEventQueueProperties:
      return events_.Queue().Configure(input);
    case IoCtl::kSetBufferSize:
      return DataOf<UNUM32>(input, PDU_IT_IO_UNUM32) == nullptr ? PDU_ERR_INVALID_PARAMETERS
                                                                : PDU_STATUS_NOERROR;
    default:
      return protocol_->IoControl(command, input, output);
  }
}

}  // namespace virtual_vci
