#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "commands/can_session.h"
#include "commands/commands.h"

namespace passbridge::tool {
namespace {

struct SendOptions {
  CanOptions can;
  std::vector<std::string> frames;
  std::uint32_t repeat = 1;
  std::uint32_t interval = 0;  // ms between repetitions
  std::uint32_t wait = 0;      // ms; 0: don't listen, or a default if an answer is expected
  std::string expect;          // identifier; empty: none
};

using std::chrono::milliseconds;

constexpr std::uint32_t kAnswerWait = 1000;
constexpr std::uint32_t kMaxTime = 3600000;

constexpr const char* kSendFooter =
    "A frame is identifier#data in hexadecimal; 3 digits make an 11-bit identifier, 8 digits a\n"
    "29-bit one.\n"
    "Examples:\n"
    "  passbridge send 123#DEADBEEF\n"
    "  passbridge send 7E0#02010C --wait 500             show what the bus carries afterwards\n"
    "  passbridge send 7E0#02010C --expect 7E8           fail if 7E8 doesn't answer\n"
    "  passbridge send 18DA10F1#023E00 --expect 18DAF110\n"
    "  passbridge send 100#01 100#02 --repeat 10 --interval 20\n";

std::vector<CanFrame> ParseFrames(const std::vector<std::string>& texts) {
  std::vector<CanFrame> frames;
  for (const auto& text : texts) frames.push_back(ParseCanFrame(text));
  return frames;
}

std::optional<CanId> ParseExpected(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional(ParseCanId(text));
}

void SendRepeatedly(CanSession& session, const SendOptions& options,
                    const std::vector<CanFrame>& frames, const Console& console) {
  for (std::uint32_t round = 0; round < options.repeat && !console.stopRequested(); ++round) {
    if (round > 0) std::this_thread::sleep_for(milliseconds(options.interval));
    session.Send(frames);
  }
}

int ShowAnswers(CanSession& session, const SendOptions& options, Console& console) {
  const bool expecting = !options.expect.empty();
  const std::uint32_t wait = options.wait == 0 && expecting ? kAnswerWait : options.wait;
  bool answered = false;
  session.Receive(milliseconds(wait), [&](std::uint64_t time, const CanFrame& frame) {
    session.Print(time, frame);
    answered = true;
    return !expecting;
  });
  if (!expecting || answered) return kExitSuccess;
  console.err << "passbridge: no answer from " << options.expect << " within " << wait << " ms\n";
  return kExitFailure;
}

int RunSend(const Target& target, const SendOptions& options, Console& console) {
  const auto frames = ParseFrames(options.frames);
  const auto expected = ParseExpected(options.expect);
  IdWidths widths;
  for (const CanFrame& frame : frames) widths.Add(frame.id);
  if (expected) widths.Add(*expected);

  CanSession session(target, options.can, widths, console);
  if (expected) {
    session.PassId(*expected);
  } else if (options.wait > 0) {
    session.PassAll();
  }
  SendRepeatedly(session, options, frames, console);
  return ShowAnswers(session, options, console);
}

}  // namespace

Command AddSendCommand(CLI::App& root) {
  const auto options = std::make_shared<SendOptions>();
  auto* const command = root.add_subcommand("send", "Send CAN frames and show the answers");
  AddCanOptions(*command, options->can);
  command->add_option("frames", options->frames, "frames such as 7E0#02010C")
      ->required()
      ->check(CanFrameText())
      ->type_name("FRAME");
  command->add_option("-r,--repeat", options->repeat, "send all of them so many times")
      ->check(Between(1u, 1000000000u))
      ->type_name("N");
  command->add_option("--interval", options->interval, "milliseconds between the repetitions")
      ->check(Between(0u, kMaxTime))
      ->type_name("MS");
  command->add_option("-w,--wait", options->wait, "show what comes within so many milliseconds")
      ->check(Between(1u, kMaxTime))
      ->type_name("MS");
  command
      ->add_option("-e,--expect", options->expect,
                   "show only this identifier, end with it, fail without it (waits 1000 ms "
                   "without --wait)")
      ->check(CanIdText())
      ->type_name("ID");
  command->footer(kSendFooter);
  return MakeCommand<SendOptions>(command, options, RunSend);
}

}  // namespace passbridge::tool
