#ifndef PASSBRIDGE_PDU_OBJECT_IDS_H_
#define PASSBRIDGE_PDU_OBJECT_IDS_H_

#include <array>
#include <atomic>
#include <cstddef>
#include <span>

#include "passbridge/d_pdu_api.h"

namespace passbridge::pdu {

/// The identifiers of a list of short names of one type of object. An identifier that was found
/// stays; PDU_ID_UNDEF is that of a name that nobody knew so far. Identifiers are found on one
/// thread at a time and read by any.
class ObjectIds {
 public:
  using Cell = std::atomic<UNUM32>;

  /// @param cells  as many as names
  ObjectIds(T_PDU_OBJT type, std::span<const char* const> names, std::span<Cell> cells)
      : type_(type), names_(names), cells_(cells) {
    Forget();
  }

  UNUM32 At(std::size_t index) const { return cells_[index].load(std::memory_order_relaxed); }

  /// Asks for the names that have no identifier, each by itself.
  void ResolveOneByOne();
  /// The same in one call, if the D-PDU library can; one by one if it can't or the call fails.
  void ResolveAtOnce();
  void Forget();

 private:
  T_PDU_ERROR AskAtOnce();

  const T_PDU_OBJT type_;
  const std::span<const char* const> names_;
  const std::span<Cell> cells_;
};

}  // namespace passbridge::pdu

#endif  // PASSBRIDGE_PDU_OBJECT_IDS_H_
