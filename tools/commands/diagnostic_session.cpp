#include "commands/diagnostic_session.h"

#include <algorithm>
#include <map>
#include <set>

namespace passbridge::tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::uint8_t kPositive = 0x40;
constexpr std::uint8_t kNegative = 0x7F;
constexpr std::uint8_t kPending = 0x78;
// How long a wait may keep the user waiting who wants to end.
constexpr milliseconds kSlice{100};

}  // namespace

bool IsResponsePending(std::span<const std::uint8_t> answer) {
  return answer.size() == 3 && answer[0] == kNegative && answer[2] == kPending;
}

bool AnswersService(std::span<const std::uint8_t> answer, std::uint8_t service) {
  if (answer.empty()) return false;
  if (answer[0] == kNegative) return answer.size() >= 2 && answer[1] == service;
  return answer[0] == (service | kPositive);
}

bool Ask(DiagnosticSession& session, std::span<const std::uint8_t> request, const AskLimits& limits,
         const std::function<bool()>& stopRequested,
         const std::function<void(const EcuAnswer&)>& handler) {
  const std::size_t expected = session.AsksOneEcu() ? 1 : limits.ecus;
  session.Send(request);
  const auto end = steady_clock::now() + limits.answer;
  std::map<std::string, steady_clock::time_point> pending;  // until when each ECU may still answer
  std::set<std::string> answered;
  while (!stopRequested() && (expected == 0 || answered.size() < expected)) {
    auto deadline = end;
    for (const auto& [ecu, until] : pending) deadline = std::max(deadline, until);
    const auto now = steady_clock::now();
    if (deadline <= now) break;
    const auto left = std::chrono::ceil<milliseconds>(deadline - now);
    const auto answer = session.Receive(std::min(left, kSlice));
    if (!answer || !AnswersService(answer->data, request[0])) continue;
    if (IsResponsePending(answer->data)) {
      pending[answer->ecu] = steady_clock::now() + limits.pending;
    } else {
      pending.erase(answer->ecu);
      answered.insert(answer->ecu);
    }
    handler(*answer);
  }
  return pending.empty();
}

}  // namespace passbridge::tool
