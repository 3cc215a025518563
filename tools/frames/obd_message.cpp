#include "frames/kline_message.h"

#include <algorithm>

namespace passbridge::tool {
namespace {

constexpr std::uint8_t kFunctional = 0xC0;
constexpr std::uint8_t kAddressMode = 0xC0;
constexpr std::uint8_t kLengthBits = 0x3F;
constexpr std::uint8_t kEmissionRelated = 0x33;
constexpr std::uint8_t kTester = 0xF1;
constexpr std::ptrdiff_t kHeader = 3;
constexpr std::uint8_t kVehicleInformationAnswer = 0x49;

std::vector<std::uint8_t> Behind(std::span<const std::uint8_t> bytes, std::size_t count) {
  const auto rest = bytes.subspan(std::min(count, bytes.size()));
  return {rest.begin(), rest.end()};
}

bool HasFaults(std::uint8_t service) {
  return service == 0x43 || service == 0x47 || service == 0x4A;
}

// Fault codes behind their service; 00 00 is none.
void AppendFaults(std::vector<std::uint8_t>& joined, std::span<const std::uint8_t> message) {
  for (std::size_t at = 1; at + 1 < message.size(); at += 2) {
    if (message[at] == 0 && message[at + 1] == 0) continue;
    joined.insert(joined.end(), {message[at], message[at + 1]});
    ++joined[1];
  }
}

// Behind service and type a counter comes. Texts are filled up at their beginning.
void AppendText(std::vector<std::uint8_t>& joined, std::span<const std::uint8_t> message) {
  for (const std::uint8_t byte : Behind(message, 3)) {
    if (byte != 0 || joined.size() > 3) joined.push_back(byte);
  }
}

}  // namespace

std::vector<std::uint8_t> KLineRequest(KLineKind kind, std::span<const std::uint8_t> data) {
  const bool isIso9141 = kind == KLineKind::Iso9141;
  const auto format = static_cast<std::uint8_t>(kFunctional | data.size());
  std::vector<std::uint8_t> message(data.size() + kHeader, kTester);
  message[0] = isIso9141 ? 0x68 : format;
  message[1] = isIso9141 ? 0x6A : kEmissionRelated;
  std::copy(data.begin(), data.end(), message.begin() + kHeader);
  return message;
}

std::optional<KLineAnswer> ParseKLineAnswer(KLineKind kind, std::span<const std::uint8_t> message) {
  if (message.size() < 4) return std::nullopt;
  if (kind == KLineKind::Iso9141) {
    if (message[0] != 0x48 || message[1] != 0x6B) return std::nullopt;
    return KLineAnswer{message[2], Behind(message, 3)};
  }
  if ((message[0] & kAddressMode) == 0 || message[1] != kTester) return std::nullopt;
  const std::size_t header = (message[0] & kLengthBits) == 0 ? 4 : 3;
  if (message.size() <= header) return std::nullopt;
  return KLineAnswer{message[2], Behind(message, header)};
}

std::vector<KLineAnswer> JoinAnswers(const std::vector<KLineAnswer>& messages) {
  std::vector<KLineAnswer> answers;
  for (const KLineAnswer& message : messages) {
    if (message.data.empty()) continue;
    const std::uint8_t service = message.data[0];
    const bool isText = service == kVehicleInformationAnswer && message.data.size() > 2 &&
                        message.data[1] % 0x20 != 0;
    const bool isList = service == kVehicleInformationAnswer && message.data.size() > 2 && !isText;
    auto joined = std::find_if(answers.begin(), answers.end(), [&](const KLineAnswer& each) {
      return each.ecu == message.ecu && each.data[0] == service;
    });
    if (isList || (!isText && !HasFaults(service))) {
      answers.push_back(message);
      if (isList) answers.back().data.erase(answers.back().data.begin() + 2);
      continue;
    }
    if (joined == answers.end()) {
      answers.push_back({message.ecu, {service}});
      joined = answers.end() - 1;
      if (isText) joined->data.push_back(message.data[1]);
      joined->data.push_back(isText ? 1 : 0);
    }
    if (isText) {
      AppendText(joined->data, message.data);
    } else {
      AppendFaults(joined->data, message.data);
    }
  }
  return answers;
}

}  // namespace passbridge::tool
