#include "support/call_log.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <utility>

namespace passbridge::test {

namespace {

std::string Format(const char* format, UNUM32 value) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), format, value);
  return text.data();
}

std::string RenderPins(const PDU_RSC_DATA& resource) {
  std::string text;
  for (UNUM32 i = 0; i < resource.NumPinData; ++i) {
    const PDU_PIN_DATA& pin = resource.pDLCPinData[i];
    text += " pin " + Render(pin.DLCPinNumber) + ":" + Render(pin.DLCPinTypeId);
  }
  return text;
}

template <typename Field>
std::string RenderField(const void* data) {
  const auto* const field = static_cast<const Field*>(data);
  const auto size = field->ParamActLen * sizeof *field->pDataArray;
  return "[" + RenderBytes(reinterpret_cast<const UNUM8*>(field->pDataArray), size) + "]";
}

std::string RenderParamValue(const PDU_PARAM_ITEM& item) {
  if (item.pComParamData == nullptr) return "null";
  switch (item.ComParamDataType) {
    case PDU_PT_UNUM8:
    case PDU_PT_SNUM8:
      return Render(UNUM32{*static_cast<const UNUM8*>(item.pComParamData)});
    case PDU_PT_UNUM16:
    case PDU_PT_SNUM16:
      return Render(UNUM32{*static_cast<const UNUM16*>(item.pComParamData)});
    case PDU_PT_UNUM32:
    case PDU_PT_SNUM32:
      return Render(*static_cast<const UNUM32*>(item.pComParamData));
    case PDU_PT_BYTEFIELD:
      return RenderField<PDU_PARAM_BYTEFIELD_DATA>(item.pComParamData);
    case PDU_PT_LONGFIELD:
      return RenderField<PDU_PARAM_LONGFIELD_DATA>(item.pComParamData);
    default:
      return "?";
  }
}

std::string RenderFilters(const PDU_IO_FILTER_LIST& list) {
  std::string text;
  for (UNUM32 i = 0; i < list.NumFilterEntries; ++i) {
    const PDU_IO_FILTER_DATA& filter = list.pFilterData[i];
    const UNUM32 size = std::min<UNUM32>(filter.FilterCompareSize, PDU_FILTER_BYTES);
    text += " {" + Render(filter.FilterType) + " " + Render(filter.FilterNumber) + " mask " +
            RenderBytes(filter.FilterMaskMessage, size) + " pattern " +
            RenderBytes(filter.FilterPatternMessage, size) + "}";
  }
  return text;
}

std::string RenderIoData(const PDU_DATA_ITEM& item) {
  if (item.pData == nullptr) return " null";
  switch (item.ItemType) {
    case PDU_IT_IO_UNUM32:
      return " " + Render(*static_cast<const UNUM32*>(item.pData));
    case PDU_IT_IO_PROG_VOLTAGE: {
      const auto* const data = static_cast<const PDU_IO_PROG_VOLTAGE_DATA*>(item.pData);
      return " " + Render(data->ProgVoltage_mv) + " pin " + Render(data->PinOnDLC);
    }
    case PDU_IT_IO_BYTEARRAY: {
      const auto* const data = static_cast<const PDU_IO_BYTEARRAY_DATA*>(item.pData);
      return " [" + RenderBytes(data->pData, data->DataSize) + "]";
    }
    case PDU_IT_IO_FILTER:
      return RenderFilters(*static_cast<const PDU_IO_FILTER_LIST*>(item.pData));
    default:
      return " ?";
  }
}

}  // namespace

std::string Render(UNUM32 value) { return Format(value < 256 ? "%u" : "0x%X", value); }

std::string Render(const CHAR8* text) {
  return text != nullptr ? "\"" + std::string(text) + "\"" : "null";
}

std::string Render(const UNUM8* bytes) { return bytes != nullptr ? "bytes" : "null"; }

std::string Render(const void* tag) { return tag != nullptr ? "tag" : "null"; }

std::string Render(CALLBACKFNC callback) { return callback != nullptr ? "callback" : "null"; }

std::string RenderBytes(const UNUM8* bytes, std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    text += (i == 0 ? "" : " ") + Format("%02X", bytes[i]);
  }
  return text;
}

std::string Render(const PDU_FLAG_DATA* flags) {
  if (flags == nullptr) return "null";
  return "{" + RenderBytes(flags->pFlagData, flags->NumFlagBytes) + "}";
}

std::string Render(const PDU_RSC_DATA* resource) {
  if (resource == nullptr) return "null";
  return "{bus " + Render(resource->BusTypeId) + " protocol " + Render(resource->ProtocolId) +
         RenderPins(*resource) + "}";
}

std::string Render(const PDU_COP_CTRL_DATA* control) {
  if (control == nullptr) return "null";
  return "{time " + Render(control->Time) + " send " + std::to_string(control->NumSendCycles) +
         " receive " + std::to_string(control->NumReceiveCycles) + " temp " +
         Render(control->TempParamUpdate) + " flags " + Render(&control->TxFlag) + "}";
}

std::string Render(const PDU_PARAM_ITEM* item) {
  if (item == nullptr) return "null";
  return "{" + Render(item->ComParamId) + " = " + RenderParamValue(*item) + "}";
}

std::string Render(const PDU_UNIQUE_RESP_ID_TABLE_ITEM* table) {
  if (table == nullptr) return "null";
  std::string text = "{";
  for (UNUM32 i = 0; i < table->NumEntries; ++i) {
    const PDU_ECU_UNIQUE_RESP_DATA& row = table->pUniqueData[i];
    text += (i == 0 ? "" : " ") + Render(row.UniqueRespIdentifier) + ":";
    for (UNUM32 p = 0; p < row.NumParamItems; ++p) text += Render(&row.pParams[p]);
  }
  return text + "}";
}

std::string Render(const PDU_DATA_ITEM* item) {
  if (item == nullptr) return "null";
  return "{" + Render(item->ItemType) + RenderIoData(*item) + "}";
}

std::string Render(const PDU_ITEM* item) { return item != nullptr ? "item" : "null"; }

void CallLog::Add(std::string call) {
  const std::lock_guard<std::mutex> lock(lock_);
  calls_.push_back(std::move(call));
}

void CallLog::Clear() {
  const std::lock_guard<std::mutex> lock(lock_);
  calls_.clear();
}

std::vector<std::string> CallLog::All() const {
  const std::lock_guard<std::mutex> lock(lock_);
  return calls_;
}

std::vector<std::string> CallLog::Of(std::string_view function) const {
  const std::string prefix = std::string(function) + "(";
  const std::vector<std::string> all = All();
  std::vector<std::string> calls;
  std::copy_if(all.begin(), all.end(), std::back_inserter(calls),
               [&](const std::string& call) { return call.rfind(prefix, 0) == 0; });
  return calls;
}

}  // namespace passbridge::test
