#ifndef PASSBRIDGE_PDU_ITEM_H_
#define PASSBRIDGE_PDU_ITEM_H_

#include <atomic>
#include <cstdint>
#include <utility>

#include "pdu/pdu_api.h"

namespace passbridge::pdu {

/// Gives an item back to the D-PDU library.
inline T_PDU_ERROR DestroyItem(void* item) {
  return Api().PDUDestroyItem(static_cast<PDU_ITEM*>(item));
}

/// Owns one item that the D-PDU library handed out (an event, a module list, a ComParam, the
/// output of an I/O control): PDUDestroyItem is called exactly once, whatever path is taken.
template <typename T>
class Item {
 public:
  Item() = default;
  explicit Item(T* item) : item_(item) {}
  Item(Item&& other) noexcept : item_(std::exchange(other.item_, nullptr)) {}
  Item& operator=(Item&& other) noexcept {
    if (this != &other) {
      Destroy();
      item_ = std::exchange(other.item_, nullptr);
    }
    return *this;
  }
  Item(const Item&) = delete;
  Item& operator=(const Item&) = delete;
  ~Item() { Destroy(); }

  T* get() const { return item_; }
  T* operator->() const { return item_; }
  explicit operator bool() const { return item_ != nullptr; }

  /// The cell into which a D-PDU call writes its item. Null before the call: some libraries leave
  /// it untouched.
  T** Out() {
    Destroy();
    return &item_;
  }

  /// The result of the call that Out was for; what a failing one leaves there is no item.
  T_PDU_ERROR Checked(T_PDU_ERROR result) {
    if (result != PDU_STATUS_NOERROR) Release();
    return result;
  }

  /// Destroys the item now; for callers that must know the result.
  T_PDU_ERROR Destroy() {
    T* const item = std::exchange(item_, nullptr);
    return item != nullptr ? DestroyItem(item) : T_PDU_ERROR{PDU_STATUS_NOERROR};
  }

  T* Release() { return std::exchange(item_, nullptr); }

 private:
  T* item_ = nullptr;
};

/// One event item of whose bytes messages are made: it is destroyed when the last of them lets go.
/// Nothing is allocated while there is one user only. Copies may live on different threads; one
/// object, copied or not, is used by one thread at a time.
class SharedEventItem {
 public:
  SharedEventItem() = default;
  /// Takes the item over.
  explicit SharedEventItem(Item<PDU_EVENT_ITEM> item) : item_(item.Release()) {}
  SharedEventItem(const SharedEventItem& other) : users_(other.ShareUsers()), item_(other.item_) {}
  SharedEventItem(SharedEventItem&& other) noexcept
      : users_(std::exchange(other.users_, nullptr)), item_(std::exchange(other.item_, nullptr)) {}
  SharedEventItem& operator=(SharedEventItem other) noexcept {
    std::swap(users_, other.users_);
    std::swap(item_, other.item_);
    return *this;
  }
  ~SharedEventItem() { Release(); }

  PDU_EVENT_ITEM* get() const { return item_; }
  PDU_EVENT_ITEM* operator->() const { return item_; }
  explicit operator bool() const { return item_ != nullptr; }

  /// Lets go. The result is that of PDUDestroyItem if this was the last user, else success.
  T_PDU_ERROR Release() {
    PDU_EVENT_ITEM* const item = std::exchange(item_, nullptr);
    Users* const users = std::exchange(users_, nullptr);
    if (users != nullptr) {
      if (users->fetch_sub(1, std::memory_order_acq_rel) != 1) return PDU_STATUS_NOERROR;
      delete users;
    }
    return item != nullptr ? DestroyItem(item) : T_PDU_ERROR{PDU_STATUS_NOERROR};
  }

 private:
  using Users = std::atomic<std::uint32_t>;

  /// Counts one user more, from the second on.
  Users* ShareUsers() const {
    if (item_ == nullptr) return nullptr;
    if (users_ == nullptr) users_ = new Users(1);
    users_->fetch_add(1, std::memory_order_relaxed);
    return users_;
  }

  mutable Users* users_ = nullptr;  // null while this is the only user
  PDU_EVENT_ITEM* item_ = nullptr;
};

}  // namespace passbridge::pdu

#endif  // PASSBRIDGE_PDU_ITEM_H_
