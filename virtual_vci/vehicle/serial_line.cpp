#include "virtual_vci/vehicle/serial_line.h"

#include <algorithm>
#include <utility>

namespace virtual_vci {

template <typename Tell>
void SerialLine::Occupy(const SerialNode* from, Micros duration, Tell tell, Done done) {
  const FrameTimes times{scheduler_.Now(), scheduler_.Now() + duration};
  lastUsed_ = std::max(lastUsed_, times.end);
  scheduler_.After(duration, Pace::kProgress, [this, from, times, tell, done = std::move(done)] {
    for (SerialNode* node : nodes_) {
      if (node != from) tell(*node, times);
    }
    if (done) done(times);
  });
}

void SerialLine::SendByte(const SerialNode* from, std::uint8_t byte, const SerialFormat& format,
                          Done done) {
  const auto tell = [byte, format](SerialNode& node, FrameTimes times) {
    node.Heard(byte, format, times);
  };
  Occupy(from, format.ByteTime(), tell, std::move(done));
}

void SerialLine::SendAddress(const SerialNode* from, std::uint8_t byte, bool alsoOnL, Done done) {
  constexpr SerialFormat kFiveBaud{5};
  const auto tell = [byte, alsoOnL](SerialNode& node, FrameTimes times) {
    node.HeardAddress(byte, alsoOnL, times);
  };
  Occupy(from, kFiveBaud.ByteTime(), tell, std::move(done));
}

void SerialLine::Pulse(const SerialNode* from, Micros low, Done done) {
  const auto tell = [](SerialNode& node, FrameTimes times) { node.HeardPulse(times); };
  Occupy(from, low, tell, std::move(done));
}

bool SerialLine::SendBytes(std::span<const std::uint8_t> message, std::uint32_t flags) {
  if ((flags & kBreakInsteadOfBytes) != 0) {
    Pulse(nullptr, kBreakTime, nullptr);
    return true;
  }
  const SerialFormat format{bitRate_};
  for (std::size_t i = 0; i < message.size(); ++i) {
    scheduler_.After(i * format.ByteTime(), Pace::kProgress, [this, format, byte = message[i]] {
      SendByte(nullptr, byte, format, nullptr);
    });
  }
  return !message.empty();
}

void SerialSender::Start(Bytes bytes, const SerialFormat& format, Micros pause,
                         SerialLine::Done done) {
  message_ = std::make_shared<Message>(Message{std::move(bytes), format, pause, std::move(done)});
  SendNext();
}

void SerialSender::Cancel() {
  scheduler_.Cancel(timer_);
  message_.reset();
}

SerialLine::Done SerialSender::WhenSent() {
  return [this, of = std::weak_ptr(message_)](FrameTimes times) {
    if (!of.expired()) ByteSent(times);
  };
}

void SerialSender::StartAddress(std::uint8_t byte, bool alsoOnL, SerialLine::Done done) {
  message_ = std::make_shared<Message>(Message{{byte}, {}, 0, std::move(done)});
  line_.SendAddress(&node_, byte, alsoOnL, WhenSent());
}

void SerialSender::SendNext() {
  line_.SendByte(&node_, message_->bytes[message_->next], message_->format, WhenSent());
}

void SerialSender::ByteSent(FrameTimes times) {
  Message& message = *message_;
  if (message.next == 0) message.start = times.start;
  if (++message.next == message.bytes.size()) {
    const auto ended = std::exchange(message_, nullptr);
    ended->done({ended->start, times.end});
  } else if (message.pause == 0) {
    SendNext();
  } else {
    timer_ = scheduler_.After(message.pause, Pace::kProgress, [this] { SendNext(); });
  }
}

void SerialReceiver::Take(std::uint8_t byte, FrameTimes times, Micros maxPause) {
  if (bytes_.empty()) times_.start = times.start;
  times_.end = times.end;
  bytes_.push_back(byte);
  // The next byte is heard when it is over.
  const Micros byteTime = times.end - times.start;
  scheduler_.Cancel(timer_);
  timer_ = scheduler_.After(maxPause + byteTime + 1, Pace::kProgress, [this] { End(); });
}

void SerialReceiver::End() {
  scheduler_.Cancel(timer_);
  const Bytes bytes = std::exchange(bytes_, {});
  if (!bytes.empty()) ended_(bytes, times_);
}

void SerialReceiver::Reset() {
  scheduler_.Cancel(timer_);
  bytes_.clear();
}

}  // namespace virtual_vci
