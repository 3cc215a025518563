#include "virtual_vci/links/filters.h"

#include <algorithm>

namespace virtual_vci {

namespace {

bool IsPass(T_PDU_FILTER type) { return type == PDU_FLT_PASS || type == PDU_FLT_PASS_UUDT; }
bool IsBlock(T_PDU_FILTER type) { return type == PDU_FLT_BLOCK || type == PDU_FLT_BLOCK_UUDT; }

bool Matches(const PDU_IO_FILTER_DATA& filter, std::span<const UNUM8> message) {
  if (message.size() < filter.FilterCompareSize) return false;
  for (UNUM32 i = 0; i < filter.FilterCompareSize; ++i) {
    if (((message[i] ^ filter.FilterPatternMessage[i]) & filter.FilterMaskMessage[i]) != 0)
      return false;
  }
  return true;
}

}  // namespace

T_PDU_ERROR FilterList::Start(const PDU_IO_FILTER_LIST& list) {
  if (list.NumFilterEntries == 0 || list.pFilterData == nullptr) return PDU_ERR_INVALID_PARAMETERS;
  const std::span<const PDU_IO_FILTER_DATA> added(list.pFilterData, list.NumFilterEntries);
  const bool good = std::all_of(added.begin(), added.end(), [](const PDU_IO_FILTER_DATA& filter) {
    return (IsPass(filter.FilterType) || IsBlock(filter.FilterType)) &&
           filter.FilterCompareSize <= PDU_FILTER_BYTES;
  });
  if (!good) return PDU_ERR_INVALID_PARAMETERS;
  filters_.insert(filters_.end(), added.begin(), added.end());
  return PDU_STATUS_NOERROR;
}

bool FilterList::Stop(UNUM32 number) {
  return std::erase_if(filters_,
                       [&](const auto& filter) { return filter.FilterNumber == number; }) != 0;
}

bool FilterList::Passes(std::span<const UNUM8> message, bool passWithoutFilter) const {
  bool anyPass = false;
  bool passed = false;
  for (const PDU_IO_FILTER_DATA& filter : filters_) {
    const bool pass = IsPass(filter.FilterType);
    anyPass |= pass;
    if (pass && passed) continue;
    if (!Matches(filter, message)) continue;
    if (!pass) return false;
    passed = true;
  }
  return anyPass ? passed : passWithoutFilter;
}

}  // namespace virtual_vci
