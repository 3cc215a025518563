#include "channel/com_param_cache.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>
#include <vector>

#include "pdu/pdu_api.h"
#include "pdu/result_map.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

// The three operations report under one name and number, that of setting a ComParam.

constexpr pdu::ResultMap kComParamResults{
    ERR_FAILED,
    {{PDU_ERR_PDUAPI_NOT_CONSTRUCTED, ERR_DEVICE_NOT_CONNECTED},
     {PDU_ERR_CLL_NOT_CONNECTED, ERR_INVALID_CHANNEL_ID},
     {PDU_ERR_CLL_NOT_STARTED, ERR_INVALID_CHANNEL_ID},
     {PDU_ERR_INVALID_HANDLE, ERR_INVALID_CHANNEL_ID}}};

std::size_t ScalarSize(T_PDU_PT type) {
  switch (type) {
    case PDU_PT_UNUM8:
    case PDU_PT_SNUM8:
      return 1;
    case PDU_PT_UNUM16:
    case PDU_PT_SNUM16:
      return 2;
    case PDU_PT_UNUM32:
    case PDU_PT_SNUM32:
      return 4;
    default:
      return 0;
  }
}

/// The bytes in which a ComParam's value lies, as far as they are in use (`used`) and as far as
/// they may be (`room`); nothing for a type that is not known.
struct ValueBytes {
  explicit ValueBytes(PDU_PARAM_ITEM& item) {
    auto* const data = static_cast<UNUM8*>(item.pComParamData);
    if (data == nullptr) return;
    if (const std::size_t size = ScalarSize(item.ComParamDataType)) {
      used = room = {data, size};
    } else if (item.ComParamDataType == PDU_PT_BYTEFIELD) {
      field = static_cast<PDU_PARAM_BYTEFIELD_DATA*>(item.pComParamData);
      if (field->pDataArray == nullptr) return;
      room = {field->pDataArray, field->ParamMaxLen};
      used = room.first(std::min<std::size_t>(field->ParamActLen, room.size()));
    }
  }

  std::span<UNUM8> used;
  std::span<UNUM8> room;
  PDU_PARAM_BYTEFIELD_DATA* field = nullptr;
};

/// Puts a value into an item; false when it does not fit.
bool Store(const ValueBytes& target, std::span<const UNUM8> value) {
  if (target.field == nullptr) {
    for (std::size_t i = 0; i < target.room.size(); ++i) {
      target.room[i] = i < value.size() ? value[i] : UNUM8{0};
    }
    return true;
  }
  if (value.size() > target.room.size()) return false;
  std::copy(value.begin(), value.end(), target.room.begin());
  target.field->ParamActLen = static_cast<UNUM32>(value.size());
  return true;
}

}  // namespace

ComParamCache::ParamItem ComParamCache::Take(LinkHandles link, UNUM32 id) {
  if (id < kMaxIdentifier && !items_[id]) FetchLocked(link, id);
  // Out of the cache while it is used: a loss of the module in the meantime clears the cache.
  return id < kMaxIdentifier ? std::move(items_[id]) : ParamItem();
}

Status ComParamCache::Fetch(LinkHandles link, UNUM32 id) {
  platform::RecursiveMutexLock lock(lock_);
  return FetchLocked(link, id);
}

Status ComParamCache::FetchLocked(LinkHandles link, UNUM32 id) {
  ParamItem item;
  const Status status = Traced(methods::parameter::kGetPDUComParam, [&](Exits& exit) -> Status {
    if (id >= kMaxIdentifier) {
      return exit.Fail(1, ERR_NOT_SUPPORTED, "Invalid PDU ComParam Id was returned.");
    }
    const T_PDU_ERROR result =
        item.Checked(pdu::Api().PDUGetComParam(link.module, link.cll, id, item.Out()));
    if (!item || item->pComParamData == nullptr) {
      return exit.Fail(2, ERR_NOT_SUPPORTED, "Invalid PDU ComParam was returned.", result);
    }
    return exit.Normal();
  });
  if (status == STATUS_NOERROR) items_[id] = std::move(item);
  return status;
}

