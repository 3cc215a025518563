#ifndef PASSBRIDGE_TRACE_LOCATION_H_
#define PASSBRIDGE_TRACE_LOCATION_H_

#include <cstdint>

namespace passbridge {

/// A J2534-1 status (STATUS_NOERROR 0x00 to ERR_INVALID_DEVICE_ID 0x1A).
using Status = std::uint32_t;

/// The modules of the library as location codes number them.
enum class Module : std::uint8_t {
  Utility = 0x01,
  Channel = 0x02,
  ChannelCan = 0x03,
  ChannelGmUart = 0x04,
  ChannelIso9141 = 0x05,
  ChannelIso14230 = 0x06,
  ChannelIso15765 = 0x07,
  ChannelJ1850Pwm = 0x08,
  ChannelJ1850Vpw = 0x09,
  ChannelSwCan = 0x0A,
  ChannelSwIso15765 = 0x0B,
  Device = 0x0C,
  EventProcessor = 0x0D,
  Filter = 0x0E,
  FilterList = 0x0F,
  Parameter = 0x10,
  ParameterList = 0x11,
  PassThruMsg = 0x12,
  ReceiveBuffer = 0x13,
  Server = 0x14,
  ChannelJ2610Sci = 0x15,
};

/// One exit point of one method: module in bits 31-24, method number in bits 23-16, exit in bits
/// 15-0. Applications show it in their error reports, so a code keeps its value for ever.
using Location = std::uint32_t;

constexpr Location MakeLocation(Module module, std::uint8_t method, std::uint16_t point) {
  return (static_cast<Location>(module) << 24U) | (static_cast<Location>(method) << 16U) | point;
}

}  // namespace passbridge

#endif  // PASSBRIDGE_TRACE_LOCATION_H_
