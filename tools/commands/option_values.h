// Kinds of values that options of several subcommands take.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_OPTION_VALUES_H_
#define PASSBRIDGE_TOOLS_COMMANDS_OPTION_VALUES_H_

#include <CLI/CLI.hpp>
#include <cstdint>
#include <map>
#include <string>

namespace passbridge::tool {

// Milliseconds that options may have: an hour.
inline constexpr std::uint32_t kMaxTime = 3600000;

// A number of at least `low` and at most `high`; the help doesn't spell it out.
template <typename Number>
CLI::Validator Between(Number low, Number high) {
  return CLI::Range(low, high).description("");
}

// A number of bit/s, or std::optional of one. `usual` is the default in words.
template <typename BitRate>
void AddBitRateOption(CLI::App& command, BitRate& bitRate, const std::string& usual = "500k") {
  static const std::map<std::string, std::uint32_t> units = {{"k", 1000}, {"M", 1000000}};
  command
      .add_option("-b,--bitrate", bitRate,
                  "bit rate, such as 500000 or 500k (default: " + usual + ")")
      ->transform(CLI::AsNumberWithUnit(units).description(""))
      ->type_name("BIT/S");
}

// Validators whose complaint is the parser's text.
CLI::Validator CanIdText();
CLI::Validator IsoMessageText();
// Turns two hexadecimal digits into the number that the option takes.
CLI::Validator HexByteText();

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_OPTION_VALUES_H_
