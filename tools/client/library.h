// Finding and loading a J2534 library.
#ifndef PASSBRIDGE_TOOLS_CLIENT_LIBRARY_H_
#define PASSBRIDGE_TOOLS_CLIENT_LIBRARY_H_

#include <filesystem>
#include <memory>
#include <string>

#include "client/j2534_api.h"

namespace passbridge::tool {

// The Passbridge library beside the executable, in ../lib or in the same build; else its bare file
// name, for the loader's search path.
std::string DefaultLibrary();

// The virtual VCI in the same places. Throws std::runtime_error with a text for the user.
std::filesystem::path FindVirtualVci();

// Whether a library's file name tells of 32-bit fields where the standard's are wider: "..._u32".
bool NamesFields32(const std::string& library);

// Loads and binds the library. A file of the working folder needs no "./". Throws
// std::runtime_error if it can't be loaded or is no J2534 library.
std::unique_ptr<J2534Api> LoadJ2534Library(const std::string& library, bool fields32);

}  // namespace passbridge::tool

#endif  // PASSBRIDGE_TOOLS_CLIENT_LIBRARY_H_
