#ifndef PASSBRIDGE_D_PDU_FUNCTIONS_H_
#define PASSBRIDGE_D_PDU_FUNCTIONS_H_

/// The 32 entry points of a D-PDU API library: name, and whether a library without it is refused.
/// The three optional ones are extensions of ISO 22900-2. The order is the order of binding,
/// and that of the ordinals of the virtual VCI.
#define PASSBRIDGE_PDU_FUNCTIONS(FUNCTION)   \
  FUNCTION(PDUConstruct, true)               \
  FUNCTION(PDUDestruct, true)                \
  FUNCTION(PDUModuleConnect, true)           \
  FUNCTION(PDUModuleDisconnect, true)        \
  FUNCTION(PDUGetModuleIds, true)            \
  FUNCTION(PDUGetObjectId, true)             \
  FUNCTION(PDUGetObjectIds, false)           \
  FUNCTION(PDUGetResourceIds, true)          \
  FUNCTION(PDUGetConflictingResources, true) \
  FUNCTION(PDUGetResourceStatus, true)       \
  FUNCTION(PDUCreateComLogicalLink, true)    \
  FUNCTION(PDUDestroyComLogicalLink, true)   \
  FUNCTION(PDULockResource, true)            \
  FUNCTION(PDUUnlockResource, true)          \
  FUNCTION(PDURegisterEventCallback, true)   \
  FUNCTION(PDUGetComParam, true)             \
  FUNCTION(PDUSetComParam, true)             \
  FUNCTION(PDUGetUniqueRespIdTable, true)    \
  FUNCTION(PDUSetUniqueRespIdTable, true)    \
  FUNCTION(PDUConnect, true)                 \
  FUNCTION(PDUDisconnect, true)              \
  FUNCTION(PDUStartComPrimitive, true)       \
  FUNCTION(PDUCancelComPrimitive, true)      \
  FUNCTION(PDUGetEventItem, true)            \
  FUNCTION(PDUGetEventItems, false)          \
  FUNCTION(PDUDestroyItem, true)             \
  FUNCTION(PDUDestroyItems, false)           \
  FUNCTION(PDUIoCtl, true)                   \
  FUNCTION(PDUGetVersion, true)              \
  FUNCTION(PDUGetStatus, true)               \
  FUNCTION(PDUGetLastError, true)            \
  FUNCTION(PDUGetTimestamp, true)

#endif  // PASSBRIDGE_D_PDU_FUNCTIONS_H_
