#ifndef PASSBRIDGE_PROTOCOLS_MESSAGE_SIZES_H_
#define PASSBRIDGE_PROTOCOLS_MESSAGE_SIZES_H_

#include <cstdint>

#include "channel/channel.h"

namespace passbridge {

/// The sizes of a protocol's messages in bytes, and the indications that may have any.
struct MessageSizes {
  std::uint32_t minimum;
  std::uint32_t maximum;
  std::uint32_t indications = 0;  ///< RxStatus bits
};

/// Ends a validation that goes by the size of the message alone.
Status CheckSize(CJ2534Channel& channel, const Exits& exit, const MessageSizes& sizes,
                 std::uint32_t dataSize, std::uint32_t rxStatus);

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_MESSAGE_SIZES_H_
