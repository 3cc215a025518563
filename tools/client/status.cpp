#include "client/status.h"

#include <passbridge/j2534.h>

#include <array>
#include <cstdio>

namespace passbridge::tool {
namespace {

// In the order of the statuses, from 0.
constexpr std::array<const char*, 27> kStatusNames = {
    "STATUS_NOERROR",           "ERR_NOT_SUPPORTED",
    "ERR_INVALID_CHANNEL_ID",   "ERR_INVALID_PROTOCOL_ID",
    "ERR_NULL_PARAMETER",       "ERR_INVALID_IOCTL_VALUE",
    "ERR_INVALID_FLAGS",        "ERR_FAILED",
    "ERR_DEVICE_NOT_CONNECTED", "ERR_TIMEOUT",
    "ERR_INVALID_MSG",          "ERR_INVALID_TIME_INTERVAL",
    "ERR_EXCEEDED_LIMIT",       "ERR_INVALID_MSG_ID",
    "ERR_DEVICE_IN_USE",        "ERR_INVALID_IOCTL_ID",
    "ERR_BUFFER_EMPTY",         "ERR_BUFFER_FULL",
    "ERR_BUFFER_OVERFLOW",      "ERR_PIN_INVALID",
    "ERR_CHANNEL_IN_USE",       "ERR_MSG_PROTOCOL_ID",
    "ERR_INVALID_FILTER_ID",    "ERR_NO_FLOW_CONTROL",
    "ERR_NOT_UNIQUE",           "ERR_INVALID_BAUDRATE",
    "ERR_INVALID_DEVICE_ID",
};
static_assert(kStatusNames.size() == ERR_INVALID_DEVICE_ID + 1);

std::string Compose(std::string_view function, std::uint32_t status,
                    std::string_view lastErrorText) {
  std::string text(function);
  text.append(" failed: ").append(DescribeStatus(status));
  if (!lastErrorText.empty()) text.append(": ").append(lastErrorText);
  return text;
}

}  // namespace

std::string DescribeStatus(std::uint32_t status) {
  char number[16];
  std::snprintf(number, sizeof number, " (0x%02X)", static_cast<unsigned>(status));
  const char* name = status < kStatusNames.size() ? kStatusNames[status] : "unknown status";
  return std::string(name) + number;
}

StatusError::StatusError(std::string_view function, std::uint32_t status,
                         std::string_view lastErrorText)
    : std::runtime_error(Compose(function, status, lastErrorText)), status_(status) {}

}  // namespace passbridge::tool
