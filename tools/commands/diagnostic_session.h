// A request to ECUs and their answers, whatever the protocol beneath.
#ifndef PASSBRIDGE_TOOLS_COMMANDS_DIAGNOSTIC_SESSION_H_
#define PASSBRIDGE_TOOLS_COMMANDS_DIAGNOSTIC_SESSION_H_

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace passbridge::tool {

struct EcuAnswer {
  std::string ecu;                 // as the user knows it: "7E8"
  std::vector<std::uint8_t> data;  // from the service on
};

// What a protocol does for diagnostics.
class DiagnosticSession {
 public:
  virtual ~DiagnosticSession() = default;

  // Whether requests go to one ECU, whose answer ends the waiting.
  virtual bool AsksOneEcu() const = 0;
  // Returns when the request (service and parameters) is on the bus; throws StatusError if that
  // fails.
  virtual void Send(std::span<const std::uint8_t> request) = 0;
  // The request as the log shows it: "7DF#010C".
  virtual std::string Describe(std::span<const std::uint8_t> request) const = 0;
  // The next answer; nothing if none comes within the time.
  std::optional<EcuAnswer> Receive(std::chrono::milliseconds timeout);

 protected:
  // The answers that come together; none if nothing comes within the time.
  virtual std::vector<EcuAnswer> ReadAnswers(std::chrono::milliseconds timeout) = 0;

 private:
  std::deque<EcuAnswer> received_;
};

struct AskLimits {
  std::chrono::milliseconds answer{250};
  // For the answer of an ECU that has said that it is still to come.
  std::chrono::milliseconds pending{5000};
  // How many ECUs will answer, if that is known: the last answer ends the waiting.
  std::size_t ecus = 0;
};

// Sends the request and hands over each answer to its service, pending ones included, until all
// asked have answered or their time is over, or `stopRequested`. Returns whether an ECU kept its
// promise of an answer: false if one was still to come.
bool Ask(DiagnosticSession& session, std::span<const std::uint8_t> request, const AskLimits& limits,
         const std::function<bool()>& stopRequested,
         const std::function<void(const EcuAnswer&)>& handler);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_COMMANDS_DIAGNOSTIC_SESSION_H_
