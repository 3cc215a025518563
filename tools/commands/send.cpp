#include <passbridge/j2534.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "commands/byte_session.h"
#include "commands/can_session.h"
#include "commands/commands.h"
#include "commands/option_values.h"
#include "frames/byte_message.h"
#include "frames/hex_text.h"

namespace passbridge::tool {
namespace {

struct SendOptions {
  BusOptions bus;
  std::vector<std::string> messages;
  std::uint32_t repeat = 1;
  std::uint32_t interval = 0;  // ms between repetitions
  std::uint32_t wait = 0;      // ms; 0: don't listen, or a default if an answer is expected
  std::string expect;          // identifier or beginning; empty: none
  bool sciMode = false;
  bool sciTxVoltage = false;
};

using std::chrono::milliseconds;

constexpr std::uint32_t kAnswerWait = 1000;

constexpr const char* kSendFooter =
    "A frame is identifier#data in hexadecimal; 3 digits make an 11-bit identifier, 8 digits a\n"
    "29-bit one. A message of bytes is their digits from the header on, without the checksum that\n"
    "the bus has; blanks may stand between bytes, within quotation marks. What --wait shows is\n"
    "written as by monitor. ECUs on a K line answer after an initialisation only, which send does\n"
    "not do: there are init and obd. On j1850pwm the third byte is this side's address.\n"
    "Examples:\n"
    "  passbridge send 123#DEADBEEF\n"
    "  passbridge send 7E0#02010C --wait 500             show what the bus carries afterwards\n"
    "  passbridge send 7E0#02010C --expect 7E8           fail if 7E8 doesn't answer\n"
    "  passbridge send 18DA10F1#023E00 --expect 18DAF110\n"
    "  passbridge send 100#01 100#02 --repeat 10 --interval 20\n"
    "  passbridge send --protocol j1850vpw \"68 6A F1 01 0C\" --expect \"48 6B\"\n"
    "  passbridge send --protocol j1850pwm 616AF1010C --expect 416B\n"
    "  passbridge send --protocol sw-can-ps --pins 1 --high-voltage 100# 242#023E00\n"
    "  passbridge send --protocol sci-a-engine 10 --sci-mode --wait 500\n";

Message ToByteMessage(const SendOptions& options, const std::string& text) {
  Message message;
  message.protocolId = options.bus.Protocol().id;
  if (options.sciMode) message.txFlags |= SCI_MODE;
  if (options.sciTxVoltage) message.txFlags |= SCI_TX_VOLTAGE;
  message.data = ParseBytes(text);
  return message;
}

Message ToFrameMessage(const SendOptions& options, const std::string& text) {
  Message message = ToMessage(ParseCanFrame(text), options.bus.Protocol().id);
  if (options.bus.highVoltage) message.txFlags |= SW_CAN_HV_TX;
  return message;
}

std::vector<Message> Messages(const SendOptions& options) {
  std::vector<Message> messages;
  for (const auto& text : options.messages) {
    messages.push_back(options.bus.OnCan() ? ToFrameMessage(options, text)
                                           : ToByteMessage(options, text));
  }
  return messages;
}

// On J1850 PWM a channel sends for one node.
std::uint8_t NodeOf(const std::vector<Message>& messages) {
  constexpr std::size_t kSource = 2;
  std::optional<std::uint8_t> node;
  for (const Message& message : messages) {
    if (message.data.size() <= kSource) continue;
    if (node.value_or(message.data[kSource]) != message.data[kSource]) {
      throw std::invalid_argument("all messages have the same third byte: this side's address");
    }
    node = message.data[kSource];
  }
  return node.value_or(kTesterAddress);
}

void CheckSend(const SendOptions& options) {
  CheckBusOptions(options.bus);
  const auto messages = Messages(options);
  if (options.bus.Has(BusFeature::PwmNode)) NodeOf(messages);
  if ((options.sciMode || options.sciTxVoltage) && !options.bus.Has(BusFeature::SciFlags)) {
    throw std::invalid_argument("--sci-mode and --sci-tx-voltage are for SCI: " +
                                options.bus.protocol + " has no such flags");
  }
  if (options.expect.empty()) return;
  if (options.bus.OnCan()) {
    ParseCanId(options.expect);
  } else {
    ParseBeginning(options.expect);
  }
}

std::unique_ptr<BusSession> OpenForFrames(const Target& target, const SendOptions& options,
                                          Console& console) {
  const auto expected =
      options.expect.empty() ? std::nullopt : std::optional(ParseCanId(options.expect));
  IdWidths widths;
  for (const auto& text : options.messages) widths.Add(ParseCanFrame(text).id);
  if (expected) widths.Add(*expected);
  auto session = std::make_unique<CanSession>(target, options.bus, widths, console);
  if (expected) {
    session->PassId(*expected);
  } else if (options.wait > 0) {
    session->PassAll();
  }
  return session;
}

std::unique_ptr<BusSession> OpenForBytes(const Target& target, const SendOptions& options,
                                         const std::vector<Message>& messages, Console& console) {
  ByteSelection selection;
  if (!options.expect.empty()) {
    selection.beginnings.push_back(ParseBeginning(options.expect));
  } else if (options.wait > 0) {
    selection.beginnings.emplace_back();
  }
  if (options.bus.Has(BusFeature::PwmNode)) selection.node = NodeOf(messages);
  return std::make_unique<ByteSession>(target, options.bus, std::move(selection), console);
}

void SendRepeatedly(BusSession& session, const SendOptions& options,
                    const std::vector<Message>& messages, const Console& console) {
  for (std::uint32_t round = 0; round < options.repeat && !console.stopRequested(); ++round) {
    if (round > 0) std::this_thread::sleep_for(milliseconds(options.interval));
    session.Send(messages);
  }
}

int ShowAnswers(BusSession& session, const SendOptions& options, Console& console) {
  const bool expecting = !options.expect.empty();
  const std::uint32_t wait = options.wait == 0 && expecting ? kAnswerWait : options.wait;
  bool answered = false;
  session.Receive(milliseconds(wait), [&](const BusLine& line) {
    answered = answered || line.isFromBus;
    return !(expecting && answered);
  });
  if (!expecting || answered) return kExitSuccess;
  console.err << "passbridge: no answer from " << options.expect << " within " << wait << " ms\n";
  return kExitFailure;
}

int RunSend(const Target& target, const SendOptions& options, Console& console) {
  const auto messages = Messages(options);
  const auto session = options.bus.OnCan() ? OpenForFrames(target, options, console)
                                           : OpenForBytes(target, options, messages, console);
  SendRepeatedly(*session, options, messages, console);
  return ShowAnswers(*session, options, console);
}

}  // namespace

Command AddSendCommand(CLI::App& root) {
  const auto options = std::make_shared<SendOptions>();
  auto* const command = root.add_subcommand("send", "Send frames or messages and show the answers");
  AddBusOptions(*command, options->bus);
  AddHighVoltageOption(*command, options->bus);
  command
      ->add_option("frames", options->messages,
                   "frames such as 7E0#02010C, or messages such as \"68 6A F1 01 0C\"")
      ->required()
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
                   "show only this identifier, or messages that begin with these bytes; end with "
                   "it, fail without it (waits 1000 ms without --wait)")
      ->type_name("ID|BYTES");
  command->add_flag("--sci-mode", options->sciMode, "send in the half-duplex mode of SCI");
  command->add_flag("--sci-tx-voltage", options->sciTxVoltage,
                    "send with the programming voltage of SCI");
  command->footer(kSendFooter + BusProtocolsHelp());
  CheckTogether<SendOptions>(command, options, CheckSend);
  return MakeCommand<SendOptions>(command, options, RunSend);
}

}  // namespace passbridge::tool
