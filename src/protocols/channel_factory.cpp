#include "protocols/channel_factory.h"

#include <algorithm>
#include <array>

#include "protocols/channel_can.h"
#include "protocols/channel_iso14230.h"
#include "protocols/channel_iso15765.h"

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

constexpr std::array kFamily{
    FamilyRow{ISO9141, Make<CJ2534Channel_ISO9141>},
    FamilyRow{ISO14230, Make<CJ2534Channel_ISO14230>},
    FamilyRow{CAN, Make<CJ2534Channel_CAN>},
    FamilyRow{ISO15765, Make<CJ2534Channel_ISO15765>},
    FamilyRow{FGA7274, Make<CJ2534Channel_07274>},
    FamilyRow{UBP_PS, Make<CJ2534Channel_UBP>},
};

}  // namespace

OwnedChannel CreateChannel(ProtocolType type) {
  const auto* const row =
      std::find_if(kFamily.begin(), kFamily.end(),
                   [type](const FamilyRow& entry) { return entry.type == type; });
  return row != kFamily.end() ? row->make() : nullptr;
}

}  // namespace passbridge
