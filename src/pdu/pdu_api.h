#ifndef PASSBRIDGE_PDU_PDU_API_H_
#define PASSBRIDGE_PDU_PDU_API_H_

#include <functional>
#include <memory>
#include <string>

#include "passbridge/d_pdu_api.h"
#include "passbridge/d_pdu_functions.h"
#include "platform/mutex.h"

/// The D-PDU API library of the vehicle interface: found through the registry, loaded and bound at
/// run time, one at a time. Any thread may call through it while it is unloaded: see Pin.
namespace passbridge::pdu {

/// The bound entry points; an optional one is null where the library lacks it.
struct FunctionTable {
#define PASSBRIDGE_PDU_MEMBER(name, required) PFN_##name name = nullptr;
  PASSBRIDGE_PDU_FUNCTIONS(PASSBRIDGE_PDU_MEMBER)
#undef PASSBRIDGE_PDU_MEMBER
};

/// The table through which everything in this process calls the D-PDU API. While no library is
/// loaded its functions do nothing but give PDU_ERR_PDUAPI_NOT_CONSTRUCTED.
const FunctionTable& Api();

struct Library;

/// Keeps the library that is loaded now, and its table, in memory: a call that waits while the
/// last device is closed comes back to code that is still there. Every exported function holds one;
/// the threads of a channel need none, for they end before the library is unloaded.
class Pin {
 public:
  Pin();
  Pin(const Pin&) = delete;
  Pin& operator=(const Pin&) = delete;

 private:
  const std::shared_ptr<Library> library_;
};

/// Serialises PDUGetEventItem and every start of a ComPrimitive together with the registration of
/// its completion. Recursive: some D-PDU libraries call back from inside the call that starts a
/// ComPrimitive, on the same thread. First in the lock order.
platform::RecursiveMutex& PduApiLock();

/// The library's path as the registry names it (UTF-8); empty where there is none.
std::string ReadFunctionLibraryPath();

/// Gives the address of an entry point by its name, or null.
using SymbolSource = std::function<void*(const char* name)>;

/// Makes a table of all entry points the one in use; every name is asked for. False, and nothing
/// is changed, if one that is required is missing.
bool BindPduApi(const SymbolSource& symbols);

/// Loads the library and binds it. On false nothing is changed.
/// @param path UTF-8
bool LoadPduApi(const std::string& path);

/// Has no library loaded any more. Its file is closed here, or by the last Pin that lets go of it.
void UnloadPduApi();

}  // namespace passbridge::pdu

#endif  // PASSBRIDGE_PDU_PDU_API_H_
