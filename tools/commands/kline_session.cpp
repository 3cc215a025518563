#include "commands/kline_session.h"

#include <passbridge/j2534.h>

#include <stdexcept>
#include <utility>

#include "client/status.h"
#include "frames/can_frame.h"

namespace passbridge::tool {
namespace {

constexpr std::uint32_t kBitRate = 10400;
constexpr std::chrono::milliseconds kRequestTimeout{5000};
// Between the messages of one answer, and between the answers of several ECUs.
constexpr std::chrono::milliseconds kFurtherMessages{150};

constexpr std::uint8_t kToOneEcu = 0x80;  // in the format byte, beside the length
constexpr std::uint8_t kStartCommunication = 0x81;
constexpr std::uint8_t kStartCommunicationAnswer = 0xC1;

std::uint32_t ProtocolOf(KLineKind kind) { return kind == KLineKind::Iso9141 ? ISO9141 : ISO14230; }

}  // namespace

KLineSession::KLineSession(const Target& target, const KLineInit& init, Console& console)
    : console_(console),
      kind_(init.kind),
      device_(target.api, target.deviceName),
      channel_(device_, ProtocolOf(init.kind), 0, kBitRate) {
  Message all;
  all.protocolId = channel_.ProtocolId();
  all.data = {0};
  channel_.StartPassFilter(all, all);
  if (init.fast) {
    InitialiseFast(init.address);
  } else {
    InitialiseAtFiveBaud(init.address);
  }
}

void KLineSession::InitialiseAtFiveBaud(std::uint8_t address) {
  try {
    start_.keyBytes = channel_.FiveBaudInit(address);
  } catch (const StatusError& error) {
    if (error.Status() != ERR_FAILED) throw;
    throw std::runtime_error("no five-baud initialisation at address " +
                             FormatBytes({&address, 1}) +
                             ": the synchronisation byte, the key bytes or the inverted address "
                             "did not come as they should (" +
                             error.what() + ")");
  }
}

void KLineSession::InitialiseFast(std::uint8_t address) {
  Message request;
  request.protocolId = channel_.ProtocolId();
  request.data = KLineRequest(KLineKind::Iso14230, {&kStartCommunication, 1});
  if (address != request.data[1]) {
    request.data[0] = kToOneEcu | 1;
    request.data[1] = address;
  }
  try {
    start_.response = channel_.FastInit(request).data;
  } catch (const StatusError& error) {
    if (error.Status() != ERR_FAILED) throw;
    throw std::runtime_error("no fast initialisation: StartCommunication was not answered (" +
                             std::string(error.what()) + ")");
  }
  const auto answer = ParseKLineAnswer(KLineKind::Iso14230, start_.response);
  if (answer && answer->data.size() >= 3 && answer->data[0] == kStartCommunicationAnswer) {
    start_.keyBytes.assign(answer->data.begin() + 1, answer->data.begin() + 3);
  }
}

void KLineSession::Send(std::span<const std::uint8_t> request) {
  Message message;
  message.protocolId = channel_.ProtocolId();
  message.data = KLineRequest(kind_, request);
  channel_.Write({&message, 1}, kRequestTimeout);
}

std::vector<EcuAnswer> KLineSession::ReadAnswers(std::chrono::milliseconds timeout) {
  std::vector<KLineAnswer> messages;
  // An answer in several messages is complete when no other comes.
  for (;;) {
    const ReadResult result = channel_.Read(messages.empty() ? timeout : kFurtherMessages);
    if (result.overflow) console_.err << "passbridge: the library lost messages\n";
    if (result.messages.empty()) break;
    for (const Message& message : result.messages) {
      const auto answer = ParseKLineAnswer(kind_, message.data);
      if (message.rxStatus == 0 && answer) messages.push_back(*answer);
    }
  }
  std::vector<EcuAnswer> answers;
  for (const KLineAnswer& answer : JoinAnswers(messages)) {
    answers.push_back({FormatBytes({&answer.ecu, 1}), answer.data});
  }
  return answers;
}

std::string KLineSession::Describe(std::span<const std::uint8_t> request) const {
  return FormatBytes(KLineRequest(kind_, request));
}

}  // namespace passbridge::tool
