#include "channel/funct_msg_lookup_table.h"

#include <algorithm>

namespace passbridge {

namespace {

bool Holds(const FunctMsgLookupTable::Addresses& addresses, std::uint8_t address) {
  return std::find(addresses.begin(), addresses.end(), address) != addresses.end();
}

}  // namespace

FunctMsgLookupTable::Addresses FunctMsgLookupTable::Add(std::span<const std::uint8_t> addresses) {
  platform::MutexLock lock(lock_);
  for (const std::uint8_t address : addresses) {
    if (!Holds(addresses_, address)) addresses_.push_back(address);
  }
  return addresses_;
}

FunctMsgLookupTable::Addresses FunctMsgLookupTable::Remove(
    std::span<const std::uint8_t> addresses) {
  platform::MutexLock lock(lock_);
  for (const std::uint8_t address : addresses) std::erase(addresses_, address);
  return addresses_;
}

void FunctMsgLookupTable::Clear() {
  platform::MutexLock lock(lock_);
  addresses_.clear();
}

bool FunctMsgLookupTable::Contains(std::uint8_t address) const {
  platform::MutexLock lock(lock_);
  return Holds(addresses_, address);
}

FunctMsgLookupTable::Addresses FunctMsgLookupTable::Get() const {
  platform::MutexLock lock(lock_);
  return addresses_;
}

}  // namespace passbridge
