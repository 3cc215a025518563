#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/iso15765_session.h"
#include "commands/option_values.h"
#include "frames/diagnostic_answer.h"
#include "frames/hex_text.h"

namespace passbridge::tool {
namespace {

struct IsoTpOptions {
  IsoOptions iso;
  std::string request;
  std::string answer;              // identifier; empty: the usual one
  std::vector<unsigned> extended;  // address bytes of the request and of the answer; or none
  bool functional = false;
  std::uint32_t wait = 1000;     // ms
  std::uint32_t pending = 5000;  // ms
};

constexpr const char* kIsoTpFooter =
    "A message is identifier#data in hexadecimal, as of send, with up to 4095 bytes. The answer's\n"
    "identifier is the usual one (7E0 to 7E7: 8 more; 18DAxxF1: 18DAF1xx) unless --answer gives "
    "it.\n"
    "An answer that says \"still to come\" (7F xx 78) is shown and waited for.\n"
    "Examples:\n"
    "  passbridge isotp 7E0#0902                        the VIN, which takes several frames\n"
    "  passbridge isotp 18DA10F1#22F190 --padding\n"
    "  passbridge isotp 7DF#0902 --functional           all ECUs\n"
    "  passbridge isotp 6F1#1001 --answer 612 --extended 12 F1\n"
    "  passbridge isotp 242#22F190 --answer 642 --protocol sw-iso15765-ps --pins 1 "
    "--high-voltage\n";

std::optional<std::uint8_t> Extension(const IsoTpOptions& options, std::size_t index) {
  if (options.extended.empty()) return std::nullopt;
  return static_cast<std::uint8_t>(options.extended[index]);
}

std::vector<IsoPair> Pairs(const IsoTpOptions& options, const IsoAddress& to) {
  if (!options.answer.empty()) {
    const CanId answer = ParseCanId(options.answer);
    if (answer.extended != to.id.extended) {
      throw std::invalid_argument("request and answer have identifiers of one width");
    }
    return {{to, {answer, Extension(options, 1)}}};
  }
  auto pairs = UsualPairs(to.id);
  if (pairs.size() > 1 && !options.functional) {
    throw std::invalid_argument("\"" + FormatCanId(to.id) +
                                "\" reaches several ECUs: say --functional");
  }
  for (IsoPair& pair : pairs) {
    pair.request.extension = to.extension;
    pair.answer.extension = Extension(options, 1);
  }
  return pairs;
}

int RunIsoTp(const Target& target, const IsoTpOptions& options, Console& console) {
  const CanFrame request = ParseIsoMessage(options.request);
  const IsoAddress to{request.id, Extension(options, 0)};
  Iso15765Session session(target, options.iso, to, Pairs(options, to), console);
  bool answered = false;
  const AskLimits limits{std::chrono::milliseconds(options.wait),
                         std::chrono::milliseconds(options.pending), 0};
  const bool complete =
      Ask(session, request.data, limits, console.stopRequested, [&](const EcuAnswer& answer) {
        console.out << answer.ecu << '#' << FormatBytes(answer.data) << '\n' << std::flush;
        answered = answered || !IsResponsePending(answer.data);
      });
  if (!answered || !complete) {
    console.err << "passbridge: no " << (complete ? "" : "final ") << "answer in time\n";
  }
  return answered && complete ? kExitSuccess : kExitFailure;
}

}  // namespace

Command AddIsoTpCommand(CLI::App& root) {
  const auto options = std::make_shared<IsoTpOptions>();
  auto* const command =
      root.add_subcommand("isotp", "Send an ISO 15765 request and show the answers");
  AddChannelOptions(*command, options->iso.bus, "the protocol's usual one");
  AddHighVoltageOption(*command, options->iso.bus);
  command->add_option("request", options->request, "message such as 7E0#0902")
      ->required()
      ->check(IsoMessageText())
      ->type_name("MESSAGE");
  auto* const answer =
      command->add_option("-a,--answer", options->answer, "identifier of the answer")
          ->check(CanIdText())
          ->type_name("ID");
  command
      ->add_option("-x,--extended", options->extended,
                   "extended addressing: address bytes of request and answer, in hexadecimal")
      ->expected(2)
      ->transform(HexByteText())
      ->type_name("BYTE");
  command->add_flag("--padding", options->iso.padding, "pad the frames to eight bytes");
  command->add_flag("--functional", options->functional, "all ECUs may answer")->excludes(answer);
  command
      ->add_option("-w,--wait", options->wait, "milliseconds to wait for answers (default: 1000)")
      ->check(Between(1u, kMaxTime))
      ->type_name("MS");
  command
      ->add_option("--pending", options->pending,
                   "milliseconds to wait after \"still to come\" (default: 5000)")
      ->check(Between(1u, kMaxTime))
      ->type_name("MS");
  command->footer(kIsoTpFooter + IsoProtocolsHelp());
  CheckTogether<IsoTpOptions>(command, options,
                              [](const IsoTpOptions& chosen) { CheckBusOptions(chosen.iso.bus); });
  return MakeCommand<IsoTpOptions>(command, options, RunIsoTp);
}

}  // namespace passbridge::tool
