#ifndef PASSBRIDGE_CHANNEL_COM_PARAM_CACHE_H_
#define PASSBRIDGE_CHANNEL_COM_PARAM_CACHE_H_

#include <array>
#include <cstdint>

#include "passbridge/d_pdu_api.h"
#include "pdu/item.h"
#include "platform/mutex.h"
#include "trace/location.h"

namespace passbridge {

/// The ComParams of one link as the D-PDU library last gave them, so that a value is written only
/// when it changes. Any thread; the lock is recursive, for a library may report a lost module from
/// inside one of these calls.
class ComParamCache {
 public:
  /// Identifiers from here on are not cached, and not used.
  static constexpr UNUM32 kMaxIdentifier = 200;

  struct Link {
    UNUM32 module;
    UNUM32 cll;
  };

  /// Fetches a ComParam anew; every failure is ERR_NOT_SUPPORTED.
  Status Fetch(Link link, UNUM32 id) EXCLUDES(lock_);
  /// Writes the first `size` bytes of `value` (little endian), cut or extended to the ComParam's
  /// type, if that changes it. A refused value does not count as written.
  Status Set(Link link, UNUM32 id, const void* value, std::uint32_t size) EXCLUDES(lock_);
  /// The first 32 bits of the value.
  Status Get(Link link, UNUM32 id, UNUM32* value) EXCLUDES(lock_);
  /// Gives all items back.
  void Clear() EXCLUDES(lock_);

 private:
  using ParamItem = pdu::Item<PDU_PARAM_ITEM>;

  Status FetchLocked(Link link, UNUM32 id) REQUIRES(lock_);
  /// Moves an item out of the cache, fetched first if need be; the caller puts it back.
  ParamItem Take(Link link, UNUM32 id) REQUIRES(lock_);

  platform::RecursiveMutex lock_;
  std::array<ParamItem, kMaxIdentifier> items_ GUARDED_BY(lock_);
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_COM_PARAM_CACHE_H_
