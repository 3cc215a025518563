/// \file
/// The functions of the D-PDU API as numbers, for call log and fault injection.
#ifndef VIRTUAL_VCI_EXPORTS_FUNCTIONS_H_
#define VIRTUAL_VCI_EXPORTS_FUNCTIONS_H_

#include <array>
#include <cstddef>
#include <cstdint>

#include "passbridge/d_pdu_functions.h"

namespace virtual_vci {

#define VVCI_ENUMERATOR(name, required) k##name,
#define VVCI_NAME(name, required) #name,

enum class Function : std::uint8_t { PASSBRIDGE_PDU_FUNCTIONS(VVCI_ENUMERATOR) };

inline constexpr std::array kFunctionNames =
    std::to_array<const char*>({PASSBRIDGE_PDU_FUNCTIONS(VVCI_NAME)});
inline constexpr std::size_t kFunctionCount = kFunctionNames.size();

#undef VVCI_ENUMERATOR
#undef VVCI_NAME

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_EXPORTS_FUNCTIONS_H_
