// The protocols that monitor and send speak, and what the user chooses of one.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_BUS_OPTIONS_H_
#define PASSBRIDGE_TOOLS_COMMANDS_BUS_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace passbridge::tool {

enum class BusContent { CanFrames, Bytes };

// What some protocols have beside messages.
enum class BusFeature { None, PwmNode, Master, SciFlags };

struct BusProtocol {
  const char* name;       // as the user writes it
  std::uint32_t id;       // ProtocolID
  std::uint32_t bitRate;  // the usual one, bit/s
  BusContent content;
  bool isPinSwitched;  // the user has to say which pins
  BusFeature feature = BusFeature::None;
};

struct BusOptions {
  std::string protocol = "can";
  std::optional<std::uint32_t> bitRate;  // bit/s
  std::uint32_t pins = 0;                // as J1962_PINS has them; 0: none
  std::vector<unsigned> functional;      // addresses, of J1850 PWM; empty: those of OBD answers
  std::optional<unsigned> master;        // a byte, of GM UART

  const BusProtocol& Protocol() const;
  bool OnCan() const { return Protocol().content == BusContent::CanFrames; }
  bool Has(BusFeature feature) const { return Protocol().feature == feature; }
};

void AddBusOptions(CLI::App& command, BusOptions& options);

// Throws std::invalid_argument with a text for the user if the options don't go with the protocol.
void CheckBusOptions(const BusOptions& options);

// The same for an option that is for the frames of CAN only, or for messages of bytes.
void CheckContent(BusContent content, const BusOptions& options, const char* option, bool isGiven);

// The protocols with their usual bit rates, for the help.
std::string BusProtocolsHelp();

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_BUS_OPTIONS_H_
