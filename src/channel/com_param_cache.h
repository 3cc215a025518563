#ifndef PASSBRIDGE_CHANNEL_COM_PARAM_CACHE_H_
#define PASSBRIDGE_CHANNEL_COM_PARAM_CACHE_H_

#include <array>
#include <cstdint>
#include <vector>

#include "channel/link_handles.h"
#include "passbridge/d_pdu_api.h"
#include "pdu/item.h"
#include "platform/mutex.h"
#include "trace/method.h"

namespace passbridge {

/// The ComParams of one link as the D-PDU library last gave them, so that a value is written only
/// when it changes. Any thread; the lock is recursive, for a library may report a lost module from
/// inside one of these calls.
class ComParamCache {
 public:
  /// Identifiers from here on are not cached, and not used.
  static constexpr UNUM32 kMaxIdentifier = 200;

  /// Fetches a ComParam anew; every failure is ERR_NOT_SUPPORTED.
  Status Fetch(LinkHandles link, UNUM32 id) EXCLUDES(lock_);
  /// Writes the first `size` bytes of `value` (little endian), cut or extended to the ComParam's
  /// type, if that changes it. A refused value does not count as written.
  Status Set(LinkHandles link, UNUM32 id, const void* value, std::uint32_t size) EXCLUDES(lock_);
  /// The first 32 bits of the value.
  Status Get(LinkHandles link, UNUM32 id, UNUM32* value) EXCLUDES(lock_);
  /// Reports, at the exit that is handed in, if the D-PDU library cannot tell a ComParam's value.
  static Status Require(const Exits& exit, std::uint16_t point, LinkHandles link, UNUM32 id);
  /// Gives the item back; the ComParam is fetched anew when it is used again.
  void Forget(UNUM32 id) EXCLUDES(lock_);
  /// Gives all items back.
  void Clear() EXCLUDES(lock_);
  /// The same, unless another thread uses the cache just now: waits for nobody.
  void ClearUnlessInUse() EXCLUDES(lock_);

  platform::RecursiveMutex& Lock() RETURN_CAPABILITY(lock_) { return lock_; }

 private:
  using ParamItem = pdu::Item<PDU_PARAM_ITEM>;

  Status FetchLocked(LinkHandles link, UNUM32 id) REQUIRES(lock_);
  /// Moves an item out of the cache, fetched first if need be; the caller puts it back.
  ParamItem Take(LinkHandles link, UNUM32 id) REQUIRES(lock_);
  void ClearLocked() REQUIRES(lock_);

  platform::RecursiveMutex lock_;
  std::array<ParamItem, kMaxIdentifier> items_ GUARDED_BY(lock_);
};

/// ComParams that are set for one ComPrimitive (CoP), which runs with them. Starting it sets the
/// link back by itself; if it was not started, the values from before are written again. The cache
/// forgets them in any case. The cache's lock is held for the whole life.
class TemporaryComParams {
 public:
  TemporaryComParams(ComParamCache& cache, LinkHandles link) : cache_(cache), link_(link) {}
  TemporaryComParams(const TemporaryComParams&) = delete;
  TemporaryComParams& operator=(const TemporaryComParams&) = delete;
  ~TemporaryComParams();

  Status Set(UNUM32 id, UNUM32 value);
  /// The CoP was started.
  void SetBackByTheLink() { isSetBack_ = true; }

 private:
  struct Before {
    UNUM32 id;
    UNUM32 value;
  };

  ComParamCache& cache_;
  LinkHandles link_;
  std::vector<Before> before_;
  bool isSetBack_ = false;
};

}  // namespace passbridge

#endif  // PASSBRIDGE_CHANNEL_COM_PARAM_CACHE_H_
