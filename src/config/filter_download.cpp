#include <algorithm>
#include <array>
#include <vector>

#include "config/filter_list.h"
#include "pdu/com_param.h"
#include "pdu/io_control.h"
#include "pdu/pdu_api.h"
#include "pdu/result_map.h"
#include "trace/methods.h"

/// What the filters become at the D-PDU API.
namespace passbridge {

namespace {

using pdu::ComParam;

constexpr pdu::ResultMap kIoCtlResults{ERR_FAILED,
                                       {{PDU_ERR_COMM_PC_TO_VCI_FAILED, ERR_NOT_SUPPORTED},
                                        {PDU_ERR_ID_NOT_SUPPORTED, ERR_NOT_SUPPORTED},
                                        {PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
                                        {PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID}}};

constexpr pdu::ResultMap kSetTableResults{
    ERR_FAILED,
    {{PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID},
     {PDU_ERR_COMPARAM_NOT_SUPPORTED, ERR_NOT_SUPPORTED}}};

/// How a flow-control filter says who answers, and how to ask: pattern and flow-control message.
struct ResponseParam {
  ComParam comParam;
  Status (CJ2534Filter::*value)(UNUM32*) const;
};

constexpr std::array<ResponseParam, 6> kResponseParams{{
    {ComParam::CP_CanRespUSDTId, &CJ2534Filter::GetPduRespCanId},
    {ComParam::CP_CanRespUSDTFormat, &CJ2534Filter::GetPduRespCanFormat},
    {ComParam::CP_CanRespUSDTExtAddr, &CJ2534Filter::GetPduRespCanExtAddr},
    {ComParam::CP_CanPhysReqId, &CJ2534Filter::GetPduFlowControlCanId},
    {ComParam::CP_CanPhysReqFormat, &CJ2534Filter::GetPduRespCanFormat},
    {ComParam::CP_CanPhysReqExtAddr, &CJ2534Filter::GetPduFlowControlExtAddr},
}};

/// The link's table of unique response identifiers, one record a flow-control filter. Owns all that
/// its item points to.
class ResponseTable {
 public:
  explicit ResponseTable(const FilterMap& filters) {
    for (const auto& [id, filter] : filters) {
      if (filter->IsFlowControl()) AddRecord(*filter);
    }
    LinkRecords();
  }
  ResponseTable(const ResponseTable&) = delete;
  ResponseTable& operator=(const ResponseTable&) = delete;

  /// What PDUSetUniqueRespIdTable takes; lives as long as the table.
  PDU_UNIQUE_RESP_ID_TABLE_ITEM* Item() { return &item_; }

 private:
  struct Record {
    std::array<UNUM32, kResponseParams.size()> values{};
    std::array<PDU_PARAM_ITEM, kResponseParams.size()> params{};
  };

  void AddRecord(const CJ2534Filter& filter) {
    Record& record = records_.emplace_back();
    for (std::size_t i = 0; i < kResponseParams.size(); ++i) {
      (filter.*kResponseParams[i].value)(&record.values[i]);
      record.params[i] = {PDU_IT_PARAM, pdu::ComParamId(kResponseParams[i].comParam), PDU_PT_UNUM32,
                          PDU_PC_UNIQUE_ID, nullptr};
    }
  }

  /// Sets the pointers, once no record moves any more.
  void LinkRecords() {
    rows_.reserve(records_.size());
    for (Record& record : records_) {
      for (std::size_t i = 0; i < record.params.size(); ++i) {
        record.params[i].pComParamData = &record.values[i];
      }
      rows_.push_back({0, static_cast<UNUM32>(record.params.size()), record.params.data()});
    }
    item_ = {PDU_IT_UNIQUE_RESP_ID_TABLE, static_cast<UNUM32>(rows_.size()), rows_.data()};
  }

  std::vector<Record> records_;
  std::vector<PDU_ECU_UNIQUE_RESP_DATA> rows_;
  PDU_UNIQUE_RESP_ID_TABLE_ITEM item_{};
};

using FilterEntries = std::vector<PDU_IO_FILTER_DATA>;

/// One entry a pass or block filter. Stops at one that the channel's protocol cannot have.
Status AddFilters(const FilterMap& filters, FilterEntries& entries) {
  for (const auto& [id, filter] : filters) {
    if (!filter->IsPassOrBlock()) continue;
    PDU_IO_FILTER_DATA entry{};
    if (const Status status = filter->GetPduFilterType(&entry.FilterType)) return status;
    filter->GetPduFilterNumber(&entry.FilterNumber);
    filter->GetPduFilterCompareSize(&entry.FilterCompareSize);
    filter->GetPduFilterMask(entry.FilterMaskMessage);
    filter->GetPduFilterPattern(entry.FilterPatternMessage);
    entries.push_back(entry);
  }
  return STATUS_NOERROR;
}

/// One more for each functional address: messages whose second byte it is pass.
void AddFunctionalAddresses(std::span<const std::uint8_t> addresses, FilterEntries& entries) {
  for (const std::uint8_t address : addresses) {
    const auto number = static_cast<UNUM32>(entries.size() + 1);
    entries.push_back({PDU_FLT_PASS, number, 2, {0x00, 0xFF}, {0x00, address}});
  }
}

T_PDU_ERROR FilterIoCtl(const ChannelLink& channel, pdu::IoControl control, PDU_DATA_ITEM* input) {
  return pdu::Api().PDUIoCtl(channel.ModuleHandle(), channel.CllHandle(), pdu::IoControlId(control),
                             input, nullptr);
}

T_PDU_ERROR StartFilters(const ChannelLink& channel, FilterEntries& entries) {
  PDU_IO_FILTER_LIST list{static_cast<UNUM32>(entries.size()), entries.data()};
  PDU_DATA_ITEM input{PDU_IT_IO_FILTER, &list};
  return FilterIoCtl(channel, pdu::IoControl::StartMsgFilter, &input);
}

}  // namespace

bool CJ2534FilterList::HasRefusedFilters() const {
  const platform::MutexLock lock(lock_);
  return std::any_of(filters_.begin(), filters_.end(), [](const auto& entry) {
    return entry.second->IsPassOrBlock() && entry.second->NoMixedFormat();
  });
}

T_PDU_ERROR CJ2534FilterList::SendPduUridTable() const {
  const std::unique_ptr<ResponseTable> table = [this] {
    const platform::MutexLock lock(lock_);
    return std::make_unique<ResponseTable>(filters_);
  }();
  return pdu::Api().PDUSetUniqueRespIdTable(channel_->ModuleHandle(), channel_->CllHandle(),
                                            table->Item());
}

Status CJ2534FilterList::SetPduUridTable(bool startPassBlock, bool buildTable) {
  return Traced(methods::filter_list::kSetPduUridTable, [&](Exits& exit) -> Status {
    if (channel_ == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "Invalid J2534 Channel pointer.");
    }
    if (buildTable) {
      if (HasRefusedFilters()) {
        return exit.Fail(5, ERR_INVALID_FILTER_ID, "Invalid FilterID.");
      }
      const T_PDU_ERROR result = SendPduUridTable();
      if (const Status status = kSetTableResults(result)) {
        return exit.Fail(6, status, "Error updating URID Table in the PDU API.", result);
      }
      channel_->CommitComParams();
    }
    const bool hasOthers = buildTable ? HasPassBlockFilters() : !IsEmpty();
    if (!hasOthers) return exit.Normal();
    if (const Status status = StartPduFilters(startPassBlock)) {
      return exit.PassOn(7, status, "Error starting PDU Filters.");
    }
    return exit.Normal();
  });
}

Status CJ2534FilterList::CollectEntries(std::vector<PDU_IO_FILTER_DATA>& entries) const {
  const platform::MutexLock lock(lock_);
  return AddFilters(filters_, entries);
}

Status CJ2534FilterList::StartPduFilters(bool startPassBlock) {
  return Traced(methods::filter_list::kStartPduFilters, [&](Exits& exit) -> Status {
    if (channel_ == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "Invalid J2534 Channel pointer.");
    }
    if (!startPassBlock) return exit.Normal();
    FilterEntries entries;
    if (const Status status = CollectEntries(entries)) {
      return exit.PassOn(6, status, "Invalid Filter.");
    }
    AddFunctionalAddresses(channel_->FunctionalAddresses(), entries);
    T_PDU_ERROR result = FilterIoCtl(*channel_, pdu::IoControl::ClearMsgFilter, nullptr);
    if (const Status status = kIoCtlResults(result)) {
      return exit.Fail(3, status, "Error clearing filters in PDU API.", result);
    }
    if (entries.empty()) return exit.Normal();
    result = StartFilters(*channel_, entries);
    if (const Status status = kIoCtlResults(result)) {
      return exit.Fail(4, status, "Error starting filters in PDU API.", result);
    }
    return exit.Normal();
  });
}

Status CJ2534FilterList::DownloadJ2534Filters(bool passBlock, bool flowControl,
                                              bool onlyWhenConnected) {
  return Traced(methods::filter_list::kDownloadJ2534Filters, [&](Exits& exit) -> Status {
    if (channel_ == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "Invalid J2534 Channel pointer.");
    }
    if (onlyWhenConnected && !channel_->IsVehicleConnected()) return exit.Normal();
    if (IsIso15765Type(channel_->ChannelProtocolType())) {
      if (const Status status = SetPduUridTable(passBlock, flowControl)) {
        return exit.PassOn(2, status, "Error setting PDU URID Table.");
      }
    } else if (const Status status = StartPduFilters(passBlock)) {
      return exit.PassOn(3, status, "Error starting PDU Filters.");
    }
    return exit.Normal();
  });
}

}  // namespace passbridge
