#ifndef PASSBRIDGE_CHANNEL_MESSAGE_QUEUE_H_
#define PASSBRIDGE_CHANNEL_MESSAGE_QUEUE_H_

#include <array>
#include <cstddef>
#include <memory>

#include "channel/message.h"

namespace passbridge {

/// Messages in the order in which they came. They lie in blocks, of which one that was emptied is
/// kept for the next that is needed: a queue that is emptied as fast as it is filled allocates
/// nothing, and one that was long gives its memory back.
class MessageQueue {
 public:
  MessageQueue() = default;
  MessageQueue(const MessageQueue&) = delete;
  MessageQueue& operator=(const MessageQueue&) = delete;
  ~MessageQueue() { Clear(); }

  bool IsEmpty() const { return size_ == 0; }
  std::size_t Size() const { return size_; }
  void Add(CJ2534PassThruMsg&& message);
  /// Moves the oldest out; there must be one.
  void Take(CJ2534PassThruMsg& message);
  /// Lets go of the messages, oldest first.
  void Clear();
  void Swap(MessageQueue& other) noexcept;

 private:
  static constexpr std::size_t kBlockSize = 64;
  struct Block {
    std::array<CJ2534PassThruMsg, kBlockSize> messages;
    std::unique_ptr<Block> next;
  };

  std::unique_ptr<Block> NewBlock();

  std::unique_ptr<Block> first_;
  Block* last_ = nullptr;
  std::unique_ptr<Block> spare_;
  std::size_t begin_ = 0;  // in the first block
  std::size_t end_ = 0;    // in the last block
  std::size_t size_ = 0;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_MESSAGE_QUEUE_H_
