// The message filters of a channel, as PassThruStartMsgFilter and PassThruStopMsgFilter set them.

#include <utility>

#include "channel/channel.h"
#include "trace/methods.h"

namespace passbridge {

namespace {

/// A filter type with this bit asks for several equal filters, bits 16 to 30 telling how many.
constexpr std::uint32_t kRepeated = 0x80000000;

struct FilterRequest {
  explicit FilterRequest(std::uint32_t filterType)
      : count((filterType & kRepeated) != 0 ? (filterType & ~kRepeated) >> 16U : 1),
        type((filterType & kRepeated) != 0 ? filterType & 0xFFFFU : filterType) {}

  std::uint32_t count;
  std::uint32_t type;
};

/// What is reported when a filter is refused, by the status of the refusal.
struct RefusalRow {
  Status status;
  const char* message;
};

constexpr std::array<RefusalRow, 4> kRefusals{{
    {ERR_NULL_PARAMETER, "NULL Pointer in argument list."},
    {ERR_INVALID_MSG, "Invalid PASSTHRU_MSG."},
    {ERR_MSG_PROTOCOL_ID, "Invalid ProtocolID in PASSTHRU_MSG."},
    {ERR_INVALID_FILTER_ID, "Invalid Filter ID."},
}};

Status ReportRefusal(const Exits& exit, Status status) {
  std::uint16_t point = 4;
  for (const RefusalRow& row : kRefusals) {
    if (row.status == status) return exit.PassOn(point, status, row.message);
    ++point;
  }
  return exit.PassOn(point, ERR_FAILED, "Error Initializing J2534 Filter.");
}

}  // namespace

Status CJ2534Channel::PassThruStartMsgFilter(std::uint32_t filterType, const AppMessage& mask,
                                             const AppMessage& pattern,
                                             const AppMessage& flowControl,
                                             const AppValue& filterId) {
  return Traced(methods::channel::kPassThruStartMsgFilter, [&](Exits& exit) -> Status {
    platform::MutexLock lock(operationLock_);
    if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, "J1962 Pins has not been set.");
    const FilterRequest request(filterType);
    if (ValidatePointer(filterId, request.count) != STATUS_NOERROR) {
      return exit.Fail(2, ERR_NULL_PARAMETER, "NULL Filter ID pointer.");
    }
    const auto filters = Filters();
    if (filters == nullptr) return exit.Fail(9, ERR_FAILED, "Error starting filter.");
    const bool noMixedFormat = !IsMixedFormat();
    CJ2534Filter* added = nullptr;
    for (std::uint32_t i = 0; i < request.count; ++i) {
      auto filter = std::make_unique<CJ2534Filter>();
      if (const Status status = filter->Initialize(ProtocolId(), request.type, mask, pattern,
                                                   flowControl, noMixedFormat)) {
        return ReportRefusal(exit, status);
      }
      added = filter.get();
      if (const Status status = filters->StartJ2534Filter(std::move(filter))) {
        return exit.PassOn(9, status, "Error starting filter.");
      }
      filterId[i].Store(added->FilterId());
    }
    if (added != nullptr && (request.count > 1 || !added->IsDuplicate())) {
      if (const Status status =
              filters->DownloadJ2534Filters(added->IsPassOrBlock(), added->IsFlowControl(), true)) {
        return exit.PassOn(10, status, "Could not download filters into PDU API.");
      }
    }
    return exit.Normal();
  });
}

Status CJ2534Channel::PassThruStopMsgFilter(std::uint32_t filterId) {
  return Traced(methods::channel::kPassThruStopMsgFilter, [&](Exits& exit) -> Status {
    platform::MutexLock lock(operationLock_);
    if (!HasPins()) return exit.Fail(1, ERR_PIN_INVALID, "J1962 Pins has not been set.");
    if (filterId == 0) return exit.Fail(2, ERR_INVALID_FILTER_ID, "Invalid Filter ID.");
    const auto filters = Filters();
    if (filters == nullptr) return exit.Fail(3, ERR_FAILED, "Filter ID Not Found.");
    if (const Status status = filters->StopJ2534Filter(filterId)) {
      return exit.PassOn(3, status, "Filter ID Not Found.");
    }
    return exit.Normal();
  });
}

}  // namespace passbridge
