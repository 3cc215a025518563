/// \file
/// Loads a shared library at run time.
#ifndef TESTS_VIRTUAL_VCI_PLATFORM_LOADER_H_
#define TESTS_VIRTUAL_VCI_PLATFORM_LOADER_H_

namespace virtual_vci_test {

/// Null on failure.
void* LoadLibraryFile(const char* path);
/// Null if the library doesn't export it.
void* FindFunction(void* library, const char* name);
void UnloadLibrary(void* library);

}  // namespace virtual_vci_test

#endif  // TESTS_VIRTUAL_VCI_PLATFORM_LOADER_H_
