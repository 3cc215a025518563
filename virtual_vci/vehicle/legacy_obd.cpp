#include "virtual_vci/vehicle/legacy_obd.h"

#include <algorithm>

namespace virtual_vci {

namespace {

constexpr std::size_t kFaultBytes = 6;  // three codes in a message
constexpr std::size_t kTextBytes = 4;

/// `data` in messages of `size` bytes behind a head, the last filled up at the end.
std::vector<Bytes> Split(const Bytes& data, std::size_t size, const Bytes& head, bool counted) {
  std::vector<Bytes> messages;
  for (std::size_t at = 0; at < data.size() || messages.empty(); at += size) {
    Bytes message = head;
    if (counted) message.push_back(static_cast<std::uint8_t>(messages.size() + 1));
    const std::size_t count = std::min(size, data.size() - std::min(at, data.size()));
    const auto begin = data.begin() + static_cast<std::ptrdiff_t>(at);
    if (count != 0)
      message.insert(message.end(), begin, begin + static_cast<std::ptrdiff_t>(count));
    message.resize(message.size() + size - count);
    messages.push_back(std::move(message));
  }
  return messages;
}

}  // namespace

bool IsLegacyObdResponse(const Bytes& response) {
  constexpr std::uint8_t kFirst = 0x41;
  constexpr std::uint8_t kLast = 0x4A;
  return response[0] >= kFirst && response[0] <= kLast;
}

std::vector<Bytes> LegacyObdMessages(const Bytes& response) {
  if (response.size() < 2) return {response};
  switch (response[0]) {
    case 0x43:
    case 0x47:
    case 0x4A:
      // On CAN a number comes first.
      return Split(Bytes(response.begin() + 2, response.end()), kFaultBytes, {response[0]}, false);
    case 0x49: {
      // On CAN the number of items comes first, but for the list of what there is. Here texts are
      // filled up at their beginning.
      const bool isList = response[1] % 0x20 == 0;
      Bytes data(response.begin() + (isList ? 2 : 3), response.end());
      while (data.size() % kTextBytes != 0) data.insert(data.begin(), 0);
      return Split(data, kTextBytes, {response[0], response[1]}, true);
    }
    default:
      return {response};
  }
}

}  // namespace virtual_vci
