#include "client/device.h"

#include <passbridge/j2534.h>

#include "client/status.h"

namespace passbridge::tool {
namespace {

constexpr std::size_t kReadBatch = 64;

void Check(J2534Api& api, const char* function, std::uint32_t status) {
  if (status != STATUS_NOERROR) throw StatusError(function, status, api.LastErrorText());
}

// The end of a waiting time, not a failure.
bool IsQuietEnd(std::uint32_t status) {
  return status == ERR_BUFFER_EMPTY || status == ERR_TIMEOUT;
}

std::uint32_t Milliseconds(std::chrono::milliseconds time) {
  return static_cast<std::uint32_t>(time.count());
}

}  // namespace

Device::Device(J2534Api& api, const std::optional<std::string>& name) : api_(api) {
  Check(api_, "PassThruOpen", api_.Open(name ? name->c_str() : nullptr, id_));
}

Device::~Device() { api_.Close(id_); }

Versions Device::ReadVersions() const {
  Versions versions;
  Check(api_, "PassThruReadVersion", api_.ReadVersion(id_, versions));
  return versions;
}

std::uint32_t Device::ReadBatteryMillivolts() const {
  std::uint32_t millivolts = 0;
  Check(api_, "PassThruIoctl(READ_VBATT)", api_.ReadNumber(id_, READ_VBATT, millivolts));
  return millivolts;
}

std::uint32_t Device::ReadSerialNumber() const {
  std::uint32_t serialNumber = 0;
  Check(api_, "PassThruIoctl(GET_VCI_SERIAL_NUMBER)",
        api_.ReadNumber(id_, GET_VCI_SERIAL_NUMBER, serialNumber));
  return serialNumber;
}

Channel::Channel(const Device& device, std::uint32_t protocolId, std::uint32_t flags,
                 std::uint32_t baudRate)
    : api_(device.Api()), protocolId_(protocolId) {
  Check(api_, "PassThruConnect", api_.Connect(device.Id(), protocolId, flags, baudRate, id_));
}

Channel::~Channel() { api_.Disconnect(id_); }

void Channel::StartPassFilter(const Message& mask, const Message& pattern) {
  Check(api_, "PassThruStartMsgFilter", api_.StartPassFilter(id_, mask, pattern));
}

void Channel::StartFlowControlFilter(const Message& mask, const Message& pattern,
                                     const Message& flowControl) {
  Check(api_, "PassThruStartMsgFilter",
        api_.StartFlowControlFilter(id_, mask, pattern, flowControl));
}

std::vector<std::uint8_t> Channel::FiveBaudInit(std::uint8_t address) {
  std::vector<std::uint8_t> keyBytes;
  Check(api_, "PassThruIoctl(FIVE_BAUD_INIT)", api_.FiveBaudInit(id_, address, keyBytes));
  return keyBytes;
}

Message Channel::FastInit(const Message& request) {
  Message response;
  Check(api_, "PassThruIoctl(FAST_INIT)", api_.FastInit(id_, request, response));
  return response;
}

void Channel::SetConfig(std::uint32_t parameter, std::uint32_t value) {
  Check(api_, "PassThruIoctl(SET_CONFIG)", api_.SetConfig(id_, parameter, value));
}

void Channel::AddFunctionalAddresses(std::span<const std::uint8_t> addresses) {
  Check(api_, "PassThruIoctl(ADD_TO_FUNCT_MSG_LOOKUP_TABLE)",
        api_.AddFunctionalAddresses(id_, addresses));
}

void Channel::SwitchToHighSpeed() {
  Check(api_, "PassThruIoctl(SW_CAN_HS)", api_.SwitchToHighSpeed(id_));
}

void Channel::BecomeMaster(std::uint8_t master) {
  Check(api_, "PassThruIoctl(BECOME_MASTER)", api_.BecomeMaster(id_, master));
}

// A read for several messages waits until it has them all. So the wait is for one message, and
// what else is there comes without waiting.
ReadResult Channel::Read(std::chrono::milliseconds timeout) {
  ReadResult result;
  const auto read = [&](std::size_t limit, std::chrono::milliseconds wait) {
    std::vector<Message> messages;
    const auto status = api_.ReadMessages(id_, limit, Milliseconds(wait), messages);
    result.messages.insert(result.messages.end(), messages.begin(), messages.end());
    if (status == ERR_BUFFER_OVERFLOW) {
      result.overflow = true;
    } else if (!IsQuietEnd(status)) {
      Check(api_, "PassThruReadMsgs", status);
    }
    return !messages.empty();
  };
  if (read(1, timeout)) read(kReadBatch, std::chrono::milliseconds(0));
  return result;
}

void Channel::Write(std::span<const Message> messages, std::chrono::milliseconds timeout) {
  std::size_t written = 0;
  const auto status = api_.WriteMessages(id_, messages, Milliseconds(timeout), written);
  if (status == STATUS_NOERROR) return;
  std::string function = "PassThruWriteMsgs";
  if (messages.size() > 1) {
    function +=
        " (" + std::to_string(written) + " of " + std::to_string(messages.size()) + " frames sent)";
  }
  throw StatusError(function, status, api_.LastErrorText());
}

}  // namespace passbridge::tool
