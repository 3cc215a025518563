// A J2534 message without the width of its fields.
#ifndef PASSBRIDGE_TOOLS_CLIENT_MESSAGE_H_
#define PASSBRIDGE_TOOLS_CLIENT_MESSAGE_H_

#include <cstdint>
#include <vector>

namespace passbridge::tool {

struct Message {
  std::uint32_t protocolId = 0;
  std::uint32_t rxStatus = 0;
  std::uint32_t txFlags = 0;
  std::uint32_t timestamp = 0;  // microseconds on the VCI's clock, wraps
  std::vector<std::uint8_t> data;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_CLIENT_MESSAGE_H_
