// Diagnostics on a K line.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_KLINE_SESSION_H_
#define PASSBRIDGE_TOOLS_COMMANDS_KLINE_SESSION_H_

#include <cstdint>
#include <string>
#include <vector>

#include "client/device.h"
#include "commands/command.h"
#include "commands/diagnostic_session.h"
#include "frames/kline_message.h"

namespace passbridge::tool {

// How the communication with ECUs begins.
struct KLineInit {
  KLineKind kind = KLineKind::Iso14230;
  bool fast = false;
  std::uint8_t address =
      0x33;  // for five baud; of a fast one: the target of its request, 0x33 is all
};

struct KLineStart {
  std::vector<std::uint8_t> response;  // of a fast initialisation
  std::vector<std::uint8_t> keyBytes;
};

class KLineSession final : public DiagnosticSession {
 public:
  // Opens the device and the channel, and initialises; throws std::runtime_error that says what may
  // have been missing if that fails.
  KLineSession(const Target& target, const KLineInit& init, Console& console);

  const KLineStart& Start() const { return start_; }
  bool AsksOneEcu() const override { return false; }
  void Send(std::span<const std::uint8_t> request) override;
  std::string Describe(std::span<const std::uint8_t> request) const override;

 protected:
  std::vector<EcuAnswer> ReadAnswers(std::chrono::milliseconds timeout) override;

 private:
  void InitialiseAtFiveBaud(std::uint8_t address);
  void InitialiseFast(std::uint8_t address);

  Console& console_;
  const KLineKind kind_;
  Device device_;
  Channel channel_;
  KLineStart start_;
};

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_KLINE_SESSION_H_
