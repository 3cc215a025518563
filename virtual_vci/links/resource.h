/// \file
/// Something that a link can be created on.
#ifndef VIRTUAL_VCI_LINKS_RESOURCE_H_
#define VIRTUAL_VCI_LINKS_RESOURCE_H_

#include <vector>

#include "virtual_vci/links/protocol.h"

namespace virtual_vci {

struct Resource {
  UNUM32 id = 0;
  const ProtocolOnBus* kind = nullptr;  ///< lives as long as the library
  std::vector<UNUM32> pins;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LINKS_RESOURCE_H_
