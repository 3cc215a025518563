// Devices and channels as objects: opened by their constructor, closed by their destructor, with
// exceptions (StatusError) instead of statuses.
#ifndef PASSBRIDGE_TOOLS_CLIENT_DEVICE_H_
#define PASSBRIDGE_TOOLS_CLIENT_DEVICE_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "client/j2534_api.h"

namespace passbridge::tool {

class Device {
 public:
  // Without a name the library chooses the device. `api` must outlive the object.
  Device(J2534Api& api, const std::optional<std::string>& name);
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  J2534Api& Api() const { return api_; }
  std::uint32_t Id() const { return id_; }
  Versions ReadVersions() const;
  std::uint32_t ReadBatteryMillivolts() const;
  // By an ioctl of the manufacturer's own.
  std::uint32_t ReadSerialNumber() const;

 private:
  J2534Api& api_;
  std::uint32_t id_ = 0;
};

struct ReadResult {
  std::vector<Message> messages;
  bool overflow = false;  // the library lost messages
};

class Channel {
 public:
  // `device` must outlive the object. Baud rate in bit/s.
  Channel(const Device& device, std::uint32_t protocolId, std::uint32_t flags,
          std::uint32_t baudRate);
  ~Channel();
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;

  std::uint32_t ProtocolId() const { return protocolId_; }
  // The filter ends with the channel.
  void StartPassFilter(const Message& mask, const Message& pattern);
  void StartFlowControlFilter(const Message& mask, const Message& pattern,
                              const Message& flowControl);
  // Key bytes.
  std::vector<std::uint8_t> FiveBaudInit(std::uint8_t address);
  Message FastInit(const Message& request);
  void SetConfig(std::uint32_t parameter, std::uint32_t value);
  // Has a J1850 PWM channel receive what goes to these, too.
  void AddFunctionalAddresses(std::span<const std::uint8_t> addresses);
  // Of single-wire CAN.
  void SwitchToHighSpeed();
  // Has this side become the master of a GM UART bus, and communication begin.
  void BecomeMaster(std::uint8_t master);
  // Returns when something was read, at the latest after the time-out (then perhaps with nothing).
  ReadResult Read(std::chrono::milliseconds timeout);
  // Returns when all are on the bus; throws if they aren't within the time-out.
  void Write(std::span<const Message> messages, std::chrono::milliseconds timeout);

 private:
  J2534Api& api_;
  std::uint32_t protocolId_;
  std::uint32_t id_ = 0;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_CLIENT_DEVICE_H_
