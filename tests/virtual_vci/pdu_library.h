/// \file
/// A D-PDU API library loaded at run time: its functions by their names.
#ifndef TESTS_VIRTUAL_VCI_PDU_LIBRARY_H_
#define TESTS_VIRTUAL_VCI_PDU_LIBRARY_H_

#include <string>

#include "passbridge/d_pdu_api.h"
#include "virtual_vci/control.h"

namespace virtual_vci_test {

// clang-format off
#define PDU_TEST_FUNCTIONS(X)   \
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
  X(PDUGetTimestamp)            \
  X(VirtualVciConfigure)        \
  X(VirtualVciInjectResult)     \
  X(VirtualVciGetLedger)        \
  X(VirtualVciLogCalls)         \
  X(VirtualVciGetCalls)         \
  X(VirtualVciUnplug)           \
  X(VirtualVciPlug)             \
  X(VirtualVciSetPresent)       \
  X(VirtualVciSetStatus)        \
  X(VirtualVciSetVoltages)      \
  X(VirtualVciSendFrame)        \
  X(VirtualVciSetCyclic)        \
  X(VirtualVciAdvance)          \
  X(VirtualVciReset)
// clang-format on

/// Loads in the constructor, unloads in the destructor. A function that is missing is null.
class PduLibrary {
 public:
  explicit PduLibrary(const std::string& path);
  ~PduLibrary();
  PduLibrary(const PduLibrary&) = delete;
  PduLibrary& operator=(const PduLibrary&) = delete;

  bool Loaded() const { return library_ != nullptr; }

#define PDU_TEST_MEMBER(name) PFN_##name name = nullptr;
  PDU_TEST_FUNCTIONS(PDU_TEST_MEMBER)
#undef PDU_TEST_MEMBER

 private:
  void* library_;
};

/// The library under test: what the environment variable VIRTUAL_VCI_LIBRARY names.
std::string LibraryPath();

}  // namespace virtual_vci_test

#endif  // TESTS_VIRTUAL_VCI_PDU_LIBRARY_H_
