#include "frames/diagnostic_answer.h"

namespace passbridge::tool {

bool IsResponsePending(std::span<const std::uint8_t> answer) {
  constexpr std::uint8_t kPending = 0x78;
  return answer.size() == 3 && answer[0] == kNegativeAnswer && answer[2] == kPending;
}

bool AnswersService(std::span<const std::uint8_t> answer, std::uint8_t service) {
  if (answer.empty()) return false;
  if (answer[0] == kNegativeAnswer) return answer.size() >= 2 && answer[1] == service;
  return answer[0] == (service | kPositiveAnswer);
}

}  // namespace passbridge::tool
