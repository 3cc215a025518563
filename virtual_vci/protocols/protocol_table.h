/// \file
/// Which protocols there are, on which buses.
#ifndef VIRTUAL_VCI_PROTOCOLS_PROTOCOL_TABLE_H_
#define VIRTUAL_VCI_PROTOCOLS_PROTOCOL_TABLE_H_

#include <span>

#include "virtual_vci/links/protocol.h"

namespace virtual_vci {

/// One row for each protocol and type of bus.
std::span<const ProtocolOnBus> ProtocolTable();

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_PROTOCOLS_PROTOCOL_TABLE_H_
