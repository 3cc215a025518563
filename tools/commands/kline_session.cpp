#include "commands/kline_session.h"

#include <passbridge/j2534.h>

#include <stdexcept>

#include "client/status.h"
#include "frames/hex_text.h"

namespace passbridge::tool {
namespace {

constexpr std::uint32_t kBitRate = 10400;

constexpr std::uint8_t kToOneEcu = 0x80;  // in the format byte, beside the length
constexpr std::uint8_t kStartCommunication = 0x81;
constexpr std::uint8_t kStartCommunicationAnswer = 0xC1;

std::uint32_t ProtocolOf(ObdHeader header) {
  return header == ObdHeader::Iso9141 ? ISO9141 : ISO14230;
}

}  // namespace

KLineSession::KLineSession(const Target& target, const KLineInit& init, Console& console)
    : HeaderSession(target, init.header, ProtocolOf(init.header), kBitRate, console) {
  if (init.fast) {
    InitialiseFast(init.address);
  } else {
    InitialiseAtFiveBaud(init.address);
  }
}

void KLineSession::InitialiseAtFiveBaud(std::uint8_t address) {
  try {
    start_.keyBytes = OpenChannel().FiveBaudInit(address);
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
  request.protocolId = OpenChannel().ProtocolId();
  request.data = ObdRequestMessage(ObdHeader::Iso14230, {&kStartCommunication, 1});
  if (address != request.data[1]) {
    request.data[0] = kToOneEcu | 1;
    request.data[1] = address;
  }
  try {
    start_.response = OpenChannel().FastInit(request).data;
  } catch (const StatusError& error) {
    if (error.Status() != ERR_FAILED) throw;
    throw std::runtime_error("no fast initialisation: StartCommunication was not answered (" +
                             std::string(error.what()) + ")");
  }
  const auto answer = ParseObdAnswer(ObdHeader::Iso14230, start_.response);
  if (answer && answer->data.size() >= 3 && answer->data[0] == kStartCommunicationAnswer) {
    start_.keyBytes.assign(answer->data.begin() + 1, answer->data.begin() + 3);
  }
}

}  // namespace passbridge::tool
