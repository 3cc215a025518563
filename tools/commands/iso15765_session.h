// Diagnostics on an ISO 15765 channel.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_ISO15765_SESSION_H_
#define PASSBRIDGE_TOOLS_COMMANDS_ISO15765_SESSION_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/device.h"
#include "commands/bus_options.h"
#include "commands/command.h"
#include "commands/diagnostic_session.h"
#include "frames/can_frame.h"

namespace passbridge::tool {

// Who sends and who hears on ISO 15765: an identifier, and the address byte of extended addressing.
struct IsoAddress {
  CanId id;
  std::optional<std::uint8_t> extension;
};

// An ECU that may answer: its answers, and where its flow control goes.
struct IsoPair {
  IsoAddress request;
  IsoAddress answer;
};

struct IsoOptions {
  BusOptions bus{.protocol = "iso15765"};
  bool padding = false;
};

// EcusAt() with normal addressing.
std::vector<IsoPair> UsualPairs(const CanId& target);

class Iso15765Session final : public DiagnosticSession {
 public:
  // Opens the device and the channel; `pairs` get a flow-control filter each. All identifiers have
  // the width of the target's.
  Iso15765Session(const Target& target, const IsoOptions& options, const IsoAddress& to,
                  const std::vector<IsoPair>& pairs, Console& console);

  bool AsksOneEcu() const override { return single_; }
  void Send(std::span<const std::uint8_t> request) override;
  std::string Describe(std::span<const std::uint8_t> request) const override;

 protected:
  std::vector<EcuAnswer> ReadAnswers(std::chrono::milliseconds timeout) override;

 private:
  Message ToIsoMessage(const IsoAddress& address, std::span<const std::uint8_t> data) const;

  Console& console_;
  IsoAddress to_;
  bool padding_;
  bool highVoltage_;
  bool single_;
  Device device_;
  Channel channel_;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_ISO15765_SESSION_H_
