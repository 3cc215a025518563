#include "ui/windows/explorer_mail.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace passbridge {

void ExplorerMail::Deliver(pdu::Item<PDU_MODULE_ITEM> list) {
  const auto address = reinterpret_cast<WPARAM>(list.get());
  {
    const platform::MutexLock lock(lock_);
    lists_.push_back(std::move(list));
  }
  ::PostMessageW(dialog_, kModuleListMessage, address, 0);
}

void ExplorerMail::DeliverFailure(const char* message) {
  {
    const platform::MutexLock lock(lock_);
    if (std::find(failures_.begin(), failures_.end(), message) != failures_.end()) return;
    failures_.emplace_back(message);
  }
  ::PostMessageW(dialog_, kFailureMessage, 0, 0);
}

pdu::Item<PDU_MODULE_ITEM> ExplorerMail::Take(PDU_MODULE_ITEM* list) {
  std::vector<pdu::Item<PDU_MODULE_ITEM>> taken;  // destroyed without the lock
  {
    const platform::MutexLock lock(lock_);
    const auto found = std::find_if(lists_.begin(), lists_.end(),
                                    [list](const auto& each) { return each.get() == list; });
    if (found == lists_.end()) return pdu::Item<PDU_MODULE_ITEM>(list);
    taken.assign(std::make_move_iterator(lists_.begin()),
                 std::make_move_iterator(std::next(found)));
    lists_.erase(lists_.begin(), std::next(found));
  }
  return std::move(taken.back());
}

std::string ExplorerMail::TakeFailure() {
  const platform::MutexLock lock(lock_);
  if (failures_.empty()) return {};
  std::string oldest = std::move(failures_.front());
  failures_.erase(failures_.begin());
  return oldest;
}

}  // namespace passbridge
