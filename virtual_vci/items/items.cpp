#include "virtual_vci/items/items.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace virtual_vci {

void ItemDeleter::operator()(PDU_ITEM* item) const { ::operator delete(static_cast<void*>(item)); }

void ItemBuilder::Make() {
  void* memory = ::operator new(size_);
  owner_.reset(static_cast<PDU_ITEM*>(memory));
  memory_ = static_cast<std::byte*>(memory);
  std::memset(memory, 0, size_);
}

ItemPtr ItemBuilder::Finish() { return std::move(owner_); }

namespace {

/// An event item with one structure of type T behind it.
template <typename T>
ItemPtr MakeEvent(T_PDU_IT type, const EventHead& head, const T& data) {
  ItemBuilder builder;
  builder.Need<PDU_EVENT_ITEM>().Need<T>().Make();
  auto* item = builder.Take<PDU_EVENT_ITEM>();
  auto* part = builder.Take<T>();
  *part = data;
  *item = PDU_EVENT_ITEM{type, head.cop, head.tag, head.timestamp, part};
  return builder.Finish();
}

}  // namespace

ItemPtr MakeStatusItem(const EventHead& head, T_PDU_STATUS status) {
  return MakeEvent(PDU_IT_STATUS, head, status);
}

ItemPtr MakeErrorItem(const EventHead& head, T_PDU_ERR_EVT code, UNUM32 extra) {
  return MakeEvent(PDU_IT_ERROR, head, PDU_ERROR_DATA{code, extra});
}

ItemPtr MakeInfoItem(UNUM32 timestamp, T_PDU_INFO code, UNUM32 extra) {
  return MakeEvent(PDU_IT_INFO, EventHead{PDU_HANDLE_UNDEF, nullptr, timestamp},
                   PDU_INFO_DATA{code, extra});
}

ItemPtr MakeResultItem(const EventHead& head, const ResultInfo& info, std::span<const UNUM8> data,
                       std::size_t capacity) {
  capacity = std::max(capacity, data.size());
  ItemBuilder builder;
  builder.Need<PDU_EVENT_ITEM>().Need<PDU_RESULT_DATA>();
  const bool extraInfo = info.emptyHeader || !info.header.empty();
  if (extraInfo) builder.Need<PDU_EXTRA_INFO>();
  builder.Need<UNUM8>(info.rxFlags.size() + info.header.size() + capacity).Make();
  auto* item = builder.Take<PDU_EVENT_ITEM>();
  auto* result = builder.Take<PDU_RESULT_DATA>();
  if (extraInfo) result->pExtraInfo = builder.Take<PDU_EXTRA_INFO>();
  auto* bytes = builder.Take<UNUM8>(info.rxFlags.size() + info.header.size() + capacity);

  *item = PDU_EVENT_ITEM{PDU_IT_RESULT, head.cop, head.tag, head.timestamp, result};
  result->RxFlag = {static_cast<UNUM32>(info.rxFlags.size()), bytes};
  bytes = std::copy(info.rxFlags.begin(), info.rxFlags.end(), bytes);
  result->UniqueRespIdentifier = info.uniqueRespId;
  result->AcceptanceId = info.acceptanceId;
  result->TxMsgDoneTimestamp = info.txDoneTimestamp;
  result->StartMsgTimestamp = info.startTimestamp;
  if (result->pExtraInfo != nullptr) {
    *result->pExtraInfo = {static_cast<UNUM32>(info.header.size()), 0, bytes, nullptr};
    bytes = std::copy(info.header.begin(), info.header.end(), bytes);
  }
  result->NumDataBytes = static_cast<UNUM32>(data.size());
  result->pDataBytes = capacity == 0 ? nullptr : bytes;
  std::copy(data.begin(), data.end(), bytes);
  return builder.Finish();
}

ItemPtr MakeUnum32Item(UNUM32 value) {
  ItemBuilder builder;
  builder.Need<PDU_DATA_ITEM>().Need<UNUM32>().Make();
  auto* item = builder.Take<PDU_DATA_ITEM>();
  auto* part = builder.Take<UNUM32>();
  *part = value;
  *item = PDU_DATA_ITEM{PDU_IT_IO_UNUM32, part};
  return builder.Finish();
}

}  // namespace virtual_vci
