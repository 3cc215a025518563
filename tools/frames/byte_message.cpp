#include "frames/byte_message.h"

#include <passbridge/j2534.h>

#include <algorithm>

#include "frames/hex_text.h"

namespace passbridge::tool {
namespace {

constexpr std::size_t kFilterSize = 12;

struct Note {
  std::uint32_t bit;
  const char* text;
};
constexpr Note kNotes[] = {
    {TX_MSG_TYPE, "echo"},
    {TX_INDICATION, "sent"},
    {START_OF_MESSAGE, "start"},
    {RX_BREAK, "break"},
};

}  // namespace

std::vector<std::uint8_t> ParseBeginning(std::string_view text) {
  auto bytes = ParseBytes(text);
  if (bytes.size() > kFilterSize) RefuseText(text, "a beginning has at most 12 bytes");
  return bytes;
}

bool BeginsWith(std::span<const std::uint8_t> message, std::span<const std::uint8_t> beginning) {
  return message.size() >= beginning.size() &&
         std::equal(beginning.begin(), beginning.end(), message.begin());
}

bool IsFromBus(const Message& message) {
  return std::none_of(std::begin(kNotes), std::end(kNotes),
                      [&](const Note& note) { return (message.rxStatus & note.bit) != 0; });
}

std::string FormatReceived(const Message& message) {
  std::string text = FormatBytes(message.data, " ");
  for (const Note& note : kNotes) {
    if ((message.rxStatus & note.bit) == 0) continue;
    text.append(text.empty() ? "[" : " [").append(note.text).append("]");
  }
  return text;
}

}  // namespace passbridge::tool
