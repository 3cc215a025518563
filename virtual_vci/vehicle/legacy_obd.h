/// \file
/// Emission-related services on buses with short messages.
#ifndef VIRTUAL_VCI_VEHICLE_LEGACY_OBD_H_
#define VIRTUAL_VCI_VEHICLE_LEGACY_OBD_H_

#include <vector>

#include "virtual_vci/base/time.h"
#include "virtual_vci/scenario/patterns.h"

namespace virtual_vci {

/// Whether it answers one of these services (01 to 0A).
bool IsLegacyObdResponse(const Bytes& response);

/// A response as it is on CAN, as the messages that SAE J1979 has for the other buses: fault codes
/// three at a time, texts of service 09 four bytes at a time behind a counter. Others stay one.
std::vector<Bytes> LegacyObdMessages(const Bytes& response);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_VEHICLE_LEGACY_OBD_H_
