#include "virtual_vci/items/packed_frames.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace virtual_vci {

namespace {

constexpr std::size_t kMaxRecords = 64;
constexpr std::size_t kRecordData = 12;
constexpr std::size_t kRecordSize = 4 + 1 + kRecordData;
constexpr std::size_t kRecordCountSize = 4;
constexpr UNUM8 kPackedFlag = 0x20;

using Record = std::array<UNUM8, kRecordSize>;

Record MakeRecord(UNUM32 timestamp, std::span<const UNUM8> data) {
  Record record{};
  std::memcpy(record.data(), &timestamp, sizeof(timestamp));
  record[4] = static_cast<UNUM8>(data.size());
  std::copy(data.begin(), data.end(), record.begin() + 5);
  return record;
}

void AppendRecord(PDU_RESULT_DATA& result, const Record& record) {
  std::copy(record.begin(), record.end(), result.pDataBytes + result.NumDataBytes);
  result.NumDataBytes += static_cast<UNUM32>(record.size());
}

void SetCount(PDU_RESULT_DATA& result, UNUM32 count) {
  std::memcpy(result.pDataBytes, &count, sizeof(count));
}

/// The same frame as the first record of a packed result with room for more.
ItemPtr MakePacked(const PDU_EVENT_ITEM& single, ResultInfo info) {
  const auto& result = *static_cast<const PDU_RESULT_DATA*>(single.pData);
  info.rxFlags[3] |= kPackedFlag;
  info.startTimestamp = result.StartMsgTimestamp;
  const std::array<UNUM8, kRecordCountSize> count{};
  ItemPtr item = MakeResultItem({single.hCop, single.pCoPTag, single.Timestamp}, info, count,
                                kRecordCountSize + kMaxRecords * kRecordSize);
  AppendRecord(ResultOf(item),
               MakeRecord(single.Timestamp, {result.pDataBytes, result.NumDataBytes}));
  return item;
}

bool IsOfKind(const PDU_EVENT_ITEM& item, const EventHead& head, const ResultInfo& info) {
  const auto& result = *static_cast<const PDU_RESULT_DATA*>(item.pData);
  auto flags = info.rxFlags;
  flags[3] |= result.RxFlag.pFlagData[3] & kPackedFlag;
  return item.hCop == head.cop && result.AcceptanceId == info.acceptanceId &&
         result.UniqueRespIdentifier == info.uniqueRespId &&
         std::equal(flags.begin(), flags.end(), result.RxFlag.pFlagData);
}

}  // namespace

bool CanPack(const ItemPtr& item, const EventHead& head, const ResultInfo& info,
             std::span<const UNUM8> frame) {
  return frame.size() <= kRecordData && IsOfKind(AsEvent(item), head, info);
}

bool Pack(ItemPtr& item, const EventHead& head, const ResultInfo& info,
          std::span<const UNUM8> frame, UNUM32 count) {
  if (count == 2) item = MakePacked(AsEvent(item), info);
  PDU_RESULT_DATA& result = ResultOf(item);
  AppendRecord(result, MakeRecord(head.timestamp, frame));
  SetCount(result, count);
  return count < kMaxRecords;
}

}  // namespace virtual_vci
