#include "commands/option_values.h"

#include <stdexcept>

#include "frames/can_frame.h"
#include "frames/hex_text.h"

namespace passbridge::tool {
namespace {

// `use` gets the option's text, and may replace it.
template <typename Use>
CLI::Validator Validated(Use use) {
  const auto check = [use](std::string& text) {
    try {
      use(text);
      return std::string();
    } catch (const std::invalid_argument& error) {
      return std::string(error.what());
    }
  };
  return CLI::Validator(check, "");
}

}  // namespace

CLI::Validator CanIdText() { return Validated(ParseCanId); }
CLI::Validator IsoMessageText() { return Validated(ParseIsoMessage); }
CLI::Validator HexByteText() {
  return Validated([](std::string& text) { text = std::to_string(ParseHexByte(text)); });
}

}  // namespace passbridge::tool
