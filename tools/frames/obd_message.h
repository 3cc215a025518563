// Diagnostic messages on the K line, without their checksums.
#ifndef PASSBRIDGE_TOOLS_FRAMES_KLINE_MESSAGE_H_
#define PASSBRIDGE_TOOLS_FRAMES_KLINE_MESSAGE_H_

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace passbridge::tool {

// How messages begin: ISO 14230 with a format byte and addresses, ISO 9141-2 with fixed ones.
enum class KLineKind { Iso14230, Iso9141 };

struct KLineAnswer {
  std::uint8_t ecu = 0;            // its address
  std::vector<std::uint8_t> data;  // from the service on

  bool operator==(const KLineAnswer&) const = default;
};

// A request of OBD, to all ECUs.
std::vector<std::uint8_t> KLineRequest(KLineKind kind, std::span<const std::uint8_t> data);

// Nothing if the bytes are no answer to a tester.
std::optional<KLineAnswer> ParseKLineAnswer(KLineKind kind, std::span<const std::uint8_t> message);

// Answers that come in several messages there (SAE J1979: fault codes three at a time, texts four
// bytes at a time) as they are on CAN: one from each ECU, with a count.
std::vector<KLineAnswer> JoinAnswers(const std::vector<KLineAnswer>& messages);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_FRAMES_KLINE_MESSAGE_H_
