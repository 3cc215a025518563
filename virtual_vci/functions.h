/// \file
/// The functions of the D-PDU API, as a list that call log and fault injection share.
#ifndef VIRTUAL_VCI_FUNCTIONS_H_
#define VIRTUAL_VCI_FUNCTIONS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace virtual_vci {

#define VVCI_FUNCTIONS(X)       \
  X(PDUConstruct)               \
  X(PDUDestruct)                \
  X(PDUModuleConnect)           \
  X(PDUModuleDisconnect)        \
  X(PDUGetModuleIds)            \
  X(PDUGetObjectId)             \
  X(PDUGetObjectIds)            \
  X(PDUGetResourceIds)          \
  X(PDUGetConflictingResources) \
  X(PDUGetResourceStatus)       \
  X(PDUCreateComLogicalLink)    \
  X(PDUDestroyComLogicalLink)   \
  X(PDULockResource)            \
  X(PDUUnlockResource)          \
  X(PDURegisterEventCallback)   \
  X(PDUGetComParam)             \
  X(PDUSetComParam)             \
  X(PDUGetUniqueRespIdTable)    \
  X(PDUSetUniqueRespIdTable)    \
  X(PDUConnect)                 \
  X(PDUDisconnect)              \
  X(PDUStartComPrimitive)       \
  X(PDUCancelComPrimitive)      \
  X(PDUGetEventItem)            \
  X(PDUGetEventItems)           \
  X(PDUDestroyItem)             \
  X(PDUDestroyItems)            \
  X(PDUIoCtl)                   \
  X(PDUGetVersion)              \
  X(PDUGetStatus)               \
  X(PDUGetLastError)            \
  X(PDUGetTimestamp)

#define VVCI_ENUMERATOR(name) k##name,
#define VVCI_NAME(name) #name,

enum class Function : std::uint8_t { VVCI_FUNCTIONS(VVCI_ENUMERATOR) };

inline constexpr std::array kFunctionNames =
    std::to_array<const char*>({VVCI_FUNCTIONS(VVCI_NAME)});
inline constexpr std::size_t kFunctionCount = kFunctionNames.size();

#undef VVCI_ENUMERATOR
#undef VVCI_NAME

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_FUNCTIONS_H_
