// Compiled twice: with the field width of the standard, and with PASSBRIDGE_J2534_U32.
#include <passbridge/j2534.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "client/j2534_api.h"

namespace passbridge::tool {
namespace {

template <typename Function>
Function Resolve(const SharedLibrary& library, const char* name) {
  const auto symbol = library.Symbol(name);
  if (symbol == nullptr) {
    throw std::runtime_error(library.Name() + " is no J2534 library: it does not export " + name);
  }
  return reinterpret_cast<Function>(symbol);
}

std::uint32_t ToStatus(long result) { return static_cast<std::uint32_t>(result); }

std::uint32_t Narrow(j2534_ulong value) { return static_cast<std::uint32_t>(value); }

// A foreign library may count beyond what it was given.
std::size_t Bounded(j2534_ulong count, std::size_t limit) {
  return std::min(static_cast<std::size_t>(count), limit);
}

void Fill(PASSTHRU_MSG& raw, const Message& message) {
  raw = {};
  raw.ProtocolID = message.protocolId;
  raw.TxFlags = message.txFlags;
  const std::size_t size = std::min(message.data.size(), sizeof(raw.Data));
  std::copy_n(message.data.begin(), size, raw.Data);
  raw.DataSize = static_cast<j2534_ulong>(size);
  raw.ExtraDataIndex = raw.DataSize;
}

Message FromRaw(const PASSTHRU_MSG& raw) {
  const std::size_t size = Bounded(raw.DataSize, sizeof(raw.Data));
  return {Narrow(raw.ProtocolID),
          Narrow(raw.RxStatus),
          Narrow(raw.TxFlags),
          Narrow(raw.Timestamp),
          {raw.Data, raw.Data + size}};
}

// A text buffer of the standard's size that a foreign library may leave unterminated.
class TextBuffer {
 public:
  char* Data() { return text_; }
  std::string Text() const {
    std::string text(text_, std::find(text_, text_ + J2534_TEXT_SIZE, '\0'));
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    return text;
  }

 private:
  char text_[J2534_TEXT_SIZE + 1] = {};
};

class BoundApi final : public J2534Api {
 public:
  explicit BoundApi(SharedLibrary library)
      : library_(std::move(library)),
        open_(Resolve<PFN_PassThruOpen>(library_, "PassThruOpen")),
        close_(Resolve<PFN_PassThruClose>(library_, "PassThruClose")),
        connect_(Resolve<PFN_PassThruConnect>(library_, "PassThruConnect")),
        disconnect_(Resolve<PFN_PassThruDisconnect>(library_, "PassThruDisconnect")),
        readMsgs_(Resolve<PFN_PassThruReadMsgs>(library_, "PassThruReadMsgs")),
        writeMsgs_(Resolve<PFN_PassThruWriteMsgs>(library_, "PassThruWriteMsgs")),
        startMsgFilter_(Resolve<PFN_PassThruStartMsgFilter>(library_, "PassThruStartMsgFilter")),
        readVersion_(Resolve<PFN_PassThruReadVersion>(library_, "PassThruReadVersion")),
        getLastError_(Resolve<PFN_PassThruGetLastError>(library_, "PassThruGetLastError")),
        ioctl_(Resolve<PFN_PassThruIoctl>(library_, "PassThruIoctl")) {}

  std::uint32_t Open(const char* name, std::uint32_t& deviceId) override {
    j2534_ulong id = 0;
    std::string copy(name == nullptr ? "" : name);  // the standard's argument is not const
    const auto status = ToStatus(open_(name == nullptr ? nullptr : copy.data(), &id));
    deviceId = Narrow(id);
    return status;
  }

  std::uint32_t Close(std::uint32_t deviceId) override { return ToStatus(close_(deviceId)); }

  std::uint32_t Connect(std::uint32_t deviceId, std::uint32_t protocolId, std::uint32_t flags,
                        std::uint32_t baudRate, std::uint32_t& channelId) override {
    j2534_ulong id = 0;
    const auto status = ToStatus(connect_(deviceId, protocolId, flags, baudRate, &id));
    channelId = Narrow(id);
    return status;
  }

  std::uint32_t Disconnect(std::uint32_t channelId) override {
    return ToStatus(disconnect_(channelId));
  }

  std::uint32_t ReadMessages(std::uint32_t channelId, std::size_t limit, std::uint32_t timeout,
                             std::vector<Message>& messages) override {
    raw_.resize(std::max(raw_.size(), limit));
    auto count = static_cast<j2534_ulong>(limit);
    const auto status = ToStatus(readMsgs_(channelId, raw_.data(), &count, timeout));
    messages.clear();
    if (HasMessages(status)) {
      for (std::size_t i = 0; i < Bounded(count, limit); ++i) messages.push_back(FromRaw(raw_[i]));
    }
    return status;
  }

  std::uint32_t WriteMessages(std::uint32_t channelId, std::span<const Message> messages,
                              std::uint32_t timeout, std::size_t& written) override {
    raw_.resize(std::max(raw_.size(), messages.size()));
    for (std::size_t i = 0; i < messages.size(); ++i) Fill(raw_[i], messages[i]);
    auto count = static_cast<j2534_ulong>(messages.size());
    const auto status = ToStatus(writeMsgs_(channelId, raw_.data(), &count, timeout));
    written = Bounded(count, messages.size());
    return status;
  }

