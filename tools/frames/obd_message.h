// Diagnostic messages that begin with a header, on the K line and on J1850: without their
// checksums.
#ifndef PASSBRIDGE_TOOLS_FRAMES_OBD_MESSAGE_H_
#define PASSBRIDGE_TOOLS_FRAMES_OBD_MESSAGE_H_

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace passbridge::tool {

// How messages begin: ISO 14230 with a format byte and addresses, the others with fixed ones.
enum class ObdHeader { Iso14230, Iso9141, J1850Vpw, J1850Pwm };

// The tester's address in headers, and the functional one that answers on J1850 go to.
inline constexpr std::uint8_t kTesterAddress = 0xF1;
inline constexpr std::uint8_t kFunctionalAnswers = 0x6B;

struct ObdAnswer {
  std::uint8_t ecu = 0;            // its address
  std::vector<std::uint8_t> data;  // from the service on

  bool operator==(const ObdAnswer&) const = default;
};

// A request of OBD, to all ECUs.
std::vector<std::uint8_t> ObdRequestMessage(ObdHeader header, std::span<const std::uint8_t> data);

// Nothing if the bytes are no answer to a tester.
std::optional<ObdAnswer> ParseObdAnswer(ObdHeader header, std::span<const std::uint8_t> message);

// Answers that come in several messages there (SAE J1979: fault codes three at a time, texts four
// bytes at a time) as they are on CAN: one from each ECU, with a count.
std::vector<ObdAnswer> JoinAnswers(const std::vector<ObdAnswer>& messages);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_FRAMES_OBD_MESSAGE_H_
