#include "protocols/message_sizes.h"

namespace passbridge {

Status CheckSize(CJ2534Channel& channel, const Exits& exit, const MessageSizes& sizes,
                 std::uint32_t dataSize, std::uint32_t rxStatus) {
  if ((rxStatus & sizes.indications) != 0) return exit.Normal();
  if (const Status status = channel.ValidateDataSize(dataSize, sizes.minimum, sizes.maximum)) {
    return exit.PassOn(1, status, "Invalid DataSize.");
  }
  return exit.Normal();
}

}  // namespace passbridge