  std::uint32_t StartPassFilter(std::uint32_t channelId, const Message& mask,
                                const Message& pattern) override {
    return StartFilter(channelId, PASS_FILTER, mask, pattern, nullptr);
  }

  std::uint32_t StartFlowControlFilter(std::uint32_t channelId, const Message& mask,
                                       const Message& pattern,
                                       const Message& flowControl) override {
    return StartFilter(channelId, FLOW_CONTROL_FILTER, mask, pattern, &flowControl);
  }

  std::uint32_t FiveBaudInit(std::uint32_t channelId, std::uint8_t address,
                             std::vector<std::uint8_t>& keyBytes) override {
    constexpr std::size_t kRoom = 8;
    keyBytes.assign(kRoom, 0);
    SBYTE_ARRAY input{1, &address};
    SBYTE_ARRAY output{kRoom, keyBytes.data()};
    const auto status = ToStatus(ioctl_(channelId, FIVE_BAUD_INIT, &input, &output));
    keyBytes.resize(status == STATUS_NOERROR ? Bounded(output.NumOfBytes, kRoom) : 0);
    return status;
  }

  std::uint32_t FastInit(std::uint32_t channelId, const Message& request,
                         Message& response) override {
    raw_.resize(std::max<std::size_t>(raw_.size(), 2));
    Fill(raw_[0], request);
    const auto status = ToStatus(ioctl_(channelId, FAST_INIT, &raw_[0], &raw_[1]));
    if (status == STATUS_NOERROR) response = FromRaw(raw_[1]);
    return status;
  }

  std::uint32_t SetConfig(std::uint32_t channelId, std::uint32_t parameter,
                          std::uint32_t value) override {
    SCONFIG config{parameter, value};
    SCONFIG_LIST list{1, &config};
    return ToStatus(ioctl_(channelId, SET_CONFIG, &list, nullptr));
  }

  std::uint32_t AddFunctionalAddresses(std::uint32_t channelId,
                                       std::span<const std::uint8_t> addresses) override {
    std::vector<std::uint8_t> copy(addresses.begin(), addresses.end());  // the input is not const
    SBYTE_ARRAY input{static_cast<j2534_ulong>(copy.size()), copy.data()};
    return ToStatus(ioctl_(channelId, ADD_TO_FUNCT_MSG_LOOKUP_TABLE, &input, nullptr));
  }

  std::uint32_t SwitchToHighSpeed(std::uint32_t channelId) override {
    return ToStatus(ioctl_(channelId, SW_CAN_HS, nullptr, nullptr));
  }

  std::uint32_t BecomeMaster(std::uint32_t channelId, std::uint8_t master) override {
    return ToStatus(ioctl_(channelId, BECOME_MASTER, &master, nullptr));
  }

  std::uint32_t ReadVersion(std::uint32_t deviceId, Versions& versions) override {
    TextBuffer firmware;
    TextBuffer dll;
    TextBuffer api;
    const auto status = ToStatus(readVersion_(deviceId, firmware.Data(), dll.Data(), api.Data()));
    versions = {firmware.Text(), dll.Text(), api.Text()};
    return status;
  }

  std::uint32_t ReadNumber(std::uint32_t handle, std::uint32_t ioctlId,
                           std::uint32_t& number) override {
    j2534_ulong value = 0;
    const auto status = ToStatus(ioctl_(handle, ioctlId, nullptr, &value));
    number = Narrow(value);
    return status;
  }

  std::uint32_t WriteNumber(std::uint32_t handle, std::uint32_t ioctlId,
                            std::uint32_t number) override {
    j2534_ulong value = number;
    return ToStatus(ioctl_(handle, ioctlId, &value, nullptr));
  }

  std::string LastErrorText() override {
    TextBuffer text;
    return getLastError_(text.Data()) == STATUS_NOERROR ? text.Text() : std::string();
  }

 private:
  std::uint32_t StartFilter(std::uint32_t channelId, j2534_ulong type, const Message& mask,
                            const Message& pattern, const Message* flowControl) {
    raw_.resize(std::max<std::size_t>(raw_.size(), 3));
    Fill(raw_[0], mask);
    Fill(raw_[1], pattern);
    if (flowControl != nullptr) Fill(raw_[2], *flowControl);
    j2534_ulong filterId = 0;
    return ToStatus(startMsgFilter_(channelId, type, &raw_[0], &raw_[1],
                                    flowControl != nullptr ? &raw_[2] : nullptr, &filterId));
  }

  // With any other status the count and the messages are not the library's.
  static bool HasMessages(std::uint32_t status) {
    return status == STATUS_NOERROR || status == ERR_TIMEOUT || status == ERR_BUFFER_OVERFLOW;
  }

  SharedLibrary library_;
  PFN_PassThruOpen open_;
  PFN_PassThruClose close_;
  PFN_PassThruConnect connect_;
  PFN_PassThruDisconnect disconnect_;
  PFN_PassThruReadMsgs readMsgs_;
  PFN_PassThruWriteMsgs writeMsgs_;
  PFN_PassThruStartMsgFilter startMsgFilter_;
  PFN_PassThruReadVersion readVersion_;
  PFN_PassThruGetLastError getLastError_;
  PFN_PassThruIoctl ioctl_;
  std::vector<PASSTHRU_MSG> raw_;
};

}  // namespace

template <>
std::unique_ptr<J2534Api> BindJ2534Api<j2534_ulong>(SharedLibrary library) {
  return std::make_unique<BoundApi>(std::move(library));
}

}  // namespace passbridge::tool
