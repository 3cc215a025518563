#include "commands/obd_protocols.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "commands/iso15765_session.h"
#include "commands/j1850_session.h"
#include "commands/kline_session.h"
#include "frames/obd_item.h"

namespace passbridge::tool {
namespace {

using Session = std::unique_ptr<DiagnosticSession>;

constexpr const char* kAuto = "auto";
constexpr const char* kIso15765 = "iso15765";
constexpr const char* kAllOnCan = "7DF";

Session OpenIso15765(const Target& target, std::uint32_t bitRate, const std::string& id,
                     Console& console) {
  const IsoAddress to{ParseCanId(id), {}};
  IsoOptions options{.padding = true};
  options.bus.bitRate = bitRate;
  return std::make_unique<Iso15765Session>(target, options, to, UsualPairs(to.id), console);
}

// One that is tried in turn, the quick and harmless ones first: a five-baud initialisation takes
// three seconds. Those of CAN are told apart by bit rate and identifiers.
struct Candidate {
  const char* name;
  const char* title;
  std::function<Session(const Target&, Console&)> open;
};

Candidate OnCan(const char* title, std::uint32_t bitRate, const char* to) {
  return {kIso15765, title, [bitRate, to](const Target& target, Console& console) {
            return OpenIso15765(target, bitRate, to, console);
          }};
}

Candidate OnKLine(const char* name, const char* title, const KLineInit& init) {
  return {name, title, [init](const Target& target, Console& console) -> Session {
            return std::make_unique<KLineSession>(target, init, console);
          }};
}

Candidate OnJ1850(const char* name, const char* title, ObdHeader header) {
  return {name, title, [header](const Target& target, Console& console) -> Session {
            return std::make_unique<J1850Session>(target, header, console);
          }};
}

const std::vector<Candidate>& Candidates() {
  static const std::vector<Candidate> candidates{
      OnCan("ISO 15765, 500 kbit/s, 11-bit identifiers", 500000, kAllOnCan),
      OnCan("ISO 15765, 500 kbit/s, 29-bit identifiers", 500000, "18DB33F1"),
      OnCan("ISO 15765, 250 kbit/s, 11-bit identifiers", 250000, kAllOnCan),
      OnCan("ISO 15765, 250 kbit/s, 29-bit identifiers", 250000, "18DB33F1"),
      OnJ1850("j1850vpw", "SAE J1850 VPW", ObdHeader::J1850Vpw),
      OnJ1850("j1850pwm", "SAE J1850 PWM", ObdHeader::J1850Pwm),
      OnKLine("iso14230-fast", "ISO 14230, fast initialisation",
              {.header = ObdHeader::Iso14230, .fast = true}),
      OnKLine("iso9141", "ISO 9141, five-baud initialisation", {.header = ObdHeader::Iso9141}),
      OnKLine("iso14230", "ISO 14230, five-baud initialisation", {.header = ObdHeader::Iso14230}),
  };
  return candidates;
}

// Whether any ECU answers.
bool IsAnswered(DiagnosticSession& session, Console& console) {
  bool answered = false;
  Ask(session, SupportedPidsRequest(0), {}, console.stopRequested,
      [&](const EcuAnswer& answer) { answered = answered || DecodeSupportedPids(answer.data, 0); });
  return answered;
}

Session FindSession(const Target& target, Console& console) {
  for (const Candidate& candidate : Candidates()) {
    if (console.stopRequested()) break;
    console.err << "trying " << candidate.title << ": " << std::flush;
    try {
      Session session = candidate.open(target, console);
      const bool answered = IsAnswered(*session, console);
      console.err << (answered ? "answered" : "no answer") << std::endl;
      if (answered) return session;
    } catch (const std::runtime_error& error) {
      console.err << error.what() << std::endl;
    }
  }
  throw std::runtime_error("no ECU answered over any protocol");
}

}  // namespace

std::vector<std::string> ObdProtocolNames() {
  std::vector<std::string> names{kAuto};
  for (const Candidate& candidate : Candidates()) {
    if (candidate.name != names.back()) names.emplace_back(candidate.name);
  }
  return names;
}

void CheckObdConnection(const ObdConnection& connection) {
  if (connection.protocol == kIso15765 || (connection.to.empty() && !connection.bitRate)) return;
  throw std::invalid_argument(
      std::string(connection.to.empty() ? "--bitrate" : "--to") + " is for ISO 15765: " +
      (connection.protocol == kAuto ? "auto tries what each protocol has"
                                    : connection.protocol + " has one speed, and asks all ECUs"));
}

std::unique_ptr<DiagnosticSession> OpenObdSession(const Target& target,
                                                  const ObdConnection& connection,
                                                  Console& console) {
  if (connection.protocol == kAuto) return FindSession(target, console);
  if (connection.protocol == kIso15765) {
    return OpenIso15765(target, connection.bitRate.value_or(IsoOptions().bus.BitRate()),
                        connection.to.empty() ? kAllOnCan : connection.to, console);
  }
  const auto found = std::find_if(
      Candidates().begin(), Candidates().end(),
      [&](const Candidate& candidate) { return candidate.name == connection.protocol; });
  if (found == Candidates().end()) throw std::runtime_error("no protocol " + connection.protocol);
  return found->open(target, console);
}

}  // namespace passbridge::tool
