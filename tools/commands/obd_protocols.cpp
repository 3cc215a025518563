#include "commands/obd_protocols.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "commands/kline_session.h"
#include "frames/obd_item.h"

namespace passbridge::tool {
namespace {

using Session = std::unique_ptr<DiagnosticSession>;

constexpr const char* kAuto = "auto";
constexpr const char* kIso15765 = "iso15765";

Session OpenIso15765(const Target& target, const IsoOptions& options, const std::string& id,
                     Console& console) {
  const IsoAddress to{ParseCanId(id), {}};
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
            return OpenIso15765(target, {.bitRate = bitRate, .padding = true}, to, console);
          }};
}

Candidate OnKLine(const char* name, const char* title, const KLineInit& init) {
  return {name, title, [init](const Target& target, Console& console) -> Session {
            return std::make_unique<KLineSession>(target, init, console);
          }};
}

const std::vector<Candidate>& Candidates() {
  static const std::vector<Candidate> candidates{
      OnCan("ISO 15765, 500 kbit/s, 11-bit identifiers", 500000, "7DF"),
      OnCan("ISO 15765, 500 kbit/s, 29-bit identifiers", 500000, "18DB33F1"),
      OnCan("ISO 15765, 250 kbit/s, 11-bit identifiers", 250000, "7DF"),
      OnCan("ISO 15765, 250 kbit/s, 29-bit identifiers", 250000, "18DB33F1"),
      OnKLine("iso14230-fast", "ISO 14230, fast initialisation",
              {.kind = KLineKind::Iso14230, .fast = true}),
      OnKLine("iso9141", "ISO 9141, five-baud initialisation", {.kind = KLineKind::Iso9141}),
      OnKLine("iso14230", "ISO 14230, five-baud initialisation", {.kind = KLineKind::Iso14230}),
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

std::unique_ptr<DiagnosticSession> OpenObdSession(const Target& target,
                                                  const ObdConnection& connection,
                                                  Console& console) {
  if (connection.protocol == kAuto) return FindSession(target, console);
  if (connection.protocol == kIso15765) {
    return OpenIso15765(target, connection.iso, connection.to, console);
  }
  const auto found = std::find_if(
      Candidates().begin(), Candidates().end(),
      [&](const Candidate& candidate) { return candidate.name == connection.protocol; });
  if (found == Candidates().end()) throw std::runtime_error("no protocol " + connection.protocol);
  return found->open(target, console);
}

}  // namespace passbridge::tool
