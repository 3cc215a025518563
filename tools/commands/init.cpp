#include <memory>
#include <string>

#include "commands/commands.h"
#include "commands/kline_session.h"
#include "commands/option_values.h"
#include "frames/hex_text.h"

namespace passbridge::tool {
namespace {

struct InitOptions {
  std::string protocol = "iso14230";
  unsigned address = 0x33;
  bool fast = false;
};

constexpr const char* kInitFooter =
    "Examples:\n"
    "  passbridge init --protocol iso9141           at five baud, address 33\n"
    "  passbridge init --fast --address 10          wake-up and StartCommunication\n";

int RunInit(const Target& target, const InitOptions& options, Console& console) {
  const bool iso9141 = options.protocol == "iso9141";
  const KLineSession session(target,
                             {.header = iso9141 ? ObdHeader::Iso9141 : ObdHeader::Iso14230,
                              .fast = options.fast,
                              .address = static_cast<std::uint8_t>(options.address)},
                             console);
  const KLineStart& start = session.Start();
  if (!start.response.empty()) console.out << "response   " << FormatBytes(start.response) << '\n';
  if (!start.keyBytes.empty()) console.out << "key bytes  " << FormatBytes(start.keyBytes) << '\n';
  return kExitSuccess;
}

}  // namespace

Command AddInitCommand(CLI::App& root) {
  const auto options = std::make_shared<InitOptions>();
  auto* const command =
      root.add_subcommand("init", "Initialise a K line and show the ECU's key bytes");
  command
      ->add_option("-p,--protocol", options->protocol,
                   "protocol of the channel, iso9141 or iso14230 (default: iso14230)")
      ->check(CLI::IsMember({"iso9141", "iso14230"}).description(""))
      ->type_name("NAME");
  command
      ->add_option("-a,--address", options->address,
                   "address of the ECU in hexadecimal (default: 33)")
      ->transform(HexByteText())
      ->type_name("BYTE");
  command->add_flag("--fast", options->fast, "fast initialisation instead of five baud");
  command->footer(kInitFooter);
  return MakeCommand<InitOptions>(command, options, RunInit);
}

}  // namespace passbridge::tool
