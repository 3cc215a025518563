/// \file
/// ComParams: what they are (the table) and what a link's buffers hold (the sets).
#ifndef VIRTUAL_VCI_LINKS_COM_PARAMS_H_
#define VIRTUAL_VCI_LINKS_COM_PARAMS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "passbridge/d_pdu_api.h"
#include "virtual_vci/items/items.h"
#include "virtual_vci/links/com_param_list.h"

namespace virtual_vci {

enum class Unit : std::uint8_t { kNone, kMicroseconds, kBitsPerSecond, kPercent };

struct ComParamInfo {
  std::string_view name;
  T_PDU_PT type;
  T_PDU_PC paramClass;
  Unit unit;
  UNUM32 value;  ///< default of a number; longest length of a field, whose default is empty
};

#define VVCI_ENUMERATOR(name, ...) name,
#define VVCI_ROW(name, type, paramClass, unit, value) \
  ComParamInfo{#name, PDU_PT_##type, PDU_PC_##paramClass, Unit::unit, value},
/// ComParams by their identifiers, which never change.
enum class ComParam : UNUM32 { kNone, VVCI_COM_PARAMS(VVCI_ENUMERATOR) };
inline constexpr std::array kComParams = std::to_array({VVCI_COM_PARAMS(VVCI_ROW)});
#undef VVCI_ENUMERATOR
#undef VVCI_ROW

inline constexpr std::size_t kComParamCount = kComParams.size();
// Applications know this one by its number.
static_assert(ComParam::CP_CanFillerByteHandling == ComParam{0x37});

std::optional<UNUM32> ComParamIdOf(std::string_view name);
/// Null for an identifier that no ComParam has.
const ComParamInfo* ComParamOf(UNUM32 id);

struct ComParamValue {
  UNUM32 number = 0;
  std::vector<UNUM8> bytes;   ///< BYTEFIELD, STRUCTFIELD
  std::vector<UNUM32> longs;  ///< LONGFIELD
  bool operator==(const ComParamValue&) const = default;
};

/// One buffer of values, indexed by identifier. Not synchronised.
class ComParamSet {
 public:
  ComParamSet();
  UNUM32 Number(ComParam id) const { return Value(static_cast<UNUM32>(id)).number; }
  void SetNumber(ComParam id, UNUM32 value) { values_[static_cast<UNUM32>(id) - 1].number = value; }
  /// `id` that ComParamOf knows.
  const ComParamValue& Value(UNUM32 id) const { return values_[id - 1]; }
  /// PDU_ERR_COMPARAM_NOT_SUPPORTED for an unknown identifier, PDU_ERR_INVALID_PARAMETERS for
  /// another data type, a field that is too long or a missing value.
  T_PDU_ERROR Set(const PDU_PARAM_ITEM& item);
  /// An item of the ComParam's own type for the application; fields have room for their longest
  /// length.
  ItemPtr MakeItem(UNUM32 id) const;
  bool operator==(const ComParamSet&) const = default;

 private:
  std::vector<ComParamValue> values_;
};

/// The number that an item of a numeric type holds, whichever its width; none for a field or a
/// missing value.
std::optional<UNUM32> NumberOf(const PDU_PARAM_ITEM& item);

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_LINKS_COM_PARAMS_H_
