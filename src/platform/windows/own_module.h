#ifndef PASSBRIDGE_PLATFORM_WINDOWS_OWN_MODULE_H_
#define PASSBRIDGE_PLATFORM_WINDOWS_OWN_MODULE_H_

#include <string>

namespace passbridge::platform {

// The DLL or program that holds this code, an HMODULE; null if the system does not tell.
void* OwnModule();

// The path of the DLL or program that holds this code; empty if the system does not tell.
std::wstring OwnModuleWidePath();

}  // namespace passbridge::platform

#endif  // PASSBRIDGE_PLATFORM_WINDOWS_OWN_MODULE_H_
