#ifndef PASSBRIDGE_J2534_STATUS_TEXT_H_
#define PASSBRIDGE_J2534_STATUS_TEXT_H_

#include "trace/location.h"

namespace passbridge {

/// The text of a status as PassThruGetLastError words it, or null for a value above
/// ERR_INVALID_DEVICE_ID. The text of ERR_FAILED is never shown: its cause is.
const char* StatusText(Status status);

}  // namespace passbridge

#endif  // PASSBRIDGE_J2534_STATUS_TEXT_H_
