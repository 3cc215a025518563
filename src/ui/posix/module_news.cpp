#include "ui/posix/module_news.h"

#include <sys/eventfd.h>

#include <utility>

namespace passbridge {

ModuleNews::ModuleNews()
    : arrival_(platform::AboveStandard(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {}

ModuleWatch::Sinks ModuleNews::Sinks() {
  return {[this](pdu::Item<PDU_MODULE_ITEM> list) {
    const platform::MutexLock lock(lock_);
    batch_.lists.push_back(std::move(list));
    Announce();
          },
          [this](const char* message) {
    const platform::MutexLock lock(lock_);
    batch_.messages.emplace_back(message);
    Announce();
  }};
}

void ModuleNews::Announce() const { ::eventfd_write(arrival_.Number(), 1); }

ModuleNews::Batch ModuleNews::Take() {
  const platform::MutexLock lock(lock_);
  eventfd_t unused = 0;
  ::eventfd_read(arrival_.Number(), &unused);
  return std::exchange(batch_, {});
}

}  // namespace passbridge
