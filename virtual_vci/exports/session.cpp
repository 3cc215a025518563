#include "virtual_vci/exports/session.h"

#include <new>
#include <utility>

namespace virtual_vci {

namespace {

/// Never destroyed: a process may end while threads of the library still run. It holds nothing
/// after PDUDestruct.
struct Current {
  Mutex lock;
  std::shared_ptr<Library> library VVCI_GUARDED_BY(lock);
};

Current& TheCurrent() {
  alignas(Current) static unsigned char memory[sizeof(Current)];
  static auto* const current = new (memory) Current;
  return *current;
}

}  // namespace

std::shared_ptr<Library> CurrentLibrary() {
  Current& current = TheCurrent();
  MutexLock lock(current.lock);
  return current.library;
}

bool SetCurrentLibrary(std::shared_ptr<Library> library) {
  Current& current = TheCurrent();
  MutexLock lock(current.lock);
  if (current.library) return false;
  current.library = std::move(library);
  return true;
}

bool DropCurrentLibrary(const std::shared_ptr<Library>& library) {
  Current& current = TheCurrent();
  std::shared_ptr<Library> dropped;
  MutexLock lock(current.lock);
  if (current.library != library) return false;
  dropped.swap(current.library);
  return true;
}

}  // namespace virtual_vci
