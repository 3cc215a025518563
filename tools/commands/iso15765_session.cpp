#include "commands/iso15765_session.h"

#include <passbridge/j2534.h>

#include <algorithm>

#include "frames/hex_text.h"
#include "frames/obd_addresses.h"

namespace passbridge::tool {
namespace {

// 4,095 bytes in frames with the longest separation time take a minute and more.
constexpr std::chrono::milliseconds kSegmentsTimeout{90000};

// Extended addressing is a matter of each message.
std::uint32_t ConnectFlags(const IsoAddress& to) { return to.id.extended ? CAN_29BIT_ID : 0; }

}  // namespace

std::vector<IsoPair> UsualPairs(const CanId& target) {
  std::vector<IsoPair> pairs;
  for (const auto& [request, answer] : EcusAt(target))
    pairs.push_back({{request, {}}, {answer, {}}});
  return pairs;
}

Iso15765Session::Iso15765Session(const Target& target, const IsoOptions& options,
                                 const IsoAddress& to, const std::vector<IsoPair>& pairs,
                                 Console& console)
    : console_(console),
      to_(to),
      padding_(options.padding),
      highVoltage_(options.bus.highVoltage),
      single_(pairs.size() == 1),
      device_(target.api, target.deviceName),
      channel_(device_, options.bus.Protocol().id, ConnectFlags(to), options.bus.BitRate()) {
  if (options.bus.pins != 0) channel_.SetConfig(J1962_PINS, options.bus.pins);
  if (options.bus.highSpeed) channel_.SwitchToHighSpeed();
  for (const auto& [request, answer] : pairs) {
    Message mask = ToIsoMessage(answer, {});
    std::fill(mask.data.begin(), mask.data.end(), std::uint8_t{0xFF});
    channel_.StartFlowControlFilter(mask, ToIsoMessage(answer, {}), ToIsoMessage(request, {}));
  }
}

Message Iso15765Session::ToIsoMessage(const IsoAddress& address,
                                      std::span<const std::uint8_t> data) const {
  Message message = IdMessage(address.id, channel_.ProtocolId());
  if (address.extension) {
    message.txFlags |= ISO15765_ADDR_TYPE;
    message.data.push_back(*address.extension);
  }
  if (padding_) message.txFlags |= ISO15765_FRAME_PAD;
  message.data.insert(message.data.end(), data.begin(), data.end());
  return message;
}

void Iso15765Session::Send(std::span<const std::uint8_t> request) {
  Message message = ToIsoMessage(to_, request);
  if (highVoltage_) message.txFlags |= SW_CAN_HV_TX;
  channel_.Write({&message, 1}, kSegmentsTimeout);
}

std::vector<EcuAnswer> Iso15765Session::ReadAnswers(std::chrono::milliseconds timeout) {
  const ReadResult result = channel_.Read(timeout);
  if (result.overflow) console_.err << "passbridge: the library lost messages\n";
  std::vector<EcuAnswer> answers;
  for (const Message& message : result.messages) {
    const auto content = ToCanFrame(message);
    if (!content) continue;
    std::string ecu = FormatCanId(content->id);
    std::size_t begin = 0;
    if ((message.rxStatus & ISO15765_ADDR_TYPE) != 0 && !content->data.empty()) {
      ecu += ":" + FormatBytes({content->data.data(), 1});
      begin = 1;
    }
    const auto data = std::span(content->data).subspan(begin);
    if (!data.empty()) answers.push_back({ecu, {data.begin(), data.end()}});
  }
  return answers;
}

std::string Iso15765Session::Describe(std::span<const std::uint8_t> request) const {
  std::string text = FormatCanId(to_.id);
  if (to_.extension) text += ":" + FormatBytes({&*to_.extension, 1});
  return text + "#" + FormatBytes(request);
}

}  // namespace passbridge::tool
