#include <dlfcn.h>

#include "tests/virtual_vci/platform/loader.h"

namespace virtual_vci_test {

void* LoadLibraryFile(const char* path) { return dlopen(path, RTLD_NOW | RTLD_LOCAL); }
void* FindFunction(void* library, const char* name) { return dlsym(library, name); }
void UnloadLibrary(void* library) { dlclose(library); }

}  // namespace virtual_vci_test
