#include "j2534/app_memory.h"

#include <algorithm>
#include <cstring>

namespace passbridge {

// memcpy, for an application may pass unaligned memory.

std::uint32_t AppValue::Load() const {
  if (width_ == FieldWidth::k32) {
    std::uint32_t value = 0;
    std::memcpy(&value, address_, sizeof value);
    return value;
  }
  std::uint64_t value = 0;
  std::memcpy(&value, address_, sizeof value);
  return static_cast<std::uint32_t>(value);
}

void AppValue::Store(std::uint32_t value) const {
  if (width_ == FieldWidth::k32) {
    std::memcpy(address_, &value, sizeof value);
    return;
  }
  const std::uint64_t wide = value;
  std::memcpy(address_, &wide, sizeof wide);
}

void* AppArray::Elements() const {
  void* elements = nullptr;
  std::memcpy(&elements, static_cast<const std::byte*>(pointer_.address) + sizeof(void*),
              sizeof elements);
  return elements;
}

std::span<std::uint8_t> AppMessage::Bytes() const {
  return {Data(), std::min(DataSize(), kMaxMessageData)};
}

}  // namespace passbridge
