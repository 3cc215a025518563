/// \file
/// Results that hold several raw frames: records behind a count.
#ifndef VIRTUAL_VCI_ITEMS_PACKED_FRAMES_H_
#define VIRTUAL_VCI_ITEMS_PACKED_FRAMES_H_

#include <span>

#include "virtual_vci/items/items.h"

namespace virtual_vci {

/// Whether a frame may join the result `item`: it has the same receiver and the same kind.
bool CanPack(const ItemPtr& item, const EventHead& head, const ResultInfo& info,
             std::span<const UNUM8> frame);
/// Joins it, as number `count` of the result, which becomes a packed one with the second. `frame`
/// is the identifier (4 bytes) and the data. False: the result takes no more.
bool Pack(ItemPtr& item, const EventHead& head, const ResultInfo& info,
          std::span<const UNUM8> frame, UNUM32 count);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_ITEMS_PACKED_FRAMES_H_
