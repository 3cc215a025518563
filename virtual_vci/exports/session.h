/// \file
/// The frame around every exported function, and the one library object of the process.
#ifndef VIRTUAL_VCI_EXPORTS_SESSION_H_
#define VIRTUAL_VCI_EXPORTS_SESSION_H_

#include <memory>

#include "virtual_vci/exports/functions.h"
#include "virtual_vci/exports/recorder.h"
#include "virtual_vci/library/library.h"

#if defined(_WIN32)
#define VVCI_EXPORT extern "C"
#else
#define VVCI_EXPORT extern "C" __attribute__((visibility("default")))
#endif

namespace virtual_vci {

/// Null while nothing is constructed. Whoever holds it may go on using it while another thread
/// destructs.
std::shared_ptr<Library> CurrentLibrary();
/// False if one is constructed already.
bool SetCurrentLibrary(std::shared_ptr<Library> library);
/// Takes `library` out if it still is the current one.
bool DropCurrentLibrary(const std::shared_ptr<Library>& library);

/// What the call log keeps of a call.
struct CallInfo {
  Function function;
  UNUM32 module = PDU_HANDLE_UNDEF;
  UNUM32 link = PDU_HANDLE_UNDEF;
  UNUM32 detail = 0;
};

/// Injected results, call log, and nothing thrown out of the library.
template <typename Body>
T_PDU_ERROR Guarded(const CallInfo& call, Body&& body) {
  Recorder& recorder = Recorder::Instance();
  T_PDU_ERROR result = PDU_ERR_FCT_FAILED;
  if (const auto injected = recorder.TakeInjected(call.function)) {
    result = *injected;
  } else {
    try {
      result = body();
    } catch (...) {
      // Out of memory, or no thread to be had.
      result = PDU_ERR_FCT_FAILED;
    }
  }
  if (recorder.Logging()) {
    const char* name = kFunctionNames[static_cast<std::size_t>(call.function)];
    recorder.Log({name, call.module, call.link, call.detail, result});
  }
  return result;
}

/// With the library; PDU_ERR_PDUAPI_NOT_CONSTRUCTED without.
template <typename Body>
T_PDU_ERROR WithLibrary(const CallInfo& call, Body&& body) {
  return Guarded(call, [&]() -> T_PDU_ERROR {
    const auto library = CurrentLibrary();
    return library ? body(*library) : T_PDU_ERROR{PDU_ERR_PDUAPI_NOT_CONSTRUCTED};
  });
}

/// With a connected module.
template <typename Body>
T_PDU_ERROR WithModule(const CallInfo& call, Body&& body) {
  return WithLibrary(call, [&](Library& library) -> T_PDU_ERROR {
    std::shared_ptr<Module> module;
    if (const T_PDU_ERROR error = library.FindModule(call.module, module)) return error;
    return body(library, *module);
  });
}

/// With a link of a connected module, under the module's lock.
template <typename Body>
T_PDU_ERROR WithLink(const CallInfo& call, Body&& body) {
  return WithModule(call, [&](Library& library, Module& module) -> T_PDU_ERROR {
    return module.OnLink(call.link, [&](Link& link) { return body(library, link); });
  });
}

/// Gives an item to the application through `out` if the result is good.
template <typename T>
T_PDU_ERROR HandOut(Library& library, T_PDU_ERROR result, ItemPtr item, T** out) {
  if (result == PDU_STATUS_NOERROR)
    *out = reinterpret_cast<T*>(library.Items().HandOut(std::move(item)));
  return result;
}

}  // namespace virtual_vci

#endif  // VIRTUAL_VCI_EXPORTS_SESSION_H_
