#ifndef PASSBRIDGE_CHANNEL_LINK_HANDLES_H_
#define PASSBRIDGE_CHANNEL_LINK_HANDLES_H_

#include "passbridge/d_pdu_api.h"

namespace passbridge {

/// A ComLogicalLink of a module, as the D-PDU library names it.
struct LinkHandles {
  UNUM32 module = 0;
  UNUM32 cll = 0;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_LINK_HANDLES_H_
