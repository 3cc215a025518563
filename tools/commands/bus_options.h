// The protocols that monitor, send and isotp speak, and what the user chooses of one.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_BUS_OPTIONS_H_
#define PASSBRIDGE_TOOLS_COMMANDS_BUS_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace passbridge::tool {

enum class BusContent { CanFrames, Bytes, Iso15765 };

// What some protocols have beside messages.
enum class BusFeature { None, PwmNode, Master, SciFlags, SingleWire };

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
  std::optional<std::uint32_t> bitRate = {};  // bit/s
  std::uint32_t pins = 0;                     // as J1962_PINS has them; 0: none
  std::vector<unsigned> functional = {};  // addresses, of J1850 PWM; empty: those of OBD answers
  std::optional<unsigned> master = {};    // a byte, of GM UART
  bool highSpeed = false;                 // of single-wire CAN
  bool highVoltage = false;               // likewise

  const BusProtocol& Protocol() const;
  std::uint32_t BitRate() const { return bitRate.value_or(Protocol().bitRate); }
  bool OnCan() const { return Protocol().content == BusContent::CanFrames; }
  bool Has(BusFeature feature) const { return Protocol().feature == feature; }
};

// Protocol, bit rate and pins, and the speed of single-wire CAN. `usual` is the default's bit rate.
void AddChannelOptions(CLI::App& command, BusOptions& options, const std::string& usual);

// These, and what else protocols of frames and of bytes have.
void AddBusOptions(CLI::App& command, BusOptions& options);

// Of those that send.
void AddHighVoltageOption(CLI::App& command, BusOptions& options);

// Throws std::invalid_argument with a text for the user if the options don't go with the protocol.
void CheckBusOptions(const BusOptions& options);

// The same for an option that is for the frames of CAN only, or for messages of bytes.
void CheckContent(BusContent content, const BusOptions& options, const char* option, bool isGiven);

// The protocols with their usual bit rates, for the help.
std::string BusProtocolsHelp();
std::string IsoProtocolsHelp();

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_BUS_OPTIONS_H_