Status ComParamCache::Set(LinkHandles link, UNUM32 id, const void* value, std::uint32_t size) {
  return Traced(methods::parameter::kSetPduComParam, [&](Exits& exit) -> Status {
    if (value == nullptr) {
      return exit.Fail(3, ERR_NULL_PARAMETER, "Invalid PDUValue pointer.");
    }
    platform::RecursiveMutexLock lock(lock_);
    ParamItem item = Take(link, id);
    if (!item) return exit.Fail(4, ERR_NULL_PARAMETER, "Invalid pParamItem pointer.");

    const ValueBytes bytes(*item.get());
    const std::vector<UNUM8> before(bytes.used.begin(), bytes.used.end());
    const bool stored =
        !bytes.room.empty() && Store(bytes, {static_cast<const UNUM8*>(value), size});
    const ValueBytes after(*item.get());
    const bool changed =
        stored && !std::equal(before.begin(), before.end(), after.used.begin(), after.used.end());
    const T_PDU_ERROR result = changed
                                   ? pdu::Api().PDUSetComParam(link.module, link.cll, item.get())
                                   : T_PDU_ERROR{PDU_STATUS_NOERROR};
    if (result != PDU_STATUS_NOERROR) Store(bytes, before);
    items_[id] = std::move(item);

    if (!stored) {
      return exit.Fail(5, ERR_NOT_SUPPORTED, "Unsupported ComParameter Data Type.");
    }
    if (const Status status = kComParamResults(result)) {
      return exit.Fail(6, status, "Error setting PDU ComParam value.", result);
    }
    return exit.Normal();
  });
}

Status ComParamCache::Get(LinkHandles link, UNUM32 id, UNUM32* value) {
  return Traced(methods::parameter::kGetPDUValue, [&](Exits& exit) -> Status {
    if (value == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "NULL pointer to PDU Value.");
    }
    platform::RecursiveMutexLock lock(lock_);
    ParamItem item = Take(link, id);
    if (!item) return exit.Fail(2, ERR_NULL_PARAMETER, "Invalid pParamItem pointer.");
    const ValueBytes bytes(*item.get());
    *value = 0;
    if (!bytes.used.empty()) {
      std::memcpy(value, bytes.used.data(), std::min(bytes.used.size(), sizeof *value));
    }
    items_[id] = std::move(item);
    return exit.Normal();
  });
}

Status ComParamCache::Require(const Exits& exit, std::uint16_t point, LinkHandles link, UNUM32 id) {
  ParamItem item;
  const T_PDU_ERROR result =
      item.Checked(pdu::Api().PDUGetComParam(link.module, link.cll, id, item.Out()));
  if (const Status status = kComParamResults(result)) {
    return exit.Fail(point, status, "Error getting PDU ComParam value.", result);
  }
  if (!item) {
    const auto next = static_cast<std::uint16_t>(point + 1);
    return exit.Fail(next, ERR_NOT_SUPPORTED, "Invalid PDU ComParam was returned.");
  }
  return STATUS_NOERROR;
}

void ComParamCache::Forget(UNUM32 id) {
  platform::RecursiveMutexLock lock(lock_);
  if (id < kMaxIdentifier) items_[id].Destroy();
}

void ComParamCache::Clear() {
  platform::RecursiveMutexLock lock(lock_);
  ClearLocked();
}

void ComParamCache::ClearUnlessInUse() {
  if (!lock_.TryLock()) return;
  ClearLocked();
  lock_.Unlock();
}

void ComParamCache::ClearLocked() {
  for (ParamItem& item : items_) item.Destroy();
}

Status TemporaryComParams::Set(UNUM32 id, UNUM32 value) {
  UNUM32 before = 0;
  if (const Status status = cache_.Get(link_, id, &before)) return status;
  if (const Status status = cache_.Set(link_, id, &value, sizeof value)) return status;
  before_.push_back({id, before});
  return STATUS_NOERROR;
}

TemporaryComParams::~TemporaryComParams() {
  for (const Before& before : before_) {
    if (!isSetBack_) cache_.Set(link_, before.id, &before.value, sizeof before.value);
    cache_.Forget(before.id);
  }
}

}  // namespace passbridge
