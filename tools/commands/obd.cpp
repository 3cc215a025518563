#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "commands/commands.h"
#include "commands/obd_protocols.h"
#include "commands/obd_report.h"
#include "commands/option_values.h"
#include "frames/hex_text.h"
#include "frames/obd_addresses.h"
#include "frames/obd_item.h"
#include "platform/platform.h"

namespace passbridge::tool {
namespace {

struct ObdOptions {
  ObdConnection connection;
  std::vector<std::string> items;  // names; empty: all that the vehicle has
  std::uint32_t wait = 250;        // ms for the answers to one request
  std::uint64_t count = 0;         // rounds of the view; 0: no limit
  bool frames = false;             // show the messages, too
  bool json = false;
  bool watch = false;
};

constexpr const char* kSupported = "supported";

std::string Footer() {
  std::string text =
      "Without names it asks for all that the vehicle says it has.\n"
      "Examples:\n"
      "  passbridge obd                           all there is\n"
      "  passbridge obd vin faults engine-speed   asks all ECUs\n"
      "  passbridge obd --frames --to 7E0 speed   asks one, shows the messages, too\n"
      "  passbridge obd --to 18DB33F1 coolant     with 29-bit identifiers\n"
      "  passbridge obd --protocol auto vin       whatever the vehicle speaks\n"
      "  passbridge obd --watch                   live data, again and again\n"
      "  passbridge obd --json vin\n"
      "Names:\n"
      "  supported           the PIDs that each ECU has\n";
  for (const ObdItem& item : ObdItems()) {
    std::string name = item.name;
    name.resize(20, ' ');
    text += "  " + name + item.title + "\n";
  }
  return text;
}

std::string CheckName(const std::string& text) {
  if (text == kSupported || FindObdItem(text) != nullptr) return {};
  return "\"" + text + "\" is none of the values that passbridge obd --help lists";
}

std::string CheckTarget(const std::string& text) {
  try {
    EcusAt(ParseCanId(text));
    return {};
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
}

class Obd {
 public:
  Obd(const Target& target, const ObdOptions& options, Console& console)
      : options_(options),
        console_(console),
        session_(OpenObdSession(target, options.connection, console)) {}

  int Run() {
    const bool everything = options_.items.empty();
    if (everything || Wants(kSupported)) FindSupported();
    if (everything && supported_.empty()) {
      console_.err << "passbridge: no ECU answered\n";
      return kExitFailure;
    }
    const auto items = Items();
    if (options_.watch) return Watch(items);
    ObdReport report;
    if (Wants(kSupported)) report.AddSupported(supported_);
    const bool complete = ReadAll(items, report);
    Print(report);
    const bool found = !Wants(kSupported) || !supported_.empty();
    return everything || (complete && found) ? kExitSuccess : kExitFailure;
  }

 private:
  bool Wants(const char* name) const {
    return std::find(options_.items.begin(), options_.items.end(), name) != options_.items.end();
  }

  std::vector<const ObdItem*> Items() const {
    std::vector<const ObdItem*> items;
    for (const auto& name : options_.items) {
      if (const ObdItem* item = FindObdItem(name)) items.push_back(item);
    }
    if (!options_.items.empty()) return items;
    for (const ObdItem& item : ObdItems()) {
      if (item.IsLive() ? EcusWith(item) > 0 : !options_.watch) items.push_back(&item);
    }
    return items;
  }

  // How many ECUs are known to have it; 0: not known.
  std::size_t EcusWith(const ObdItem& item) const {
    if (!item.IsLive()) return 0;
    std::size_t count = 0;
    for (const auto& [ecu, pids] : supported_) count += pids.count(item.parameter);
    return count;
  }

  bool AskFor(const std::vector<std::uint8_t>& request, std::size_t ecus,
              const std::function<void(const EcuAnswer&)>& handler) {
    if (options_.frames) console_.out << "request  " << session_->Describe(request) << '\n';
    AskLimits limits;
    limits.answer = std::chrono::milliseconds(options_.wait);
    limits.ecus = ecus;
    return Ask(*session_, request, limits, console_.stopRequested, [&](const EcuAnswer& answer) {
      if (options_.frames) {
        console_.out << "answer   " << answer.ecu << '#' << FormatBytes(answer.data) << '\n';
      }
      handler(answer);
    });
  }

  // The last PID of each answer says whether there are further ones.
  void FindSupported() {
    bool more = true;
    for (unsigned first = 0; more && first <= 0xE0; first += 0x20) {
      more = false;
      const auto begin = static_cast<std::uint8_t>(first);
      AskFor(SupportedPidsRequest(begin), 0, [&](const EcuAnswer& answer) {
        const auto pids = DecodeSupportedPids(answer.data, begin);
        if (!pids) return;
        supported_[answer.ecu].insert(pids->begin(), pids->end());
        more = more || pids->contains(static_cast<std::uint8_t>(first + 0x20));
      });
    }
  }

  // Whether each item got a reading that is no refusal.
  bool ReadAll(const std::vector<const ObdItem*>& items, ObdReport& report) {
    bool complete = true;
    for (const ObdItem* item : items) {
      if (console_.stopRequested()) return false;
      complete = Read(*item, report) && complete;
    }
    return complete;
  }

  bool Read(const ObdItem& item, ObdReport& report) {
    bool valued = false;
    bool answered = false;
    AskFor(ObdRequest(item), EcusWith(item), [&](const EcuAnswer& answer) {
      const auto reading = DecodeObdAnswer(answer.data, item);
      if (!reading) return;
      report.Add(answer.ecu, item, *reading);
      answered = true;
      valued = valued || !reading->refused;
    });
    if (!answered && !options_.items.empty() && !options_.watch) {
      console_.err << "passbridge: no answer for " << item.title << " within " << options_.wait
                   << " ms\n";
    }
    return valued;
  }

  void Print(const ObdReport& report) const {
    console_.out << (options_.json ? report.Json() + "\n" : report.Text()) << std::flush;
  }

  // Redraws the lines of the last round in place.
  int Watch(const std::vector<const ObdItem*>& items) {
    if (!options_.json) EnableTerminalSequences();
    std::size_t lines = 0;
    bool valued = false;
    for (std::uint64_t round = 0; round == 0 || round != options_.count; ++round) {
      ObdReport report;
      ReadAll(items, report);
      // A round that was cut short has lost lines.
      if (console_.stopRequested()) break;
      valued = valued || report.HasValues();
      if (!options_.json && lines > 0) console_.out << "\x1b[" << lines << "A\x1b[J";
      Print(report);
      lines = report.Lines();
    }
    return valued ? kExitSuccess : kExitFailure;
  }

  const ObdOptions& options_;
  Console& console_;
  std::unique_ptr<DiagnosticSession> session_;
  std::map<std::string, std::set<std::uint8_t>> supported_;  // PIDs of each ECU
};

int RunObd(const Target& target, const ObdOptions& options, Console& console) {
  return Obd(target, options, console).Run();
}

}  // namespace

Command AddObdCommand(CLI::App& root) {
  const auto options = std::make_shared<ObdOptions>();
  auto* const command =
      root.add_subcommand("obd", "Ask a vehicle for its VIN, fault codes and live data (OBD)");
  AddBitRateOption(*command, options->connection.bitRate);
  command->add_option("names", options->items, "what to ask for, see below")
      ->check(CLI::Validator(CheckName, ""))
      ->type_name("NAME");
  command
      ->add_option(
          "-p,--protocol", options->connection.protocol,
          "iso15765, j1850vpw, j1850pwm, iso14230-fast, iso9141, iso14230 (both at five baud),\n"
          "or auto: tries them in this order (default: iso15765)")
      ->check(CLI::IsMember(ObdProtocolNames()).description(""))
      ->type_name("NAME");
  command
      ->add_option("--to", options->connection.to,
                   "identifier of the request on ISO 15765 (default: 7DF, all ECUs)")
      ->check(CLI::Validator(CheckTarget, ""))
      ->type_name("ID");
  command
      ->add_option("-w,--wait", options->wait,
                   "milliseconds to wait for the answers to each request (default: 250)")
      ->check(Between(1u, 60000u))
      ->type_name("MS");
  auto* const json = command->add_flag("--json", options->json, "print JSON, an object a line");
  auto* const watch =
      command->add_flag("--watch", options->watch, "ask again and again, redraw in place");
  command->add_option("-n,--count", options->count, "end --watch after so many rounds")
      ->check(Between<std::uint64_t>(1, 1000000000000))
      ->needs(watch)
      ->type_name("N");
  command->add_flag("--frames", options->frames, "show the messages of request and answer, too")
      ->excludes(json)
      ->excludes(watch);
  command->footer(Footer());
  CheckTogether<ObdOptions>(
      command, options, [](const ObdOptions& chosen) { CheckObdConnection(chosen.connection); });
  return MakeCommand<ObdOptions>(command, options, RunObd);
}

}  // namespace passbridge::tool
