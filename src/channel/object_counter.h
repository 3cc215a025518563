#ifndef PASSBRIDGE_CHANNEL_OBJECT_COUNTER_H_
#define PASSBRIDGE_CHANNEL_OBJECT_COUNTER_H_

#include <cstdint>

namespace passbridge {

/// The next identifier of a device or channel object: from 1, never twice in a process. Any thread.
std::uint32_t NextObjectId();

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_OBJECT_COUNTER_H_
