#ifndef PASSBRIDGE_CHANNEL_MESSAGE_SPACE_H_
#define PASSBRIDGE_CHANNEL_MESSAGE_SPACE_H_

#include <algorithm>
#include <cstdint>

#include "j2534/app_memory.h"
#include "platform/memory_probe.h"

namespace passbridge {

/// An application's message array, whose memory is asked about a piece at a time: it may be large,
/// and only as much of it as is used need exist.
class MessageSpace {
 public:
  MessageSpace(const AppMessage& msgs, std::uint32_t count, platform::MemoryUse use)
      : msgs_(msgs), count_(count), use_(use) {}

  /// Whether the whole message can be used.
  /// @param wanted  (-> std::size_t) tells how many from this one on are likely to be asked about,
  ///                too; called only if it matters
  template <typename Wanted>
  bool Has(std::uint32_t index, const Wanted& wanted) {
    if (index < known_) return true;
    for (const std::uint32_t piece : {FirstPiece(count_ - index, wanted), 1U}) {
      if (IsUsable(msgs_[index].Address(), piece * msgs_.Size())) {
        known_ = index + piece;
        return true;
      }
    }
    return false;
  }

 private:
  static constexpr std::uint32_t kMost = 128;

  template <typename Wanted>
  static std::uint32_t FirstPiece(std::uint32_t left, const Wanted& wanted) {
    if (left <= 1) return 1;
    return std::clamp(static_cast<std::uint32_t>(std::min<std::size_t>(wanted(), kMost)), 1U, left);
  }

  bool IsUsable(void* address, std::size_t size) const {
    return use_ == platform::MemoryUse::Read ? platform::IsReadable(address, size)
                                             : platform::IsWritable(address, size);
  }

  const AppMessage msgs_;
  const std::uint32_t count_;
  const platform::MemoryUse use_;
  std::uint32_t known_ = 0;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_MESSAGE_SPACE_H_
