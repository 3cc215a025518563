#ifndef PASSBRIDGE_PROTOCOLS_CHANNEL_FACTORY_H_
#define PASSBRIDGE_PROTOCOLS_CHANNEL_FACTORY_H_

#include <memory>

#include "channel/channel.h"

namespace passbridge {

/// Makes the channel of a protocol's class; null for a ProtocolType without one.
OwnedChannel CreateChannel(ProtocolType type);

}  // namespace passbridge

#endif  // PASSBRIDGE_PROTOCOLS_CHANNEL_FACTORY_H_
