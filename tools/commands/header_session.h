// Diagnostics by messages that begin with a header: what the K line and J1850 have in common.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_HEADER_SESSION_H_
#define PASSBRIDGE_TOOLS_COMMANDS_HEADER_SESSION_H_

#include <cstdint>
#include <string>
#include <vector>

#include "client/device.h"
#include "commands/command.h"
#include "commands/diagnostic_session.h"
#include "frames/obd_message.h"

namespace passbridge::tool {

class HeaderSession : public DiagnosticSession {
 public:
  bool AsksOneEcu() const override { return false; }
  void Send(std::span<const std::uint8_t> request) override;
  std::string Describe(std::span<const std::uint8_t> request) const override;

 protected:
  // Opens the device and the channel, which lets all messages through. Bit rate in bit/s.
  HeaderSession(const Target& target, ObdHeader header, std::uint32_t protocolId,
                std::uint32_t bitRate, Console& console);

  std::vector<EcuAnswer> ReadAnswers(std::chrono::milliseconds timeout) override;
  Channel& OpenChannel() { return channel_; }

 private:
  Console& console_;
  const ObdHeader header_;
  Device device_;
  Channel channel_;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_HEADER_SESSION_H_
