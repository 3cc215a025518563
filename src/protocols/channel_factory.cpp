#include "protocols/channel_factory.h"

#include <algorithm>
#include <array>

#include "protocols/channel_can.h"
#include "protocols/channel_gm_uart.h"
#include "protocols/channel_iso14230.h"
#include "protocols/channel_iso15765.h"
#include "protocols/channel_j1850pwm.h"
#include "protocols/channel_j1850vpw.h"
#include "protocols/channel_j2610_sci.h"
#include "protocols/channel_swcan.h"
#include "protocols/channel_swiso15765.h"

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
    FamilyRow{J1850VPW, Make<CJ2534Channel_J1850VPW>},
    FamilyRow{J1850PWM, Make<CJ2534Channel_J1850PWM>},
    FamilyRow{ISO9141, Make<CJ2534Channel_ISO9141>},
    FamilyRow{ISO14230, Make<CJ2534Channel_ISO14230>},
    FamilyRow{CAN, Make<CJ2534Channel_CAN>},
    FamilyRow{ISO15765, Make<CJ2534Channel_ISO15765>},
    FamilyRow{SCI_A_ENGINE, Make<CJ2534Channel_J2610SCI>},
    FamilyRow{SCI_A_TRANS, Make<CJ2534Channel_J2610SCI>},
    FamilyRow{SCI_B_ENGINE, Make<CJ2534Channel_J2610SCI>},
    FamilyRow{SCI_B_TRANS, Make<CJ2534Channel_J2610SCI>},
    FamilyRow{SW_ISO15765_PS, Make<CJ2534Channel_SWISO15765>},
    FamilyRow{SW_CAN_PS, Make<CJ2534Channel_SWCAN>},
    FamilyRow{GM_UART_PS, Make<CJ2534Channel_GMUART>},
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
