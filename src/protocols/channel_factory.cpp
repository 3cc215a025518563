#include "protocols/channel_factory.h"

#include <algorithm>
#include <array>

#include "protocols/channel_can.h"

namespace passbridge {

namespace {

template <typename Channel>
OwnedChannel Make() {
  return OwnedChannel(new Channel);
}

struct FamilyRow {
  ProtocolType type;
  OwnedChannel (*make)();
};

constexpr std::array<FamilyRow, 1> kFamily{{
    {CAN, Make<CJ2534Channel_CAN>},
}};

}  // namespace

OwnedChannel CreateChannel(ProtocolType type) {
  const auto* const row =
      std::find_if(kFamily.begin(), kFamily.end(),
                   [type](const FamilyRow& entry) { return entry.type == type; });
  return row != kFamily.end() ? row->make() : nullptr;
}

}  // namespace passbridge
