// CAN frames as people write them, "7E0#02010C", and as J2534 messages carry them.
#ifndef PASSBRIDGE_TOOLS_FRAMES_CAN_FRAME_H_
#define PASSBRIDGE_TOOLS_FRAMES_CAN_FRAME_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/message.h"

namespace passbridge::tool {

struct CanId {
  std::uint32_t value = 0;
  bool extended = false;  // 29 bits instead of 11

  bool operator==(const CanId&) const = default;
};

struct CanFrame {
  CanId id;
  std::vector<std::uint8_t> data;  // at most 8 bytes; of an ISO 15765 message 4095

  bool operator==(const CanFrame&) const = default;
};

// Three hexadecimal digits make an 11-bit identifier, eight a 29-bit one. The parsers throw
// std::invalid_argument with a text for the user.
CanId ParseCanId(std::string_view text);
std::string FormatCanId(const CanId& id);

// "7E0#02010C"; points may separate the bytes. Throws std::invalid_argument with a text for the
// user.
CanFrame ParseCanFrame(std::string_view text);
std::string FormatCanFrame(const CanFrame& frame);
// The same with the longer data of an ISO 15765 message, of which there is at least one byte.
CanFrame ParseIsoMessage(std::string_view text);

// The J2534 form: identifier in four bytes, most significant first, then the data.
Message ToMessage(const CanFrame& frame, std::uint32_t protocolId);
// Nothing for what is no frame: an indication, or too short.
std::optional<CanFrame> ToCanFrame(const Message& message);

// A J2534 message that only holds an identifier, for the mask or the pattern of a filter.
Message IdMessage(const CanId& id, std::uint32_t protocolId);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_FRAMES_CAN_FRAME_H_
