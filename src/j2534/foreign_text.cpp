#include "j2534/foreign_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "platform/memory_probe.h"

namespace passbridge {

namespace {

/// Memory is readable or not by pages, and no page is smaller.
constexpr std::uintptr_t kPageSize = 4096;

std::size_t BytesToPageEnd(const char* address) {
  return kPageSize - reinterpret_cast<std::uintptr_t>(address) % kPageSize;
}

}  // namespace

std::optional<std::string> ReadForeignText(const void* address, std::size_t maxLength) {
  if (address == nullptr) return std::nullopt;
  const auto* part = static_cast<const char*>(address);
  std::string text;
  while (text.size() < maxLength) {
    const std::size_t size = std::min(BytesToPageEnd(part), maxLength - text.size());
    if (!platform::IsReadable(part, 1)) return std::nullopt;
    const auto* const end = static_cast<const char*>(std::memchr(part, '\0', size));
    text.append(part, end != nullptr ? static_cast<std::size_t>(end - part) : size);
    if (end != nullptr) break;
    part += size;
  }
  return text;
}

}  // namespace passbridge
