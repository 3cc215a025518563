#ifndef PASSBRIDGE_TESTS_FAULTS_FAULT_PDU_H_
#define PASSBRIDGE_TESTS_FAULTS_FAULT_PDU_H_

#include "passbridge/d_pdu_api.h"

/// A D-PDU library between the library under test and the virtual VCI: it
/// forwards everything, gives forced results, and has habits that D-PDU libraries may have and the
/// virtual VCI has not. These are its control functions; any thread may call them.

#ifdef __cplusplus
extern "C" {
#endif

/// A habit; each is within the standard, so that everything must work with it.
PDU_ENUM(E_FAULT_PDU_QUIRK){
    FAULT_PDU_PLAIN = 0,
    FAULT_PDU_HANDLES = 1,      ///< link handles begin at 0; all handles are reused at once
    FAULT_PDU_GARBAGE = 2,      ///< a call that fails fills its outputs with garbage
    FAULT_PDU_SYNCHRONOUS = 3,  ///< connecting and starting call back before they return
    FAULT_PDU_WAITING = 4,      ///< calls that start nothing wait for another thread's callback
    FAULT_PDU_LATE = 5,         ///< callbacks come 20 ms late
    FAULT_PDU_SLOW = 6,         ///< connecting, starting and cancelling return after their events
};

#define FAULT_PDU_FOR_EVER 0xFFFFFFFFu

/// Chooses the habit from the next PDUConstruct on.
typedef void FN_FaultPduSetQuirk(UNUM32 quirk);

/// The next `count` calls of `function` do nothing and give `result`; 0 ends it. A count that ends
/// fills the outputs of a failure with garbage; FAULT_PDU_FOR_EVER leaves them untouched, as does a
/// forced PDU_STATUS_NOERROR.
typedef void FN_FaultPduForce(const CHAR8* function, UNUM32 count, T_PDU_ERROR result);

/// The calls of `function` since the library was loaded.
typedef UNUM32 FN_FaultPduCalls(const CHAR8* function);

typedef FN_FaultPduSetQuirk* PFN_FaultPduSetQuirk;
typedef FN_FaultPduForce* PFN_FaultPduForce;
typedef FN_FaultPduCalls* PFN_FaultPduCalls;

#ifdef __cplusplus
}
#endif

#endif  // PASSBRIDGE_TESTS_FAULTS_FAULT_PDU_H_
