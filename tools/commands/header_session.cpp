#include "commands/header_session.h"

#include "frames/hex_text.h"

namespace passbridge::tool {
namespace {

constexpr std::chrono::milliseconds kRequestTimeout{5000};
// Between the messages of one answer, and between the answers of several ECUs.
constexpr std::chrono::milliseconds kFurtherMessages{150};

}  // namespace

HeaderSession::HeaderSession(const Target& target, ObdHeader header, std::uint32_t protocolId,
                             std::uint32_t bitRate, Console& console)
    : console_(console),
      header_(header),
      device_(target.api, target.deviceName),
      channel_(device_, protocolId, 0, bitRate) {
  Message all;
  all.protocolId = protocolId;
  all.data = {0};
  channel_.StartPassFilter(all, all);
}

void HeaderSession::Send(std::span<const std::uint8_t> request) {
  Message message;
  message.protocolId = channel_.ProtocolId();
  message.data = ObdRequestMessage(header_, request);
  channel_.Write({&message, 1}, kRequestTimeout);
}

std::vector<EcuAnswer> HeaderSession::ReadAnswers(std::chrono::milliseconds timeout) {
  std::vector<ObdAnswer> messages;
  // An answer in several messages is complete when no other comes.
  for (;;) {
    const ReadResult result = channel_.Read(messages.empty() ? timeout : kFurtherMessages);
    if (result.overflow) console_.err << "passbridge: the library lost messages\n";
    if (result.messages.empty()) break;
    for (const Message& message : result.messages) {
      const auto answer = ParseObdAnswer(header_, message.data);
      if (message.rxStatus == 0 && answer) messages.push_back(*answer);
    }
  }
  std::vector<EcuAnswer> answers;
  for (const ObdAnswer& answer : JoinAnswers(messages)) {
    answers.push_back({FormatBytes({&answer.ecu, 1}), answer.data});
  }
  return answers;
}

std::string HeaderSession::Describe(std::span<const std::uint8_t> request) const {
  return FormatBytes(ObdRequestMessage(header_, request));
}

}  // namespace passbridge::tool
