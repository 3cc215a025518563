#include "frames/obd_message.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace passbridge::tool {
namespace {

constexpr std::uint8_t kFunctional = 0xC0;
constexpr std::uint8_t kAddressMode = 0xC0;
constexpr std::uint8_t kLengthBits = 0x3F;
constexpr std::uint8_t kEmissionRelated = 0x33;
constexpr std::size_t kHeaderSize = 3;
constexpr std::uint8_t kVehicleInformationAnswer = 0x49;

// The bytes before the sender's address, of requests and of answers.
struct FixedHeader {
  ObdHeader kind;
  std::array<std::uint8_t, 2> request;
  std::array<std::uint8_t, 2> answer;
};
constexpr FixedHeader kFixedHeaders[] = {
    {ObdHeader::Iso9141, {0x68, 0x6A}, {0x48, kFunctionalAnswers}},
    {ObdHeader::J1850Vpw, {0x68, 0x6A}, {0x48, kFunctionalAnswers}},
    {ObdHeader::J1850Pwm, {0x61, 0x6A}, {0x41, kFunctionalAnswers}},
};

// Null for ISO 14230.
const FixedHeader* FindFixedHeader(ObdHeader kind) {
  const auto* const found =
      std::find_if(std::begin(kFixedHeaders), std::end(kFixedHeaders),
                   [kind](const FixedHeader& each) { return each.kind == kind; });
  return found == std::end(kFixedHeaders) ? nullptr : found;
}

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

std::vector<std::uint8_t> ObdRequestMessage(ObdHeader header, std::span<const std::uint8_t> data) {
  const auto format = static_cast<std::uint8_t>(kFunctional | data.size());
  std::vector<std::uint8_t> message{format, kEmissionRelated};
  if (const FixedHeader* const fixed = FindFixedHeader(header)) {
    message.assign(fixed->request.begin(), fixed->request.end());
  }
  message.push_back(kTesterAddress);
  message.insert(message.end(), data.begin(), data.end());
  return message;
}

std::optional<ObdAnswer> ParseObdAnswer(ObdHeader header, std::span<const std::uint8_t> message) {
  if (message.size() <= kHeaderSize) return std::nullopt;
  if (const FixedHeader* const fixed = FindFixedHeader(header)) {
    if (!std::equal(fixed->answer.begin(), fixed->answer.end(), message.begin())) {
      return std::nullopt;
    }
    return ObdAnswer{message[2], Behind(message, kHeaderSize)};
  }
  if ((message[0] & kAddressMode) == 0 || message[1] != kTesterAddress) return std::nullopt;
  const std::size_t size = (message[0] & kLengthBits) == 0 ? kHeaderSize + 1 : kHeaderSize;
  if (message.size() <= size) return std::nullopt;
  return ObdAnswer{message[2], Behind(message, size)};
}

std::vector<ObdAnswer> JoinAnswers(const std::vector<ObdAnswer>& messages) {
  std::vector<ObdAnswer> answers;
  for (const ObdAnswer& message : messages) {
    if (message.data.empty()) continue;
    const std::uint8_t service = message.data[0];
    const bool isText = service == kVehicleInformationAnswer && message.data.size() > 2 &&
                        message.data[1] % 0x20 != 0;
    const bool isList = service == kVehicleInformationAnswer && message.data.size() > 2 && !isText;
    auto joined = std::find_if(answers.begin(), answers.end(), [&](const ObdAnswer& each) {
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
