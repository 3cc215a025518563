#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "commands/can_session.h"
#include "commands/commands.h"
#include "frames/live_data.h"

namespace passbridge::tool {
namespace {

struct ObdOptions {
  CanOptions can;
  std::vector<std::string> values;  // names of ObdValues()
  std::string to = "7DF";
  std::uint32_t wait = 250;  // ms for the answers to one request
  bool frames = false;       // show the frames, too
};

using std::chrono::milliseconds;

std::string Footer() {
  std::string text =
      "Examples:\n"
      "  passbridge obd engine-speed              asks all ECUs\n"
      "  passbridge obd --frames --to 7E0 speed   asks one, shows the frames, too\n"
      "  passbridge obd --to 18DB33F1 coolant     with 29-bit identifiers\n"
      "Values:\n";
  for (const ObdValue& value : ObdValues()) {
    std::string name = value.name;
    name.resize(20, ' ');
    text += "  " + name + value.title + "\n";
  }
  return text;
}

std::string CheckName(const std::string& text) {
  if (FindObdValue(text) != nullptr) return {};
  return "\"" + text + "\" is none of the values that passbridge obd --help lists";
}

std::string CheckTarget(const std::string& text) {
  try {
    ObdAnswersTo(ParseCanId(text));
    return {};
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
}

// Asks for one value and prints the answers. Whether any of them had the value.
bool Ask(CanSession& session, const ObdOptions& options, const ObdValue& value, Console& console) {
  const CanId target = ParseCanId(options.to);
  const CanFrame request = ObdRequest(target, value);
  session.Send({&request, 1});
  if (options.frames) console.out << "request  " << FormatCanFrame(request) << '\n';

  bool valued = false;
  bool answered = false;
  session.Receive(milliseconds(options.wait), [&](std::uint64_t, const CanFrame& frame) {
    const auto text = DecodeObdAnswer(frame, value);
    if (!text) return true;
    if (options.frames) console.out << "answer   " << FormatCanFrame(frame) << '\n';
    console.out << FormatCanId(frame.id) << "  " << value.title << ": " << *text << '\n';
    answered = true;
    valued = valued || IsPositiveObdAnswer(frame, value);
    return !(valued && ObdAnswersTo(target).single);
  });
  if (!answered) {
    console.err << "passbridge: no answer for " << value.title << " within " << options.wait
                << " ms\n";
  }
  return valued;
}

int RunObd(const Target& target, const ObdOptions& options, Console& console) {
  const CanId to = ParseCanId(options.to);
  const ObdAnswers answers = ObdAnswersTo(to);
  IdWidths widths;
  widths.Add(to);
  CanSession session(target, options.can, widths, console);
  session.PassMasked(answers.mask, answers.pattern);

  bool complete = true;
  for (const auto& name : options.values) {
    if (console.stopRequested()) return kExitFailure;
    complete = Ask(session, options, *FindObdValue(name), console) && complete;
  }
  return complete ? kExitSuccess : kExitFailure;
}

}  // namespace

Command AddObdCommand(CLI::App& root) {
  const auto options = std::make_shared<ObdOptions>();
  auto* const command = root.add_subcommand("obd", "Ask a vehicle for live data (OBD service 01)");
  AddCanOptions(*command, options->can);
  command->add_option("values", options->values, "what to ask for, see below")
      ->required()
      ->check(CLI::Validator(CheckName, ""))
      ->type_name("NAME");
  command->add_option("--to", options->to, "identifier of the request (default: 7DF, all ECUs)")
      ->check(CLI::Validator(CheckTarget, ""))
      ->type_name("ID");
  command
      ->add_option("-w,--wait", options->wait,
                   "milliseconds to wait for the answers to each request (default: 250)")
      ->check(Between(1u, 60000u))
      ->type_name("MS");
  command->add_flag("--frames", options->frames, "show the frames of request and answer, too");
  command->footer(Footer());
  return MakeCommand<ObdOptions>(command, options, RunObd);
}

}  // namespace passbridge::tool
