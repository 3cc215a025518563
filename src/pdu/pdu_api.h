#ifndef PASSBRIDGE_PDU_PDU_API_H_
#define PASSBRIDGE_PDU_PDU_API_H_

#include <functional>
#include <string>

#include "passbridge/d_pdu_api.h"
#include "pdu/function_list.h"
#include "platform/mutex.h"

/// The D-PDU API library of the vehicle interface: found through the registry, loaded and bound at
/// run time. Process-wide and unguarded: loading and unloading happen inside PassThruOpen and
/// PassThruClose, which an application does not run beside other calls on the same devices.
namespace passbridge::pdu {

/// The bound entry points; null where the library lacks one.
struct FunctionTable {
#define PASSBRIDGE_PDU_MEMBER(name, required) PFN_##name name = nullptr;
  PASSBRIDGE_PDU_FUNCTIONS(PASSBRIDGE_PDU_MEMBER)
#undef PASSBRIDGE_PDU_MEMBER
};

/// The table through which everything in this process calls the D-PDU API.
FunctionTable& Api();

/// Serialises the link event callback, PDUGetEventItem, and every start of a ComPrimitive together
/// with the registration of its completion. Recursive: some D-PDU libraries call back from inside
/// the call that starts a ComPrimitive, on the same thread. First in the lock order.
platform::RecursiveMutex& PduApiLock();

/// The library's path as the registry names it (UTF-8); empty where there is none.
std::string ReadFunctionLibraryPath();

/// Gives the address of an entry point by its name, or null.
using SymbolSource = std::function<void*(const char* name)>;

/// Fills the table, also beyond a missing name; true when every required entry was found.
bool BindPduApi(const SymbolSource& symbols);

/// Loads the library and binds it. On false the table must not be called through.
/// @param path UTF-8
bool LoadPduApi(const std::string& path);

/// Unloads what LoadPduApi loaded. The table keeps its pointers; nothing may call through them.
void UnloadPduApi();

}  // namespace passbridge::pdu

#endif  // PASSBRIDGE_PDU_PDU_API_H_
