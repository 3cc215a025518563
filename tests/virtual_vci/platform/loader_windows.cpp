#include <windows.h>

#include "tests/virtual_vci/platform/loader.h"

namespace virtual_vci_test {

void* LoadLibraryFile(const char* path) { return reinterpret_cast<void*>(LoadLibraryA(path)); }

void* FindFunction(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void UnloadLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

}  // namespace virtual_vci_test
