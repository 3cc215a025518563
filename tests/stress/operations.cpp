#include "operations.h"

#include <cstdio>
#include <initializer_list>

#include "passbridge/j2534.h"

namespace passbridge::stress {

namespace {

/// A set of statuses, a bit for each.
constexpr std::uint32_t Set(std::initializer_list<std::uint32_t> statuses) {
  std::uint32_t bits = 0;
  for (const std::uint32_t status : statuses) bits |= 1U << status;
  return bits;
}

struct OperationRow {
  const char* name;
  std::uint32_t statuses;  ///< while the VCI is there and the channel connected
};

constexpr std::uint32_t kDone = Set({STATUS_NOERROR});
constexpr std::uint32_t kRead =
    Set({STATUS_NOERROR, ERR_BUFFER_EMPTY, ERR_BUFFER_OVERFLOW, ERR_FAILED});

constexpr std::array<OperationRow, kOperations> kRows{{
    {"PassThruOpen", kDone},
    {"PassThruClose", kDone},
    {"PassThruConnect", kDone},
    {"SET_CONFIG J1962_PINS", kDone},
    {"PassThruDisconnect", kDone},
    // ERR_FAILED tells of a frame that nobody acknowledged, as on the quiet pins; not of a start
    // that failed, which a write that doesn't wait shows.
    {"PassThruReadMsgs", kRead},
    {"PassThruReadMsgs, waiting", kRead | Set({ERR_TIMEOUT})},
    {"PassThruWriteMsgs", Set({STATUS_NOERROR, ERR_BUFFER_FULL})},
    {"PassThruWriteMsgs, waiting", Set({STATUS_NOERROR, ERR_BUFFER_FULL, ERR_TIMEOUT, ERR_FAILED})},
    {"PassThruStartPeriodicMsg", Set({STATUS_NOERROR, ERR_EXCEEDED_LIMIT})},
    // CLEAR_TX_BUFFER ends periodic messages that the library still lists: no handle to cancel.
    {"PassThruStopPeriodicMsg", Set({STATUS_NOERROR, ERR_INVALID_MSG_ID, ERR_INVALID_CHANNEL_ID})},
    {"PassThruStartMsgFilter", Set({STATUS_NOERROR, ERR_EXCEEDED_LIMIT})},
    {"PassThruStopMsgFilter", Set({STATUS_NOERROR, ERR_INVALID_FILTER_ID})},
    {"GET_CONFIG", kDone},
    {"SET_CONFIG", kDone},
    {"CLEAR_TX_BUFFER", kDone},
    {"CLEAR_RX_BUFFER", kDone},
    {"CLEAR_PERIODIC_MSGS", Set({STATUS_NOERROR, ERR_INVALID_CHANNEL_ID})},
    {"CLEAR_MSG_FILTERS", kDone},
    {"PassThruReadVersion", kDone},
    {"READ_VBATT", kDone},
}};

// What else a call may give, by what happened around it. A VCI that goes makes D-PDU calls fail
// in several ways before the library knows: a ComParam that can't be fetched counts as a null
// pointer. A channel without link has no pins.
constexpr std::uint32_t kOnOwnLoss =
    Set({STATUS_NOERROR, ERR_DEVICE_NOT_CONNECTED, ERR_FAILED, ERR_NOT_SUPPORTED,
         ERR_NULL_PARAMETER, ERR_INVALID_CHANNEL_ID, ERR_INVALID_DEVICE_ID, ERR_PIN_INVALID});
constexpr std::uint32_t kOnAnyLoss = Set({ERR_DEVICE_NOT_CONNECTED});
constexpr std::uint32_t kUnknownChannel = Set({ERR_INVALID_CHANNEL_ID, ERR_INVALID_DEVICE_ID});

}  // namespace

const char* NameOf(Operation operation) { return kRows[static_cast<std::size_t>(operation)].name; }

bool IsPlausible(Operation operation, long status, const Circumstances& around) {
  if (status < 0 || status >= static_cast<long>(kStatuses)) return false;
  std::uint32_t allowed = around.absent ? 0 : kRows[static_cast<std::size_t>(operation)].statuses;
  if (around.ownLoss) allowed |= kOnOwnLoss;
  if (around.anyLoss) allowed |= kOnAnyLoss;
  if (around.ended || around.absent) allowed |= kUnknownChannel;
  return (allowed >> static_cast<unsigned>(status) & 1U) != 0;
}

void Tally::Count(Operation operation, long status) {
  ++counts_[static_cast<std::size_t>(operation)][static_cast<std::size_t>(status)];
}

void Tally::Add(const Tally& other) {
  for (std::size_t i = 0; i < kOperations; ++i) {
    for (std::size_t status = 0; status < kStatuses; ++status) {
      counts_[i][status] += other.counts_[i][status];
    }
  }
}

void Tally::Print() const {
  for (std::size_t i = 0; i < kOperations; ++i) {
    std::printf("%-28s", kRows[i].name);
    for (std::size_t status = 0; status < kStatuses; ++status) {
      const auto count = static_cast<unsigned long>(counts_[i][status]);
      if (count != 0) std::printf(" %02X: %lu", static_cast<unsigned>(status), count);
    }
    std::printf("\n");
  }
}

}  // namespace passbridge::stress
