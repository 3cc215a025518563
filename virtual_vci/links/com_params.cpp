#include "virtual_vci/links/com_params.h"

#include <algorithm>
#include <cstring>

namespace virtual_vci {

namespace {

bool IsByteField(T_PDU_PT type) { return type == PDU_PT_BYTEFIELD || type == PDU_PT_STRUCTFIELD; }

template <typename Field, typename T>
T_PDU_ERROR ReadField(const void* data, UNUM32 longest, std::vector<T>& out) {
  const auto& field = *static_cast<const Field*>(data);
  if (field.ParamActLen > longest || (field.ParamActLen != 0 && field.pDataArray == nullptr)) {
    return PDU_ERR_INVALID_PARAMETERS;
  }
  out.assign(field.pDataArray, field.pDataArray + field.ParamActLen);
  return PDU_STATUS_NOERROR;
}

template <typename Field, typename T>
ItemPtr MakeFieldItem(PDU_PARAM_ITEM head, UNUM32 longest, const std::vector<T>& values) {
  ItemBuilder builder;
  builder.Need<PDU_PARAM_ITEM>().template Need<Field>().template Need<T>(longest).Make();
  auto* item = builder.Take<PDU_PARAM_ITEM>();
  auto* field = builder.Take<Field>();
  *field = {longest, static_cast<UNUM32>(values.size()), builder.Take<T>(longest)};
  std::copy(values.begin(), values.end(), field->pDataArray);
  head.pComParamData = field;
  *item = head;
  return builder.Finish();
}

template <typename T>
UNUM32 Read(const void* data) {
  T value;
  std::memcpy(&value, data, sizeof(value));
  return static_cast<UNUM32>(value);
}

}  // namespace

std::optional<UNUM32> ComParamIdOf(std::string_view name) {
  const auto found = std::find_if(kComParams.begin(), kComParams.end(),
                                  [&](const ComParamInfo& info) { return info.name == name; });
  if (found == kComParams.end()) return std::nullopt;
  return static_cast<UNUM32>(found - kComParams.begin()) + 1;
}

const ComParamInfo* ComParamOf(UNUM32 id) {
  return id == 0 || id > kComParamCount ? nullptr : &kComParams[id - 1];
}

std::optional<UNUM32> NumberOf(const PDU_PARAM_ITEM& item) {
  if (item.pComParamData == nullptr) return std::nullopt;
  switch (item.ComParamDataType) {
    case PDU_PT_UNUM8:
      return Read<UNUM8>(item.pComParamData);
    case PDU_PT_SNUM8:
      return Read<SNUM8>(item.pComParamData);
    case PDU_PT_UNUM16:
      return Read<UNUM16>(item.pComParamData);
    case PDU_PT_SNUM16:
      return Read<SNUM16>(item.pComParamData);
    case PDU_PT_UNUM32:
    case PDU_PT_SNUM32:
      return Read<UNUM32>(item.pComParamData);
    default:
      return std::nullopt;
  }
}

ComParamSet::ComParamSet() : values_(kComParamCount) {
  for (std::size_t row = 0; row < kComParamCount; ++row) {
    const ComParamInfo& info = kComParams[row];
    if (!IsByteField(info.type) && info.type != PDU_PT_LONGFIELD) values_[row].number = info.value;
  }
}

T_PDU_ERROR ComParamSet::Set(const PDU_PARAM_ITEM& item) {
  const ComParamInfo* info = ComParamOf(item.ComParamId);
  if (info == nullptr) return PDU_ERR_COMPARAM_NOT_SUPPORTED;
  if (item.pComParamData == nullptr || item.ComParamDataType != info->type)
    return PDU_ERR_INVALID_PARAMETERS;
  ComParamValue& value = values_[item.ComParamId - 1];
  if (IsByteField(info->type)) {
    return ReadField<PDU_PARAM_BYTEFIELD_DATA>(item.pComParamData, info->value, value.bytes);
  }
  if (info->type == PDU_PT_LONGFIELD) {
    return ReadField<PDU_PARAM_LONGFIELD_DATA>(item.pComParamData, info->value, value.longs);
  }
  value.number = *NumberOf(item);
  return PDU_STATUS_NOERROR;
}

ItemPtr ComParamSet::MakeItem(UNUM32 id) const {
  const ComParamInfo& info = *ComParamOf(id);
  const ComParamValue& value = Value(id);
  const PDU_PARAM_ITEM head{PDU_IT_PARAM, id, info.type, info.paramClass, nullptr};
  if (IsByteField(info.type))
    return MakeFieldItem<PDU_PARAM_BYTEFIELD_DATA>(head, info.value, value.bytes);
  if (info.type == PDU_PT_LONGFIELD)
    return MakeFieldItem<PDU_PARAM_LONGFIELD_DATA>(head, info.value, value.longs);
  // Four bytes whatever the type: many an application reads the value as a 32-bit one.
  ItemBuilder builder;
  builder.Need<PDU_PARAM_ITEM>().Need<std::array<UNUM8, 4>>().Make();
  auto* item = builder.Take<PDU_PARAM_ITEM>();
  *item = head;
  auto* bytes = builder.Take<std::array<UNUM8, 4>>();
  item->pComParamData = bytes;
  std::memcpy(bytes->data(), &value.number, sizeof(value.number));
  return builder.Finish();
}

}  // namespace virtual_vci
