/// \file
/// Where a module's event queues are filled, and the list of those whose callback has to be run.
#ifndef VIRTUAL_VCI_ITEMS_EVENT_PORT_H_
#define VIRTUAL_VCI_ITEMS_EVENT_PORT_H_

#include <memory>
#include <utility>
#include <vector>

#include "virtual_vci/items/event_queue.h"

namespace virtual_vci {

/// Guarded by the module's lock.
class Outbox {
 public:
  void Add(std::shared_ptr<EventQueue> queue) { queues_.push_back(std::move(queue)); }
  bool Empty() const { return queues_.empty(); }
  std::vector<std::shared_ptr<EventQueue>> Take() { return std::exchange(queues_, {}); }

 private:
  std::vector<std::shared_ptr<EventQueue>> queues_;
};

/// A queue together with the outbox that its callback goes through. Guarded by the module's lock.
class EventPort {
 public:
  EventPort(std::shared_ptr<EventQueue> queue, Outbox& outbox)
      : queue_(std::move(queue)), outbox_(outbox) {}

  void Push(ItemPtr item) {
    if (queue_->Push(std::move(item))) outbox_.Add(queue_);
  }
  void PushFrame(const EventHead& head, const ResultInfo& info, std::span<const UNUM8> record,
                 bool packing) {
    if (queue_->PushFrame(head, info, record, packing)) outbox_.Add(queue_);
  }
  void SetCallback(CALLBACKFNC callback) {
    if (queue_->SetCallback(callback)) outbox_.Add(queue_);
  }
  EventQueue& Queue() const { return *queue_; }
  const std::shared_ptr<EventQueue>& Shared() const { return queue_; }

 private:
  std::shared_ptr<EventQueue> queue_;
  Outbox& outbox_;
};

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_ITEMS_EVENT_PORT_H_
