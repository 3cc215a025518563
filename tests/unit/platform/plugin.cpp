// A library to load, which tells where it lies and what version it has.

#include <cstddef>
#include <cstring>
#include <string>

#include "platform/dynamic_library.h"
#include "platform/version_resource.h"

namespace {

void Copy(const std::string& text, char* out, std::size_t size) {
  std::strncpy(out, text.c_str(), size - 1);
  out[size - 1] = '\0';
}

}  // namespace

extern "C" {

void PluginPath(char* out, std::size_t size) {
  Copy(passbridge::platform::OwnModulePath(), out, size);
}

void PluginVersion(char* out, std::size_t size) {
  Copy(passbridge::platform::ProductVersion().value_or("none"), out, size);
}

}  // extern "C"
