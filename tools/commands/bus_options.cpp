#include "commands/bus_options.h"

#include <passbridge/j2534.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>

#include "commands/option_values.h"

namespace passbridge::tool {
namespace {

constexpr BusProtocol Can(const char* name, std::uint32_t id, std::uint32_t bitRate,
                          BusFeature feature = BusFeature::None) {
  return {name, id, bitRate, BusContent::CanFrames, id != CAN, feature};
}

constexpr BusProtocol Iso(const char* name, std::uint32_t id, std::uint32_t bitRate,
                          BusFeature feature = BusFeature::None) {
  return {name, id, bitRate, BusContent::Iso15765, id != ISO15765, feature};
}

constexpr BusProtocol OnPlug(const char* name, std::uint32_t id, std::uint32_t bitRate,
                             BusFeature feature = BusFeature::None) {
  return {name, id, bitRate, BusContent::Bytes, false, feature};
}

constexpr BusProtocol PinSwitched(const char* name, std::uint32_t id, std::uint32_t bitRate,
                                  BusFeature feature = BusFeature::None) {
  return {name, id, bitRate, BusContent::Bytes, true, feature};
}

constexpr std::uint32_t kKLineRate = 10400;
constexpr std::uint32_t kVpwRate = 10400;
constexpr std::uint32_t kSciRate = 7812;

constexpr BusProtocol kBusProtocols[] = {
    Can("can", CAN, 500000),
    Can("can-ps", CAN_PS, 500000),
    Can("ft-can-ps", FT_CAN_PS, 125000),
    Can("sw-can-ps", SW_CAN_PS, 33333, BusFeature::SingleWire),
    Iso("iso15765", ISO15765, 500000),
    Iso("iso15765-ps", ISO15765_PS, 500000),
    Iso("ft-iso15765-ps", FT_ISO15765_PS, 125000),
    Iso("sw-iso15765-ps", SW_ISO15765_PS, 33333, BusFeature::SingleWire),
    OnPlug("iso9141", ISO9141, kKLineRate),
    PinSwitched("iso9141-ps", ISO9141_PS, kKLineRate),
    OnPlug("iso14230", ISO14230, kKLineRate),
    PinSwitched("iso14230-ps", ISO14230_PS, kKLineRate),
    OnPlug("j1850vpw", J1850VPW, kVpwRate),
    PinSwitched("j1850vpw-ps", J1850VPW_PS, kVpwRate),
    OnPlug("j1850pwm", J1850PWM, 41600, BusFeature::PwmNode),
    OnPlug("sci-a-engine", SCI_A_ENGINE, kSciRate, BusFeature::SciFlags),
    OnPlug("sci-a-trans", SCI_A_TRANS, kSciRate, BusFeature::SciFlags),
    OnPlug("sci-b-engine", SCI_B_ENGINE, kSciRate, BusFeature::SciFlags),
    OnPlug("sci-b-trans", SCI_B_TRANS, kSciRate, BusFeature::SciFlags),
    PinSwitched("j2610-ps", J2610_PS, kSciRate, BusFeature::SciFlags),
    PinSwitched("gm-uart-ps", GM_UART_PS, 8192, BusFeature::Master),
    PinSwitched("ubp-ps", UBP_PS, 9600),
};

const BusProtocol* FindBusProtocol(const std::string& name) {
  const auto* const found =
      std::find_if(std::begin(kBusProtocols), std::end(kBusProtocols),
                   [&](const BusProtocol& each) { return each.name == name; });
  return found == std::end(kBusProtocols) ? nullptr : found;
}

// A protocol that carries ISO 15765 like the default, or doesn't like it.
CLI::Validator ProtocolLike(const BusOptions& options) {
  const bool isIso = options.Protocol().content == BusContent::Iso15765;
  const auto check = [isIso](const std::string& text) -> std::string {
    const BusProtocol* const found = FindBusProtocol(text);
    if (found != nullptr && (found->content == BusContent::Iso15765) == isIso) return {};
    return "\"" + text + "\" is no protocol of those that --help lists";
  };
  return CLI::Validator(check, "");
}

// "6,14" becomes the number that J1962_PINS takes: the first pin in bits 8 to 15, the second below.
std::string ReplacePins(std::string& text) {
  constexpr unsigned kLastPin = 16;
  const auto parts = CLI::detail::split(text, ',');
  std::array<unsigned, 2> pins{};
  bool isGood = parts.size() <= pins.size();
  for (std::size_t i = 0; isGood && i < parts.size(); ++i) {
    isGood = CLI::detail::lexical_cast(parts[i], pins[i]) && pins[i] >= 1 && pins[i] <= kLastPin;
  }
  if (!isGood || pins[0] == pins[1]) {
    return "\"" + text + "\": pins are one number or two, 1 to 16, such as 1 or 6,14";
  }
  text = std::to_string(pins[0] << 8 | pins[1]);
  return {};
}

// In lines that fit a terminal.
std::string ListProtocols(BusContent content) {
  constexpr std::size_t kLineWidth = 92;
  std::string text;
  std::string line;
  for (const BusProtocol& each : kBusProtocols) {
    if (each.content != content) continue;
    const std::string item = std::string(each.name) + " " + std::to_string(each.bitRate);
    if (line.size() + item.size() > kLineWidth) {
      text += line + ",\n";
      line.clear();
    }
    line += (line.empty() ? "  " : ", ") + item;
  }
  return text + line + "\n";
}

void Require(bool condition, const std::string& complaint) {
  if (!condition) throw std::invalid_argument(complaint);
}

}  // namespace

const BusProtocol& BusOptions::Protocol() const {
  const BusProtocol* const found = FindBusProtocol(protocol);
  Require(found != nullptr, "no protocol " + protocol);
  return *found;
}

void AddChannelOptions(CLI::App& command, BusOptions& options, const std::string& usual) {
  command
      .add_option("-p,--protocol", options.protocol,
                  "protocol of the channel, see below (default: " + options.protocol + ")")
      ->check(ProtocolLike(options))
      ->type_name("NAME");
  AddBitRateOption(command, options.bitRate, usual);
  command
      .add_option("--pins", options.pins,
                  "pins of the vehicle's connector, such as 1 or 6,14, of protocols with -ps")
      ->transform(CLI::Validator(ReplacePins, ""))
      ->type_name("PINS");
  command.add_flag("--high-speed", options.highSpeed,
                   "single-wire CAN at its high speed, 83333 bit/s");
}

void AddHighVoltageOption(CLI::App& command, BusOptions& options) {
  command.add_flag("--high-voltage", options.highVoltage,
                   "send with the high voltage of single-wire CAN, which wakes ECUs that sleep");
}

void AddBusOptions(CLI::App& command, BusOptions& options) {
  AddChannelOptions(command, options, "the protocol's usual one");
  command
      .add_option("--functional", options.functional,
                  "functional address that a j1850pwm channel receives (default: 6B); repeatable")
      ->transform(HexByteText())
      ->type_name("BYTE")
      ->allow_extra_args(false);
  command
      .add_option("--become-master", options.master,
                  "have the VCI become the master of a gm-uart-ps bus by this byte")
      ->transform(HexByteText())
      ->type_name("BYTE");
}

void CheckBusOptions(const BusOptions& options) {
  const BusProtocol& protocol = options.Protocol();
  const std::string name = protocol.name;
  Require(!protocol.isPinSwitched || options.pins != 0, name + " needs --pins");
  Require(protocol.isPinSwitched || options.pins == 0,
          "--pins is for protocols with -ps: the pins of " + name + " are given");
  Require(options.functional.empty() || options.Has(BusFeature::PwmNode),
          "--functional is for j1850pwm");
  Require(!options.master || options.Has(BusFeature::Master), "--become-master is for gm-uart-ps");
  Require((!options.highSpeed && !options.highVoltage) || options.Has(BusFeature::SingleWire),
          "--high-speed and --high-voltage are for single-wire CAN: " + name + " has none");
}

void CheckContent(BusContent content, const BusOptions& options, const char* option, bool isGiven) {
  const char* const what = content == BusContent::CanFrames ? "CAN frames" : "bytes";
  Require(!isGiven || options.Protocol().content == content,
          std::string(option) + " is for " + what + ": " + options.protocol + " has none");
}

std::string BusProtocolsHelp() {
  return "Protocols of CAN frames, with their usual bit rates; those with -ps need --pins:\n" +
         ListProtocols(BusContent::CanFrames) + "Protocols of bytes:\n" +
         ListProtocols(BusContent::Bytes);
}

std::string IsoProtocolsHelp() {
  return "Protocols, with their usual bit rates; those with -ps need --pins:\n" +
         ListProtocols(BusContent::Iso15765);
}

}  // namespace passbridge::tool
