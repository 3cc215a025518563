#ifndef PASSBRIDGE_UI_INTERFACE_TEXTS_H_
#define PASSBRIDGE_UI_INTERFACE_TEXTS_H_

#include <array>
#include <cstdint>

#include "server/interface_type.h"
#include "ui/explorer_texts.h"

namespace passbridge {

/// What the user can do; the numbers are those of the dialog's controls and menu items.
enum class Command : std::uint32_t {
  Cancel = 2,
  Connect = 1010,
  ConnectUsb = 32776,
  ConnectWireless = 32777,
  ConnectEthernet = 32778,
  SetAsDefault = 32781,
  ConnectBluetooth = 32784,
  ConnectLocal = 32785,
};

struct InterfaceText {
  InterfaceType type;
  TextId name;
  Command connect;
};

/// In the order in which tool tips and the menu name them.
inline constexpr std::array<InterfaceText, 5> kInterfaceTexts{{
    {InterfaceType::Usb, TextId::Usb, Command::ConnectUsb},
    {InterfaceType::Wireless, TextId::Wireless, Command::ConnectWireless},
    {InterfaceType::Ethernet, TextId::Ethernet, Command::ConnectEthernet},
    {InterfaceType::Bluetooth, TextId::Bluetooth, Command::ConnectBluetooth},
    {InterfaceType::Local, TextId::Local, Command::ConnectLocal},
}};

}  // namespace passbridge

#endif  // PASSBRIDGE_UI_INTERFACE_TEXTS_H_
