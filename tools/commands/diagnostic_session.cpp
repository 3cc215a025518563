#include "commands/diagnostic_session.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "frames/diagnostic_answer.h"

namespace passbridge::tool {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// How long a wait may keep the user waiting who wants to end.
constexpr milliseconds kSlice{100};

}  // namespace

std::optional<EcuAnswer> DiagnosticSession::Receive(milliseconds timeout) {
  if (received_.empty()) {
    for (EcuAnswer& answer : ReadAnswers(timeout)) received_.push_back(std::move(answer));
  }
  if (received_.empty()) return std::nullopt;
  EcuAnswer answer = std::move(received_.front());
  received_.pop_front();
  return answer;
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
    // What is there when the time is over came in time: this program may not have been running.
    const auto left = std::max(std::chrono::ceil<milliseconds>(deadline - steady_clock::now()),
                               milliseconds::zero());
    const auto answer = session.Receive(std::min(left, kSlice));
    if (!answer || !AnswersService(answer->data, request[0])) {
      if (left == milliseconds::zero()) break;
      continue;
    }
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
