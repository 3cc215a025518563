#include "virtual_vci/links/unique_resp.h"

namespace virtual_vci {

namespace {

T_PDU_ERROR ReadEntry(const PDU_ECU_UNIQUE_RESP_DATA& data, UniqueRespEntry& entry) {
  if (data.NumParamItems != 0 && data.pParams == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  entry.uniqueRespId = data.UniqueRespIdentifier;
  for (UNUM32 i = 0; i < data.NumParamItems; ++i) {
    const PDU_PARAM_ITEM& param = data.pParams[i];
    const ComParamInfo* info = ComParamOf(param.ComParamId);
    if (info == nullptr) return PDU_ERR_COMPARAM_NOT_SUPPORTED;
    const auto number = NumberOf(param);
    if (info->paramClass != PDU_PC_UNIQUE_ID || !number) return PDU_ERR_INVALID_PARAMETERS;
    entry.params.emplace_back(param.ComParamId, *number);
  }
  return PDU_STATUS_NOERROR;
}

}  // namespace

UNUM32 UniqueRespEntry::Number(ComParam comParam, UNUM32 otherwise) const {
  for (const auto& [known, value] : params) {
    if (known == static_cast<UNUM32>(comParam)) return value;
  }
  return otherwise;
}

T_PDU_ERROR UniqueRespTable::Set(const PDU_UNIQUE_RESP_ID_TABLE_ITEM& item) {
  if (item.NumEntries != 0 && item.pUniqueData == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  std::vector<UniqueRespEntry> entries(item.NumEntries);
  for (UNUM32 i = 0; i < item.NumEntries; ++i) {
    if (const T_PDU_ERROR error = ReadEntry(item.pUniqueData[i], entries[i])) return error;
  }
  entries_ = std::move(entries);
  return PDU_STATUS_NOERROR;
}

ItemPtr UniqueRespTable::MakeItem() const {
  std::size_t count = 0;
  for (const auto& entry : entries_) count += entry.params.size();
  ItemBuilder builder;
  builder.Need<PDU_UNIQUE_RESP_ID_TABLE_ITEM>().Need<PDU_ECU_UNIQUE_RESP_DATA>(entries_.size());
  builder.Need<PDU_PARAM_ITEM>(count).Need<UNUM32>(count).Make();
  auto* item = builder.Take<PDU_UNIQUE_RESP_ID_TABLE_ITEM>();
  auto* row = builder.Take<PDU_ECU_UNIQUE_RESP_DATA>(entries_.size());
  auto* param = builder.Take<PDU_PARAM_ITEM>(count);
  auto* value = builder.Take<UNUM32>(count);
  *item = {PDU_IT_UNIQUE_RESP_ID_TABLE, static_cast<UNUM32>(entries_.size()), row};
  for (const UniqueRespEntry& entry : entries_) {
    *row++ = {entry.uniqueRespId, static_cast<UNUM32>(entry.params.size()), param};
    for (const auto& [id, number] : entry.params) {
      *value = number;
      *param++ = {PDU_IT_PARAM, id, PDU_PT_UNUM32, PDU_PC_UNIQUE_ID, value++};
    }
  }
  return builder.Finish();
}

}  // namespace virtual_vci
