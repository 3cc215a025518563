#ifndef PASSBRIDGE_SERVER_INTERFACE_TYPE_H_
#define PASSBRIDGE_SERVER_INTERFACE_TYPE_H_

#include <array>
#include <cstdint>
#include <string_view>

namespace passbridge {

/// How a VCI is reached. The values are those of the settings and of the last-used record.
enum class InterfaceType : std::uint32_t {
  None = 0,
  Usb = 1,
  Ethernet = 2,
  Wireless = 3,
  Bluetooth = 4,
  Local = 5,
};

struct InterfaceName {
  InterfaceType type;
  std::string_view text;     ///< in a module's additional information
  std::string_view keyword;  ///< in the name that an application opens a VCI by
};

/// In the order of search: of several texts in one additional information the first one here
/// decides.
inline constexpr std::array<InterfaceName, 5> kInterfaceNames{{
    {InterfaceType::Usb, "USB", "USB"},
    {InterfaceType::Wireless, "Wireless", "WIRELESS"},
    {InterfaceType::Ethernet, "Ethernet", "ETHERNET"},
    {InterfaceType::Bluetooth, "Bluetooth", "BLUETOOTH"},
    {InterfaceType::Local, "Local", "LOCAL"},
}};

}  // namespace passbridge

#endif  // PASSBRIDGE_SERVER_INTERFACE_TYPE_H_
