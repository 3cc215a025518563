#include "virtual_vci/vehicle/isotp.h"

#include <algorithm>
#include <utility>

namespace virtual_vci {

namespace {

enum FrameKind : std::uint8_t {
  kSingleFrame = 0,
  kFirstFrame = 1,
  kConsecutiveFrame = 2,
  kFlowControl = 3
};
enum FlowStatus : std::uint8_t { kContinue = 0, kWait = 1, kOverflow = 2 };

constexpr Micros kLongestSeparation = 127000;
constexpr std::size_t kFrameSize = 8;

std::uint8_t Pci(FrameKind kind, std::size_t low) {
  return static_cast<std::uint8_t>(kind << 4 | (low & 0x0F));
}

}  // namespace

Micros SeparationTime(std::uint8_t code) {
  if (code <= 0x7F) return Micros{code} * 1000;
  if (code >= 0xF1 && code <= 0xF9) return Micros{code - 0xF0u} * 100;
  return kLongestSeparation;
}

bool HasAddress(const CanFrame& frame, const CanAddress& address) {
  return frame.id == address.id && frame.extended == address.extended &&
         (!address.extension || (frame.size > 0 && frame.data[0] == *address.extension));
}

CanFrame AddressedFrame(const CanAddress& to, std::span<const std::uint8_t> bytes,
                        std::optional<std::uint8_t> padding) {
  Bytes all;
  if (to.extension) all.push_back(*to.extension);
  all.insert(all.end(), bytes.begin(), bytes.end());
  if (padding && all.size() < kFrameSize) all.resize(kFrameSize, *padding);
  return CanFrame::Make(to.id, to.extended, all);
}

std::size_t FrameRoom(const CanAddress& address) {
  return address.extension ? kFrameSize - 1 : kFrameSize;
}

std::size_t SingleFrameCapacity(const CanAddress& to) { return FrameRoom(to) - 1; }

void IsoTpSender::Start(const Config& config, Bytes message) {
  config_ = config;
  message_ = std::move(message);
  sent_ = 0;
  waits_ = 0;
  sequence_ = config_.firstSequence;
  if (message_.size() > SingleFrameCapacity(config_.to)) {
    SendFirst();
    return;
  }
  state_ = State::kSingle;
  Bytes frame{Pci(kSingleFrame, message_.size())};
  frame.insert(frame.end(), message_.begin(), message_.end());
  host_.Transmit(AddressedFrame(config_.to, frame, config_.padding));
}

void IsoTpSender::SendFirst() {
  state_ = State::kFirst;
  Bytes frame{Pci(kFirstFrame, message_.size() >> 8), static_cast<std::uint8_t>(message_.size())};
  sent_ = FrameRoom(config_.to) - 2;
  frame.insert(frame.end(), message_.begin(),
               message_.begin() + static_cast<std::ptrdiff_t>(sent_));
  host_.Transmit(AddressedFrame(config_.to, frame, config_.padding));
}

void IsoTpSender::FrameSent(bool acknowledged) {
  if (state_ == State::kIdle) return;
  if (!acknowledged) {
    End(IsoTpError::kTimeoutAs);
  } else if (state_ == State::kSingle || sent_ == message_.size()) {
    End(IsoTpError::kNone);
  } else if (state_ == State::kFirst || (blockLeft_ != 0 && --blockLeft_ == 0)) {
    AwaitFlow();
  } else {
    PauseThenSend();
  }
}

void IsoTpSender::AwaitFlow() {
  state_ = State::kAwaitFlow;
  scheduler_.Cancel(timer_);
  timer_ = scheduler_.After(config_.bs, Pace::kProgress, [this] { End(IsoTpError::kTimeoutBs); });
}

void IsoTpSender::FlowControl(std::span<const std::uint8_t> frame) {
  if (state_ != State::kAwaitFlow || frame.size() < 3) return;
  switch (frame[0] & 0x0F) {
    case kContinue:
      Continue(config_.blockSize.value_or(frame[1]),
               config_.separationTime.value_or(SeparationTime(frame[2])));
      break;
    case kWait:
      if (++waits_ > config_.maxWaits) {
        End(IsoTpError::kTooManyWaits);
      } else {
        AwaitFlow();
      }
      break;
    case kOverflow:
      End(IsoTpError::kOverflow);
      break;
    default:
      End(IsoTpError::kInvalidFlow);
      break;
  }
}

void IsoTpSender::Continue(std::uint8_t blockSize, Micros separationTime) {
  state_ = State::kConsecutive;
  waits_ = 0;
  blockLeft_ = blockSize;
  pause_ = std::max(separationTime, config_.cs);
  scheduler_.Cancel(timer_);
  // The first frame of a block waits for nothing but the sender's own pause.
  if (config_.cs == 0) {
    SendConsecutive();
  } else {
    timer_ = scheduler_.After(config_.cs, Pace::kProgress, [this] { SendConsecutive(); });
  }
}

void IsoTpSender::PauseThenSend() {
  if (pause_ == 0) {
    SendConsecutive();
    return;
  }
  scheduler_.Cancel(timer_);
  timer_ = scheduler_.After(pause_, Pace::kProgress, [this] { SendConsecutive(); });
}

void IsoTpSender::SendConsecutive() {
  const std::size_t count = std::min(FrameRoom(config_.to) - 1, message_.size() - sent_);
  Bytes frame{Pci(kConsecutiveFrame, sequence_++)};
  const auto begin = message_.begin() + static_cast<std::ptrdiff_t>(sent_);
  frame.insert(frame.end(), begin, begin + static_cast<std::ptrdiff_t>(count));
  sent_ += count;
  host_.Transmit(AddressedFrame(config_.to, frame, config_.padding));
}

void IsoTpSender::Cancel() {
  scheduler_.Cancel(timer_);
  state_ = State::kIdle;
}

void IsoTpSender::End(IsoTpError error) {
  Cancel();
  host_.SendEnded(error);
}

void IsoTpReceiver::FlowControlFailed() {
  if (length_ != 0) End(IsoTpError::kTimeoutAr);
}

void IsoTpReceiver::Reset() {
  scheduler_.Cancel(timer_);
  flowControlDue_ = false;
  length_ = 0;
}

void IsoTpReceiver::End(IsoTpError error) {
  Reset();
  host_.ReceiveEnded(error, error == IsoTpError::kNone ? std::exchange(message_, {}) : Bytes{});
}

void IsoTpReceiver::Frame(std::span<const std::uint8_t> frame) {
  if (frame.empty()) return;
  switch (frame[0] >> 4) {
    case kSingleFrame:
      Single(frame);
      break;
    case kFirstFrame:
      First(frame);
      break;
    case kConsecutiveFrame:
      Consecutive(frame);
      break;
    default:
      break;
  }
}

void IsoTpReceiver::Single(std::span<const std::uint8_t> frame) {
  const std::size_t length = frame[0] & 0x0F;
  if (length == 0 || length >= frame.size()) return;
  if (length_ != 0) End(IsoTpError::kInterrupted);
  message_.assign(frame.begin() + 1, frame.begin() + 1 + static_cast<std::ptrdiff_t>(length));
  End(IsoTpError::kNone);
}

void IsoTpReceiver::First(std::span<const std::uint8_t> frame) {
  if (frame.size() < config_.room) return;
  const std::size_t length = std::size_t{frame[0] & 0x0Fu} << 8 | frame[1];
  if (length < frame.size()) return;  // would have fitted into a single frame
  if (length_ != 0) End(IsoTpError::kInterrupted);
  if (length > config_.maxLength) {
    const std::array<std::uint8_t, 3> overflow{Pci(kFlowControl, kOverflow), 0, 0};
    host_.TransmitFlowControl(AddressedFrame(config_.flowControlTo, overflow, config_.padding));
    return;
  }
  length_ = length;
  sequence_ = config_.firstSequence;
  waitsLeft_ = config_.waits;
  message_.assign(frame.begin() + 2, frame.end());
  host_.ReceiveStarted(length);
  ScheduleFlowControl(config_.br);
}

void IsoTpReceiver::ScheduleFlowControl(Micros pause) {
  if (pause == 0) {
    SendFlowControl();
    return;
  }
  scheduler_.Cancel(timer_);
  flowControlDue_ = true;
  timer_ = scheduler_.After(pause, Pace::kProgress, [this] { SendFlowControl(); });
}

void IsoTpReceiver::SendFlowControl() {
  constexpr Micros kWaitPause = 10000;
  flowControlDue_ = false;
  const bool wait = waitsLeft_ > 0;
  const std::array<std::uint8_t, 3> frame{Pci(kFlowControl, wait ? kWait : kContinue),
                                          config_.blockSize, config_.stMin};
  blockLeft_ = config_.blockSize;
  if (wait) {
    --waitsLeft_;
    ScheduleFlowControl(kWaitPause);
  } else {
    AwaitConsecutive();
  }
  host_.TransmitFlowControl(AddressedFrame(config_.flowControlTo, frame, config_.padding));
}

void IsoTpReceiver::AwaitConsecutive() {
  scheduler_.Cancel(timer_);
  timer_ = scheduler_.After(config_.cr, Pace::kProgress, [this] { End(IsoTpError::kTimeoutCr); });
}

void IsoTpReceiver::Consecutive(std::span<const std::uint8_t> frame) {
  if (length_ == 0 || flowControlDue_) return;
  const std::size_t count = std::min(config_.room - 1, length_ - message_.size());
  if (frame.size() < 1 + count) return;
  if ((frame[0] & 0x0F) != (sequence_ & 0x0F)) {
    End(IsoTpError::kWrongSequence);
    return;
  }
  ++sequence_;
  message_.insert(message_.end(), frame.begin() + 1,
                  frame.begin() + 1 + static_cast<std::ptrdiff_t>(count));
  if (message_.size() == length_) {
    End(IsoTpError::kNone);
  } else if (blockLeft_ != 0 && --blockLeft_ == 0) {
    ScheduleFlowControl(config_.br);
  } else {
    AwaitConsecutive();
  }
}

}  // namespace virtual_vci
