// The J2534 functions that the tool calls, independent of the width of a library's fields.
#ifndef PASSBRIDGE_TOOLS_CLIENT_J2534_API_H_
#define PASSBRIDGE_TOOLS_CLIENT_J2534_API_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "client/message.h"
#include "platform/platform.h"

namespace passbridge::tool {

struct Versions {
  std::string firmware;
  std::string dll;
  std::string api;
};

// Each call returns the J2534 status. Times in milliseconds. One thread at a time.
class J2534Api {
 public:
  virtual ~J2534Api() = default;

  // `name` may be null: the library then chooses the device.
  virtual std::uint32_t Open(const char* name, std::uint32_t& deviceId) = 0;
  virtual std::uint32_t Close(std::uint32_t deviceId) = 0;
  virtual std::uint32_t Connect(std::uint32_t deviceId, std::uint32_t protocolId,
                                std::uint32_t flags, std::uint32_t baudRate,
                                std::uint32_t& channelId) = 0;
  virtual std::uint32_t Disconnect(std::uint32_t channelId) = 0;
  // Replaces the content of `messages` by what was read, whatever the status.
  virtual std::uint32_t ReadMessages(std::uint32_t channelId, std::size_t limit,
                                     std::uint32_t timeout, std::vector<Message>& messages) = 0;
  // `written` counts the messages that the library took, whatever the status.
  virtual std::uint32_t WriteMessages(std::uint32_t channelId, std::span<const Message> messages,
                                      std::uint32_t timeout, std::size_t& written) = 0;
  virtual std::uint32_t StartPassFilter(std::uint32_t channelId, const Message& mask,
                                        const Message& pattern) = 0;
  virtual std::uint32_t StartFlowControlFilter(std::uint32_t channelId, const Message& mask,
                                               const Message& pattern,
                                               const Message& flowControl) = 0;
  // `keyBytes` has what came back.
  virtual std::uint32_t FiveBaudInit(std::uint32_t channelId, std::uint8_t address,
                                     std::vector<std::uint8_t>& keyBytes) = 0;
  virtual std::uint32_t FastInit(std::uint32_t channelId, const Message& request,
                                 Message& response) = 0;
  virtual std::uint32_t SetConfig(std::uint32_t channelId, std::uint32_t parameter,
                                  std::uint32_t value) = 0;
  // Of J1850 PWM: to its functional message look-up table.
  virtual std::uint32_t AddFunctionalAddresses(std::uint32_t channelId,
                                               std::span<const std::uint8_t> addresses) = 0;
  // Of single-wire CAN.
  virtual std::uint32_t SwitchToHighSpeed(std::uint32_t channelId) = 0;
  // Of GM UART: this side becomes the bus master.
  virtual std::uint32_t BecomeMaster(std::uint32_t channelId, std::uint8_t master) = 0;
  virtual std::uint32_t ReadVersion(std::uint32_t deviceId, Versions& versions) = 0;
  // An ioctl without input whose output is one number.
  virtual std::uint32_t ReadNumber(std::uint32_t handle, std::uint32_t ioctlId,
                                   std::uint32_t& number) = 0;
  // An ioctl whose input is one number, without output.
  virtual std::uint32_t WriteNumber(std::uint32_t handle, std::uint32_t ioctlId,
                                    std::uint32_t number) = 0;
  // The library's text for the last failure, without line ends; empty if it has none.
  virtual std::string LastErrorText() = 0;
};

// Binds a loaded library whose structures have fields of type `Field`: `unsigned long` or
// `std::uint32_t`. Throws std::runtime_error that names the first missing function.
template <typename Field>
std::unique_ptr<J2534Api> BindJ2534Api(SharedLibrary library);
template <>
std::unique_ptr<J2534Api> BindJ2534Api<unsigned long>(SharedLibrary library);
template <>
std::unique_ptr<J2534Api> BindJ2534Api<std::uint32_t>(SharedLibrary library);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_CLIENT_J2534_API_H_
