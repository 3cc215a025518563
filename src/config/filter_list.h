#ifndef PASSBRIDGE_CONFIG_FILTER_LIST_H_
#define PASSBRIDGE_CONFIG_FILTER_LIST_H_

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <vector>

#include "config/channel_link.h"
#include "config/filter.h"
#include "j2534/cj2534.h"
#include "platform/mutex.h"
#include "trace/method.h"

namespace passbridge {

/// Filters by their IDs.
using FilterMap = std::map<std::uint32_t, std::unique_ptr<CJ2534Filter>>;

/// The message filters of one channel. The D-PDU side is rebuilt whole with each download: pass and
/// block filters as the link's message filters, flow-control filters of ISO 15765 channels as its
/// table of unique response identifiers. One thread at a time changes the list and downloads it;
/// any thread may ask it meanwhile.
class CJ2534FilterList : public CJ2534 {
 public:
  CJ2534FilterList();
  /// @param channel the owner of the list, which outlives it
  explicit CJ2534FilterList(ChannelLink* channel);
  CJ2534FilterList(const CJ2534FilterList&) = delete;
  CJ2534FilterList& operator=(const CJ2534FilterList&) = delete;
  /// Leaves the D-PDU side as it is.
  ~CJ2534FilterList();

  /// @param channel the owner of the list, which outlives it
  Status Initialize(ChannelLink* channel);

  /// Adds a filter and gives it the lowest ID that is free; downloads nothing. On success the list
  /// owns the filter (a pointer that the caller kept stays valid until the filter is stopped or the
  /// list is cleared); on failure it stays with the caller.
  Status StartJ2534Filter(std::unique_ptr<CJ2534Filter>&& filter);
  /// Removes a filter and downloads the rest. It is gone even if the download fails.
  Status StopJ2534Filter(std::uint32_t filterId);
  /// Removes the pass and block filters; downloads if there were any.
  Status ClearJ2534PassBlockFilters();
  Status ClearJ2534Filters();

  /// Brings the D-PDU side in step with the list.
  /// @param passBlock   whether pass or block filters have changed
  /// @param flowControl whether flow-control filters have changed
  /// @param onlyWhenConnected do nothing, successfully, while the channel is not connected
  Status DownloadJ2534Filters(bool passBlock, bool flowControl, bool onlyWhenConnected);
  /// The download of an ISO 15765 channel.
  Status SetPduUridTable(bool startPassBlock, bool buildTable);
  /// The download of pass and block filters.
  Status StartPduFilters(bool startPassBlock);

  /// Whether the flow-control message of some filter starts like `data`: then the message can be
  /// sent in segments.
  bool HasFlowControlFor(std::span<const std::uint8_t> data) const EXCLUDES(lock_);

 private:
  bool IsEmpty() const EXCLUDES(lock_);
  bool HasPassBlockFilters() const EXCLUDES(lock_);
  bool HasRefusedFilters() const EXCLUDES(lock_);
  T_PDU_ERROR SendPduUridTable() const EXCLUDES(lock_);
  /// One entry a pass or block filter.
  Status CollectEntries(std::vector<PDU_IO_FILTER_DATA>& entries) const EXCLUDES(lock_);
  /// Puts an acceptable filter into the list.
  Status Keep(const Exits& exit, std::unique_ptr<CJ2534Filter>&& filter) REQUIRES(lock_);
  bool HasEqual(const CJ2534Filter& filter) const REQUIRES(lock_);
  Status CheckUnique(const CJ2534Filter& filter) const REQUIRES(lock_);
  std::uint32_t FreeFilterId() const REQUIRES(lock_);

  ChannelLink* channel_ = nullptr;

  mutable platform::Mutex lock_;  // not held while the D-PDU library is called
  FilterMap filters_ GUARDED_BY(lock_);
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CONFIG_FILTER_LIST_H_
