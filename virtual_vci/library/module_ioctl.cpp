// I/O controls of modules and links.
#include "virtual_vci/library/module.h"

namespace virtual_vci {

namespace {

constexpr UNUM32 kShortToGround = 0xFFFFFFFE;
constexpr UNUM32 kVoltageOff = 0xFFFFFFFF;
constexpr UNUM32 kLowestVoltage = 5000;
constexpr UNUM32 kHighestVoltage = 20000;
constexpr UNUM32 kShortPin = 15;

bool CarriesVoltage(UNUM32 pin) {
  return pin == 0 || pin == 6 || pin == 9 || (pin >= 11 && pin <= 14);
}

/// The input of this type, or null.
template <typename T>
const T* Input(const PDU_DATA_ITEM* item, T_PDU_IT type) {
  return item != nullptr && item->ItemType == type ? static_cast<const T*>(item->pData) : nullptr;
}

T_PDU_ERROR SetQueue(EventQueue& queue, const PDU_DATA_ITEM* input) {
  const auto* properties =
      Input<PDU_IO_EVENT_QUEUE_PROPERTY_DATA>(input, PDU_IT_IO_EVENT_QUEUE_PROPERTY);
  if (properties == nullptr || properties->QueueMode > PDU_QUE_CIRCULAR)
    return PDU_ERR_INVALID_PARAMETERS;
  const bool limited = properties->QueueMode != PDU_QUE_UNLIMITED;
  if (limited && properties->QueueSize == 0) return PDU_ERR_INVALID_PARAMETERS;
  queue.SetLimit(properties->QueueSize, properties->QueueMode);
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR StartFilters(FilterList& filters, const PDU_DATA_ITEM* input) {
  const auto* list = Input<PDU_IO_FILTER_LIST>(input, PDU_IT_IO_FILTER);
  return list == nullptr ? T_PDU_ERROR{PDU_ERR_INVALID_PARAMETERS} : filters.Start(*list);
}

T_PDU_ERROR StopFilter(FilterList& filters, const PDU_DATA_ITEM* input) {
  const auto* number = Input<UNUM32>(input, PDU_IT_IO_UNUM32);
  return number != nullptr && filters.Stop(*number) ? PDU_STATUS_NOERROR
                                                    : PDU_ERR_INVALID_PARAMETERS;
}

}  // namespace

T_PDU_ERROR Module::LinkIoCtl(UNUM32 link, IoCtl command, const PDU_DATA_ITEM* input) {
  MutexLock lock(lock_);
  Link* found = nullptr;
  if (const T_PDU_ERROR error = Enter(link, found)) return error;
  switch (command) {
    case IoCtl::kReset:
      found->Reset();
      return PDU_STATUS_NOERROR;
    case IoCtl::kClearTxQueue:
      found->Cops().CancelSending(false);
      return PDU_STATUS_NOERROR;
    case IoCtl::kClearTxPending:
      found->Cops().CancelSending(true);
      return PDU_STATUS_NOERROR;
    case IoCtl::kSuspendTxQueue:
    case IoCtl::kResumeTxQueue:
      found->Cops().Suspend(command == IoCtl::kSuspendTxQueue);
      return PDU_STATUS_NOERROR;
    case IoCtl::kClearRxQueue:
      found->Events().Queue().DropResults();
      RefillFlood();
      return PDU_STATUS_NOERROR;
    case IoCtl::kStartMsgFilter:
      return StartFilters(found->Filters(), input);
    case IoCtl::kStopMsgFilter:
      return StopFilter(found->Filters(), input);
    case IoCtl::kClearMsgFilter:
      found->Filters().Clear();
      return PDU_STATUS_NOERROR;
    case IoCtl::kSetEventQueueProperties:
      return SetQueue(found->Events().Queue(), input);
    case IoCtl::kSetBufferSize:
      return Input<UNUM32>(input, PDU_IT_IO_UNUM32) == nullptr ? PDU_ERR_INVALID_PARAMETERS
                                                               : PDU_STATUS_NOERROR;
    default:
      // A break exists on UARTs only; the rest belongs to the module.
      return PDU_ERR_ID_NOT_SUPPORTED;
  }
}

T_PDU_ERROR Module::SetProgrammingVoltage(const PDU_DATA_ITEM* input) {
  const auto* voltage = Input<PDU_IO_PROG_VOLTAGE_DATA>(input, PDU_IT_IO_PROG_VOLTAGE);
  if (voltage == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  if (voltage->PinOnDLC == kShortPin) {
    const bool fits =
        voltage->ProgVoltage_mv == kShortToGround || voltage->ProgVoltage_mv == kVoltageOff;
    return fits ? PDU_STATUS_NOERROR : PDU_ERR_VOLTAGE_NOT_SUPPORTED;
  }
  if (!CarriesVoltage(voltage->PinOnDLC)) return PDU_ERR_MUX_RSC_NOT_SUPPORTED;
  if (voltage->ProgVoltage_mv == kVoltageOff) {
    programming_ = 0;
    return PDU_STATUS_NOERROR;
  }
  if (voltage->ProgVoltage_mv < kLowestVoltage || voltage->ProgVoltage_mv > kHighestVoltage) {
    return PDU_ERR_VOLTAGE_NOT_SUPPORTED;
  }
  programming_ = voltage->ProgVoltage_mv;
  return PDU_STATUS_NOERROR;
}

T_PDU_ERROR Module::ModuleIoCtl(IoCtl command, const PDU_DATA_ITEM* input, ItemPtr& out) {
  MutexLock lock(lock_);
  if (stop_) return PDU_ERR_INVALID_HANDLE;
  if (lost_) return PDU_ERR_COMM_PC_TO_VCI_FAILED;
  Kick();
  switch (command) {
    case IoCtl::kReset:
      for (auto& [handle, link] : links_) link->Reset();
      programming_ = 0;
      return PDU_STATUS_NOERROR;
    case IoCtl::kReadVbatt:
      out = MakeUnum32Item(battery_);
      return PDU_STATUS_NOERROR;
    case IoCtl::kReadProgVoltage:
      out = MakeUnum32Item(programming_);
      return PDU_STATUS_NOERROR;
    case IoCtl::kSetProgVoltage:
      return SetProgrammingVoltage(input);
    case IoCtl::kGetCableId:
      if (!vci_.cable) return PDU_ERR_NO_CABLE_DETECTED;
      out = MakeUnum32Item(*vci_.cable);
      return PDU_STATUS_NOERROR;
    case IoCtl::kSetEventQueueProperties:
      return SetQueue(events_.Queue(), input);
    default:
      return PDU_ERR_ID_NOT_SUPPORTED;
  }
}

}  // namespace virtual_vci
