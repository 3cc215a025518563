// The same through the exported functions of the library.

#include <algorithm>

#include "bench/speed_side.h"
#include "j2534/settings.h"
#include "platform/registry.h"
#include "tests/integration/loaded_libraries.h"

namespace bench {

namespace {

using passbridge::test::Library;

constexpr j2534_ulong kPatience = 5000;  // ms
constexpr j2534_ulong kIndicationBits = TX_MSG_TYPE | TX_DONE | START_OF_MESSAGE;

PASSTHRU_MSG MakeMessage(j2534_ulong protocol, const Message& bytes) {
  PASSTHRU_MSG message{};
  message.ProtocolID = protocol;
  message.DataSize = static_cast<j2534_ulong>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), message.Data);
  return message;
}

Message Identifier(std::uint32_t id) {
  return {static_cast<std::uint8_t>(id >> 24), static_cast<std::uint8_t>(id >> 16),
          static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id)};
}

void SwitchTrace(bool on) {
  namespace monitoring = passbridge::settings::monitoring;
  auto key = passbridge::platform::RegistryKey::Create(
      passbridge::platform::RegistryRoot::User, passbridge::settings::PathOf(monitoring::kKey));
  if (!key || !key->WriteDword(monitoring::kVciLogging, on ? 1 : 0)) Fail("settings", 0);
}

class BridgedSide : public Side {
 public:
  void Begin(const Plan& plan) override {
    plan_ = plan;
    SwitchTrace(plan.trace);
    Must("open", library_.PassThruOpen(name_.data(), &device_));
    channels_.push_back(Connect(plan.iso15765 ? ISO15765 : CAN));
    while (channels_.size() < plan.channels) channels_.push_back(Connect(CAN_PS));
  }

  void End() override {
    for (const j2534_ulong channel : channels_) Disconnect(channel);
    channels_.clear();
    Must("close", library_.PassThruClose(device_));
  }

  void ConnectAndDisconnect() override { Disconnect(Connect(CAN_PS)); }

  void Receive(unsigned channel, std::uint32_t count, std::uint32_t perRead) override {
    PASSTHRU_MSG local;
    PASSTHRU_MSG* const in = plan_.local ? &local : in_.data();
    std::uint32_t received = 0;
    while (received < count) {
      j2534_ulong got = std::min(perRead, count - received);
      Must("read", library_.PassThruReadMsgs(channels_[channel], in, &got, kPatience));
      received += static_cast<std::uint32_t>(std::count_if(in, in + got, [](const auto& message) {
        return (message.RxStatus & kIndicationBits) == 0;
      }));
    }
  }

  void Send(const Message& message, std::uint32_t count, bool wait) override {
    if (message != outMessage_ || out_.size() < count) {
      outMessage_ = message;
      out_.assign(count, MakeMessage(plan_.iso15765 ? ISO15765 : CAN, message));
    }
    j2534_ulong sent = count;
    Must("write",
         library_.PassThruWriteMsgs(channels_.front(), out_.data(), &sent, wait ? kPatience : 0));
  }

 private:
  void Must(const char* what, long status) {
    if (status == STATUS_NOERROR) return;
    char text[J2534_TEXT_SIZE] = {};
    library_.PassThruGetLastError(text);
    Fail(std::string(what) + ": " + text, status);
  }

  j2534_ulong Connect(j2534_ulong protocol) {
    j2534_ulong channel = 0;
    Must("connect", library_.PassThruConnect(device_, protocol, 0, 500000, &channel));
    if (protocol == CAN_PS) {
      SCONFIG pins{J1962_PINS, 0x060E};
      SCONFIG_LIST list{1, &pins};
      Must("pins", library_.PassThruIoctl(channel, SET_CONFIG, &list, nullptr));
    }
    if (protocol == ISO15765) {
      AddFlowControl(channel);
    } else {
      for (unsigned i = 0; i < plan_.filters; ++i) AddFilter(channel, protocol, i);
    }
    return channel;
  }

  void Disconnect(j2534_ulong channel) { Must("disconnect", library_.PassThruDisconnect(channel)); }

  void AddFilter(j2534_ulong channel, j2534_ulong protocol, unsigned index) {
    PASSTHRU_MSG mask = MakeMessage(protocol, Identifier(index == 0 ? 0 : 0xFFFFFFFF));
    PASSTHRU_MSG pattern = MakeMessage(protocol, Identifier(index));
    j2534_ulong filter = 0;
    Must("filter",
         library_.PassThruStartMsgFilter(channel, PASS_FILTER, &mask, &pattern, nullptr, &filter));
  }

  void AddFlowControl(j2534_ulong channel) {
    PASSTHRU_MSG mask = MakeMessage(ISO15765, Identifier(0xFFFFFFFF));
    PASSTHRU_MSG pattern = MakeMessage(ISO15765, Identifier(kResponseId));
    PASSTHRU_MSG flowControl = MakeMessage(ISO15765, Identifier(kRequestId));
    j2534_ulong filter = 0;
    Must("filter", library_.PassThruStartMsgFilter(channel, FLOW_CONTROL_FILTER, &mask, &pattern,
                                                   &flowControl, &filter));
  }

  Library library_{passbridge::test::LibraryPath()};
  std::string name_ = "J2534-2:SN='1' CXN='USB'";
  Plan plan_;
  j2534_ulong device_ = 0;
  std::vector<j2534_ulong> channels_;
  std::vector<PASSTHRU_MSG> in_ = std::vector<PASSTHRU_MSG>(100);
  Message outMessage_;
  std::vector<PASSTHRU_MSG> out_;
};

}  // namespace

std::unique_ptr<Side> MakeBridgedSide() { return std::make_unique<BridgedSide>(); }

}  // namespace bench
