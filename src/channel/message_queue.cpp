#include "channel/message_queue.h"

#include <utility>

namespace passbridge {

std::unique_ptr<MessageQueue::Block> MessageQueue::NewBlock() {
  return spare_ != nullptr ? std::move(spare_) : std::make_unique<Block>();
}

void MessageQueue::Add(CJ2534PassThruMsg&& message) {
  if (first_ == nullptr) {
    first_ = NewBlock();
    last_ = first_.get();
    end_ = 0;
  } else if (end_ == kBlockSize) {
    last_->next = NewBlock();
    last_ = last_->next.get();
    end_ = 0;
  }
  last_->messages[end_++] = std::move(message);
  ++size_;
}

void MessageQueue::Take(CJ2534PassThruMsg& message) {
  message = std::move(first_->messages[begin_++]);
  --size_;
  if (begin_ == kBlockSize || size_ == 0) {
    spare_ = std::move(first_);
    first_ = std::move(spare_->next);
    begin_ = 0;
  }
}

void MessageQueue::Clear() {
  for (CJ2534PassThruMsg message; !IsEmpty();) Take(message);
}

void MessageQueue::Swap(MessageQueue& other) noexcept {
  first_.swap(other.first_);
  spare_.swap(other.spare_);
  std::swap(last_, other.last_);
  std::swap(begin_, other.begin_);
  std::swap(end_, other.end_);
  std::swap(size_, other.size_);
}

}  // namespace passbridge
