// How answers to diagnostic services begin, the same on every protocol.
#ifndef PASSBRIDGE_TOOLS_FRAMES_DIAGNOSTIC_ANSWER_H_
#define PASSBRIDGE_TOOLS_FRAMES_DIAGNOSTIC_ANSWER_H_

#include <cstdint>
#include <span>

namespace passbridge::tool {

inline constexpr std::uint8_t kPositiveAnswer = 0x40;  // added to the service
inline constexpr std::uint8_t kNegativeAnswer = 0x7F;  // before the service and a reason

// Whether an answer says that the answer is still to come (7F xx 78).
bool IsResponsePending(std::span<const std::uint8_t> answer);

// Whether an answer is one to a request of this service: positive, or a refusal of it.
bool AnswersService(std::span<const std::uint8_t> answer, std::uint8_t service);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_FRAMES_DIAGNOSTIC_ANSWER_H_
