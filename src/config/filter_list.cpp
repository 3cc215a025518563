#include "config/filter_list.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "passbridge/j2534.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

/// A filter is refused when more than these are held already: a list holds one more.
constexpr std::size_t kMaxPassBlockFilters = 64;
constexpr std::size_t kMaxFlowControlFilters = 64;

constexpr const char* kDownloadFailed = "Could not download filters into PDU API.";

}  // namespace

CJ2534FilterList::CJ2534FilterList() { TracePassage("CJ2534FilterList::CJ2534FilterList()"); }

CJ2534FilterList::CJ2534FilterList(ChannelLink* channel) : channel_(channel) {
  TracePassage("CJ2534FilterList::CJ2534FilterList(CJ2534Channel*)");
}

CJ2534FilterList::~CJ2534FilterList() { TracePassage("CJ2534FilterList::~CJ2534FilterList()"); }

Status CJ2534FilterList::Initialize(ChannelLink* channel) {
  return Traced(methods::filter_list::kInitialize, [&](Exits& exit) -> Status {
    if (channel == nullptr) {
      return exit.Fail(1, ERR_NULL_PARAMETER, "Invalid J2534 Channel pointer.");
    }
    channel_ = channel;
    if (const Status status = ClearJ2534Filters()) {
      return exit.PassOn(2, status, "Error clearing a J2534 Filter List.");
    }
    return exit.Normal();
  });
}

bool CJ2534FilterList::HasEqual(const CJ2534Filter& filter) const {
  return std::any_of(filters_.begin(), filters_.end(),
                     [&filter](const auto& entry) { return entry.second->Equals(filter); });
}

Status CJ2534FilterList::CheckUnique(const CJ2534Filter& filter) const {
  for (const auto& [id, held] : filters_) {
    if (const Status status = held->IsUnique(filter)) return status;
  }
  return STATUS_NOERROR;
}

std::uint32_t CJ2534FilterList::FreeFilterId() const {
  std::uint32_t candidate = 1;
  for (const auto& [id, filter] : filters_) {
    if (id != candidate) break;
    ++candidate;
  }
  return candidate;
}

Status CJ2534FilterList::StartJ2534Filter(std::unique_ptr<CJ2534Filter>&& filter) {
  return Traced(methods::filter_list::kStartJ2534Filter, [&](Exits& exit) -> Status {
    if (filter == nullptr) return exit.Fail(1, ERR_NULL_PARAMETER, "Invalid filter pointer.");
    const platform::MutexLock lock(lock_);
    return Keep(exit, std::move(filter));
  });
}

Status CJ2534FilterList::Keep(const Exits& exit, std::unique_ptr<CJ2534Filter>&& filter) {
  if (filter->IsPassOrBlock()) {
    if (filters_.size() > kMaxPassBlockFilters) {
      return exit.Fail(2, ERR_EXCEEDED_LIMIT, "Too many non-ISO15765 Filters.");
    }
    if (HasEqual(*filter)) filter->SetDuplicate();
  } else if (filter->IsFlowControl()) {
    if (filters_.size() > kMaxFlowControlFilters) {
      return exit.Fail(3, ERR_EXCEEDED_LIMIT, "Too many ISO15765 Filters.");
    }
    if (const Status status = CheckUnique(*filter)) {
      return exit.PassOn(4, status, "Filter is not unique.");
    }
  } else {
    return exit.Fail(5, ERR_FAILED, "Invalid Filter Type");
  }
  const std::uint32_t filterId = FreeFilterId();
  filter->SetFilterId(filterId);
  filters_.emplace(filterId, std::move(filter));
  return exit.Normal();
}

Status CJ2534FilterList::StopJ2534Filter(std::uint32_t filterId) {
  return Traced(methods::filter_list::kStopJ2534Filter, [&](Exits& exit) -> Status {
    FilterMap::node_type removed;
    {
      const platform::MutexLock lock(lock_);
      removed = filters_.extract(filterId);
    }
    if (removed.empty()) return exit.PassOn(1, ERR_INVALID_FILTER_ID, "Invalid FilterID.");
    const bool wasFlowControl = removed.mapped()->IsFlowControl();
    if (const Status status = DownloadJ2534Filters(!wasFlowControl, wasFlowControl, true)) {
      return exit.PassOn(3, status, kDownloadFailed);
    }
    return exit.Normal();
  });
}

Status CJ2534FilterList::ClearJ2534PassBlockFilters() {
  return Traced(methods::filter_list::kClearJ2534PassBlockFilters, [&](Exits& exit) -> Status {
    std::size_t removed = 0;
    {
      const platform::MutexLock lock(lock_);
      removed =
          std::erase_if(filters_, [](const auto& entry) { return entry.second->IsPassOrBlock(); });
    }
    if (removed == 0) return exit.Normal();
    if (const Status status = DownloadJ2534Filters(true, false, true)) {
      return exit.PassOn(6, status, kDownloadFailed);
    }
    return exit.Normal();
  });
}

Status CJ2534FilterList::ClearJ2534Filters() {
  return Traced(methods::filter_list::kClearJ2534Filters, [&](Exits& exit) -> Status {
    {
      const platform::MutexLock lock(lock_);
      filters_.clear();
    }
    if (const Status status = DownloadJ2534Filters(true, true, true)) {
      return exit.PassOn(1, status, kDownloadFailed);
    }
    return exit.Normal();
  });
}

bool CJ2534FilterList::IsEmpty() const {
  const platform::MutexLock lock(lock_);
  return filters_.empty();
}

bool CJ2534FilterList::HasPassBlockFilters() const {
  const platform::MutexLock lock(lock_);
  return std::any_of(filters_.begin(), filters_.end(),
                     [](const auto& entry) { return entry.second->IsPassOrBlock(); });
}

bool CJ2534FilterList::HasFlowControlFor(std::span<const std::uint8_t> data) const {
  const platform::MutexLock lock(lock_);
  return std::any_of(filters_.begin(), filters_.end(), [data](const auto& entry) {
    const CJ2534Filter& filter = *entry.second;
    const std::span<const std::uint8_t> start = filter.FlowControl();
    return filter.IsFlowControl() && start.size() <= data.size() &&
           std::ranges::equal(start, data.first(start.size()));
  });
}

}  // namespace passbridge
