#ifndef PASSBRIDGE_PLATFORM_NEVER_DESTROYED_H_
#define PASSBRIDGE_PLATFORM_NEVER_DESTROYED_H_

#include <cstddef>
#include <new>
#include <utility>

namespace passbridge::platform {

// Holds an object of the process whose destructor never runs: threads that outlive a careless
// process end still find it, and unloading the library waits for nothing. The object lies in the
// holder's own memory, so that an object which owns nothing any more leaves nothing behind when the
// library is unloaded.
//
//   Thing& TheThing() {
//     static platform::NeverDestroyed<Thing> thing;
//     return thing.Get();
//   }
template <typename T>
class NeverDestroyed {
 public:
  template <typename... Args>
  explicit NeverDestroyed(Args&&... args) {
    ::new (static_cast<void*>(storage_)) T(std::forward<Args>(args)...);
  }
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T& Get() { return *std::launder(reinterpret_cast<T*>(storage_)); }

 private:
  alignas(T) std::byte storage_[sizeof(T)];
};

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_NEVER_DESTROYED_H_
